// How long the longest edits take, each with its words: for a closed loop that waits for them.
//
//     worst-case             times each of the edits, and prints a table
//     worst-case --count N   runs N of each for callgrind, which writes the counts of each edit into its own file
//
// The edits are random, with lengths off the grid of time steps, so that the Lilly pattern repairs many of them.

#include <valgrind/callgrind.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Subjects.h"

namespace {

using Random = std::mt19937;

float Between(Random& random, int from, int to)
{
    return static_cast<float>(from) +
           static_cast<float>(random() % (10U * static_cast<unsigned>(to - from))) / 10;
}

// An edit of a Lilly pattern of 5 phases.
class LillyEdits
{
 public:
    static constexpr const char* Name = "5 phases, Lilly";
    static constexpr int Times = 10000000;

    // The next edit is chosen, not made.
    void Choose()
    {
        m_edit = static_cast<int>(m_random() % 6);
        m_value = m_edit == 5 ? Between(m_random, 5000, 20000) : Between(m_random, 0, 400);
    }
    int Run()
    {
        switch (m_edit) {
            case 0:
                m_pattern.SetPhase1Len(m_value, true);
                break;
            case 1:
                m_pattern.SetPhase2Len(m_value, true);
                break;
            case 2:
                m_pattern.SetIPI(m_value, true);
                break;
            case 3:
                m_pattern.SetOffset(m_value, true);
                break;
            case 4:
                m_pattern.SetPhase1Amp(-m_value);
                break;
            default:
                m_pattern.SetPeriod(m_value);
        }
        return m_pattern.WordArray(m_words.data(), 0);
    }

 private:
    Random m_random;
    LillyPattern m_pattern = bench::DefaultLilly();
    std::array<unsigned int, StimPattern::MaxWords> m_words{};
    int m_edit = 0;
    float m_value = 0;
};

// An edit of a pattern that takes all words of a word array but one, nearly each for a step that two phases share.
class LongEdits
{
 public:
    static constexpr const char* Name = "1023 words, plain";
    static constexpr int Times = 100000;

    LongEdits() : m_pattern(bench::PlainOf(Phases()))
    {
        if (Run() != StimPattern::MaxWords - 1) throw std::logic_error("not 1023 words");
    }
    void Choose()
    {
        m_index = 2 * static_cast<int>(m_random() % static_cast<unsigned>(m_pattern.PhaseCount() / 2)) + 1;
        m_amp = -10 * Between(m_random, 1, 9);
    }
    int Run()
    {
        m_pattern.SetPhaseAmp(m_index, m_amp);
        return m_pattern.WordArray(m_words.data(), 0);
    }

 private:
    static std::vector<phase> Phases()
    {
        std::vector<phase> phases;
        std::array<unsigned int, StimPattern::MaxWords> words{};
        while (bench::PlainOf(phases).WordArray(words.data(), 0) < StimPattern::MaxWords - 1)
            phases.push_back({34.2f, phases.size() % 2 == 0 ? 0.0f : -30.0f});
        return phases;
    }

    Random m_random;
    PlainPattern m_pattern;
    std::array<unsigned int, StimPattern::MaxWords> m_words{};
    int m_index = 1;
    float m_amp = -30;
};

// What the clock, and the machine with its other programs, add to each time.
class NoEdits
{
 public:
    static constexpr const char* Name = "nothing";
    static constexpr int Times = 10000000;

    void Choose() {}
    int Run() { return 0; }
};

// The distribution of times, in nanoseconds.
class Times
{
 public:
    void Add(std::int64_t ns)
    {
        ++m_counts[static_cast<std::size_t>(std::clamp<std::int64_t>(ns, 0, Most))];
        m_sum += static_cast<double>(ns);
        m_largest = std::max(m_largest, ns);
        ++m_count;
    }
    double Mean() const { return m_sum / static_cast<double>(m_count); }
    std::int64_t Largest() const { return m_largest; }
    // The least time that all but one in 10 000 do not exceed.
    std::int64_t Percentile9999() const
    {
        std::int64_t left = m_count / 10000;
        std::size_t ns = Most;
        for (; ns > 0 && left >= m_counts[ns]; --ns) left -= m_counts[ns];
        return static_cast<std::int64_t>(ns);
    }

 private:
    static constexpr std::size_t Most = 10000000;  // longer ones count as this one, except for the largest
    std::vector<std::int64_t> m_counts = std::vector<std::int64_t>(Most + 1);
    double m_sum = 0;
    std::int64_t m_largest = 0;
    std::int64_t m_count = 0;
};

template <typename Edits>
void Measure()
{
    using Clock = std::chrono::steady_clock;
    Edits edits;
    Times times;
    int withoutWords = 0;
    for (int i = 0; i < Edits::Times; ++i) {
        edits.Choose();
        const Clock::time_point start = Clock::now();
        const int words = edits.Run();
        const Clock::time_point end = Clock::now();
        withoutWords += words < 0 ? 1 : 0;
        if (i > 0) times.Add(std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count());
    }
    std::fprintf(stderr, "%s: %d without words\n", Edits::Name, withoutWords);
    std::printf("| %s | %d | %.0f | %lld | %lld |\n", Edits::Name, Edits::Times, times.Mean(),
                static_cast<long long>(times.Percentile9999()), static_cast<long long>(times.Largest()));
}

template <typename Edits>
void Count(int count)
{
    Edits edits;
    for (int i = 0; i < count; ++i) {
        edits.Choose();
        const std::string name = std::to_string(i) + " | " + Edits::Name;
        CALLGRIND_ZERO_STATS;
        CALLGRIND_TOGGLE_COLLECT;
        edits.Run();
        CALLGRIND_TOGGLE_COLLECT;
        CALLGRIND_DUMP_STATS_AT(name.c_str());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::string_view(argv[1]) == "--count") {
        const int count = std::atoi(argv[2]);
        Count<LillyEdits>(count);
        Count<LongEdits>(count);
        return 0;
    }
    Measure<NoEdits>();
    Measure<LillyEdits>();
    Measure<LongEdits>();
    return 0;
}
