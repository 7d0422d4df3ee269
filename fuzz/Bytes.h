#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

// What the fuzz targets share: the input cut into values, and the check that ends the process.
namespace fuzz {

// A broken promise ends the process: that is a finding.
inline void Require(bool holds, const char* promise)
{
    if (holds) return;
    std::fprintf(stderr, "BROKEN: %s\n", promise);
    std::abort();
}

// Reads values from the front of the input; zeros after its end.
class Bytes
{
 public:
    Bytes(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool Empty() const { return m_size == 0; }

    template <typename T>
    T Raw()
    {
        T value{};
        const std::string bytes = Text(sizeof value);
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }

    int Below(int bound) { return Raw<std::uint8_t>() % bound; }
    bool Bool() { return Below(2) != 0; }

    // Any bits, a value at which a rule changes, or a number of a typical size.
    float Float()
    {
        using Limits = std::numeric_limits<float>;
        static constexpr float Special[] = {0,
                                            -0.0f,
                                            Limits::quiet_NaN(),
                                            Limits::infinity(),
                                            -Limits::infinity(),
                                            Limits::max(),
                                            33.333332f,
                                            66.666664f,
                                            Limits::denorm_min(),
                                            -Limits::min(),
                                            -Limits::max(),
                                            2147483648.0f,
                                            0.5f,
                                            100.7f,
                                            2184478.0f,
                                            9.223372e18f,
                                            3.4028235e35f,
                                            -1};
        switch (Below(4)) {
            case 0:
                return Raw<float>();
            case 1:
                return Special[Below(sizeof Special / sizeof *Special)];
            case 2:
                return static_cast<float>(Raw<std::int16_t>()) * 0.0625f;
            default:
                return static_cast<float>(Raw<std::int8_t>()) * 10.0f;
        }
    }

    std::string Text(std::size_t size)
    {
        if (size > m_size) size = m_size;
        std::string text(m_data, m_data + size);
        m_data += size;
        m_size -= size;
        return text;
    }
    std::string Rest() { return Text(m_size); }

 private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};

}  // namespace fuzz
