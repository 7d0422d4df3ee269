#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Sweeps over the bits of floats, on all cores. In WebAssembly, on one.
namespace prove {

inline float FromBits(std::uint32_t bits)
{
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline std::uint32_t BitsOf(float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

constexpr std::uint64_t AllFloats = std::uint64_t{1} << 32;

// What a sweep found: how many were wrong, and the first of them.
struct Wrong
{
    std::uint64_t count = 0;
    std::string first;

    // Counts a wrong one and describes it.
    void Add(const std::string& what)
    {
        if (count++ == 0) first = what;
    }

    void Merge(const Wrong& other)
    {
        if (count == 0) first = other.first;
        count += other.count;
    }
};

// Calls check(value) for the floats with the bits begin, begin + every, ... below end. Each thread has a copy of
// check; its Merge collects what the copies found.
template <typename Check>
Check Sweep(std::uint64_t begin, std::uint64_t end, std::uint64_t every, const Check& check)
{
    const std::uint64_t block = every << 16;
    std::atomic<std::uint64_t> next{begin};
    std::mutex merging;
    Check all = check;
    const auto work = [&] {
        Check mine = check;
        for (;;) {
            const std::uint64_t first = next.fetch_add(block);
            if (first >= end) break;
            const std::uint64_t last = std::min(end, first + block);
            for (std::uint64_t bits = first; bits < last; bits += every)
                mine(FromBits(static_cast<std::uint32_t>(bits)));
        }
        const std::lock_guard<std::mutex> lock(merging);
        all.Merge(mine);
    };
#ifdef __EMSCRIPTEN__
    work();  // compiled without threads
#else
    std::vector<std::thread> threads;
    for (unsigned int i = std::max(1U, std::thread::hardware_concurrency()); i > 0; --i)
        threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
#endif
    return all;
}

// Prints a line of the report and returns whether nothing was wrong.
inline bool Report(const std::string& what, std::uint64_t count, const Wrong& wrong)
{
    std::printf("%-44s %11llu checked, %llu wrong\n", what.c_str(), static_cast<unsigned long long>(count),
                static_cast<unsigned long long>(wrong.count));
    if (wrong.count > 0) std::printf("    first: %s\n", wrong.first.c_str());
    std::fflush(stdout);
    return wrong.count == 0;
}

}  // namespace prove
