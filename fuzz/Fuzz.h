#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

// What the fuzz targets share: the check that ends the process, and the numbers of a pattern.

// A broken promise ends the process: that is a finding.
inline void Require(bool holds, const char* promise)
{
    if (holds) return;
    std::fprintf(stderr, "BROKEN: %s\n", promise);
    std::abort();
}

// Any bits, a value at which a rule changes, or a number of a typical size.
inline float AnyFloat(FuzzedDataProvider& in)
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
                                        3.4028235e35f,
                                        9.223372e18f,
                                        2184478.0f,
                                        100.7f,
                                        -1};
    const auto bits = in.ConsumeIntegral<std::uint32_t>();
    switch (bits % 4) {
        case 0: {
            float value = 0;
            std::memcpy(&value, &bits, sizeof value);
            return value;
        }
        case 1:
            return Special[bits / 4 % std::size(Special)];
        case 2:
            return static_cast<float>(static_cast<std::int16_t>(bits >> 16U)) * 0.0625f;
        default:
            return static_cast<float>(static_cast<std::int8_t>(bits >> 24U)) * 10.0f;
    }
}

// A text of at most so many bytes and pieces: any bytes, or ASCII in which each other byte stands for one of the pieces.
// So an input can be read as text, and a change of one byte can insert a word that the reader knows.
inline std::string AnyText(FuzzedDataProvider& in, const std::vector<std::string>& pieces, std::size_t most)
{
    if (in.ConsumeBool()) return in.ConsumeRandomLengthString(most);
    std::string text;
    for (const char c : in.ConsumeRandomLengthString(most)) {
        const auto byte = static_cast<unsigned char>(c);
        text += byte < 0x80 ? std::string(1, c) : pieces[byte % pieces.size()];
    }
    return text;
}
