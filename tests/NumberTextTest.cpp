// Numbers as text against the C library, in both ways of reading decimal numbers: of the standard library where it
// can, and of fast_float.

#include "NumberText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>

#include "NumberFormat.h"

// The same source compiled the other way, with its namespace renamed.
namespace TarvUtil::ByFastFloat {
double ReadNumber(std::string_view text);
}
namespace ByPrintf {
std::string Shortest(float value);
std::string Rounded(double value, int decimals);
double ShortestDouble(float value);
}  // namespace ByPrintf

namespace {

template <typename Float>
std::string Printed(const char* format, Float value)
{
    char text[900];
    return {text, text + std::snprintf(text, sizeof text, format, value)};
}

// A sign of 0 counts, that of a NaN does not.
bool Same(double a, double b)
{
    return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

void ExpectReadAsByStrtod(const std::string& text)
{
    const double expected = std::strtod(text.c_str(), nullptr);
    EXPECT_PRED2(Same, TarvUtil::Internal::ReadNumber(text), expected) << text.substr(0, 60);
    EXPECT_PRED2(Same, TarvUtil::ByFastFloat::ReadNumber(text), expected) << text.substr(0, 60);
}

TEST(NumberText, TiesAndTheirNeighboursRoundAsByStrtod)
{
    std::mt19937_64 random(1);
    for (int i = 0; i < 3000; ++i) {
        const int exponent = static_cast<int>(random() % 2150) - 1127;
        const double low = std::ldexp(static_cast<double>(random() >> (11 + random() % 53)), exponent);
        const double high = std::nextafter(low, INFINITY);
        if (std::isinf(high)) continue;
        const long double tie = (static_cast<long double>(low) + static_cast<long double>(high)) / 2;
        ExpectReadAsByStrtod(Printed("%.17g", low));
        ExpectReadAsByStrtod(Printed("-%.6f", std::fmod(low, 1e8)));
        for (const long double near : {std::nextafter(tie, 0.0L), tie, std::nextafter(tie, 1e999L)}) {
            ExpectReadAsByStrtod(Printed("%.800Le", near));
            ExpectReadAsByStrtod(Printed("%La", near));
        }
    }
}

// A # stands for 70 000 noughts, more than readers count in an exponent.
TEST(NumberText, TextsOfAnyLengthAndExponentReadAsByStrtod)
{
    for (std::string text : {"0",
                             "-0",
                             "5.",
                             ".5",
                             ".",
                             "-.",
                             "-",
                             "1.5.5",
                             "123456789012345",
                             "1234567890123456",
                             "9007199254740993",
                             "9007199254740993.#1",
                             "9007199254740993.#",
                             ".12345678901234",
                             "0.000000000000001",
                             "00000000000000.1",
                             "1#e-70000",
                             "-0.#1e70001",
                             "0.#1e700001",
                             "1#e-700001",
                             "1#1e-70000",
                             "0x0.#1p280004",
                             "0x1#p-280000",
                             "-0x1#p-990000",
                             "0x.#8p999999",
                             "#",
                             "-.#x",
                             "0#.5e1",
                             "1e99999999999999999999",
                             "-1e-99999999999999999999",
                             "0e99999",
                             "0x0p99999",
                             "0x1p99999999999",
                             "0x1.fffffffffffff7p1023",
                             "0x1.fffffffffffff8p1023",
                             "0x1p-1075",
                             "0x1.000000000000000000001p-1075",
                             "1.7976931348623158e308",
                             "1.7976931348623159e308",
                             "2.4703282292062327e-324",
                             "2.4703282292062328e-324",
                             "infinity",
                             "-nan(#)",
                             "inf#"}) {
        if (const std::size_t at = text.find('#'); at != std::string::npos) text.replace(at, 1, 70000, '0');
        ExpectReadAsByStrtod(text);
    }
}

TEST(NumberText, FloatsPrintAsByPrintf)
{
    std::mt19937 random(2);
    for (int i = 0; i < 200000; ++i) {
        // Any bits; then halves of a millionth, the ties.
        float value = std::ldexp(static_cast<float>(random() >> 8), -7 - static_cast<int>(random() % 24));
        const auto bits = static_cast<std::uint32_t>(random());
        if (i % 2 == 0) std::memcpy(&value, &bits, sizeof value);
        if (std::isnan(value)) continue;
        std::string printed;
        TarvUtil::Internal::AppendNumber(printed, value);
        ASSERT_EQ(printed, Printed("%f", static_cast<double>(value)));
    }
}

// Around each power of two, where shortest texts are rarely the nearest, and any other float.
TEST(NumberText, WithoutToCharsTheSameTextsAreMade)
{
    std::mt19937 random(3);
    for (std::uint32_t i = 0; i < 100000; ++i) {
        const auto any = static_cast<std::uint32_t>(random());
        const std::uint32_t bits = i % 2 == 0 ? any : (any & 0xff800000u) + i / 2 % 8 - 4;
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isnan(value)) continue;
        ASSERT_EQ(ByPrintf::Shortest(value), preview::Shortest(value));
        ASSERT_EQ(ByPrintf::ShortestDouble(value), preview::ShortestDouble(value)) << value;
        const double computed = static_cast<double>(value) / 3;
        ASSERT_EQ(ByPrintf::Rounded(computed, 3), preview::Rounded(computed, 3));
    }
}

}  // namespace
