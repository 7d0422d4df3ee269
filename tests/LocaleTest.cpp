#include <cfenv>
#include <clocale>
#include <cstdio>
#include <locale>
#include <sstream>

#ifdef __SSE__
#include <xmmintrin.h>
#endif

#include "TestPatterns.h"

// Hosts change their locale, their rounding mode and how their processor treats subnormal numbers.

namespace {

enum class Lengths
{
    Any,         // fractions of a microsecond, steps of a third of 100 us
    WholeSteps,  // whole steps of 20 us
};

// Everything that comes of reading a thousand texts: result, messages, phases as printed, words.
std::string Record(Lengths lengths)
{
    const bool whole = lengths == Lengths::WholeSteps;
    Random random(11);
    const auto number = [&](int bound, int scale) {
        const std::string integer = std::to_string(random.Below(bound) * scale);
        return whole ? integer : integer + "." + std::to_string(random.Below(1000));
    };
    std::string record;
    for (int i = 0; i < 1000; ++i) {
        LillyHost pattern(whole ? 20.0f : ThirdStep);
        std::string text = "Head:";
        for (int item = 0; item < 5; ++item) {
            text += "(" + number(1000, 20);
            text += ",-" + (item % 2 == 0 ? "0" : number(100, 10)) + ")";
        }
        text += ":Duration=[" + number(8, 1000) + "]:Balance=[" + (whole ? "0" : number(5, 1)) + "]";
        Texts messages;
        record += pattern.FromString(text, 10, messages, messages) ? "read " : "not read ";
        for (const std::string& message : messages) record += message;
        record += pattern.ToString() + " " + Array(pattern) + "\n";
    }
    return record;
}

class Environment : public testing::Test
{
 protected:
    void TearDown() override
    {
        std::locale::global(std::locale::classic());
        std::setlocale(LC_ALL, "C");
        std::fesetround(FE_TONEAREST);
    }
    const std::string m_any = Record(Lengths::Any);
    const std::string m_wholeSteps = Record(Lengths::WholeSteps);
};

TEST_F(Environment, HostLocaleReachesNeitherTextNorWords)
{
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "de_DE.UTF-8 is not there";
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 0.5);
    ASSERT_STREQ(text, "0,5");
    EXPECT_TRUE(Record(Lengths::Any) == m_any);
}

TEST_F(Environment, GroupingLocaleReachesNeitherTextNorWords)
{
    struct Grouping : std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    std::ostringstream text;
    text << 1234.5;
    ASSERT_EQ(text.str(), "1.2.3.4,5");
    EXPECT_TRUE(Record(Lengths::Any) == m_any);
}

// Lengths that are whole time steps leave nothing to round; any others may change with the rounding mode.
TEST_F(Environment, RoundingModeReachesNeitherPrintingNorWholeSteps)
{
    HostPattern pattern(Listed("0.1,33.333332 0.0000005,-16777.217 99.67,1e-40 1e30,-0.00390625"));
    const std::string printed = pattern.ToString();
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        EXPECT_EQ(pattern.ToString(), printed) << mode;
        EXPECT_TRUE(Record(Lengths::WholeSteps) == m_wholeSteps) << mode;
    }
}

#ifdef __SSE__
TEST_F(Environment, FlushToZeroReachesNeitherTextNorWords)
{
    constexpr unsigned int FlushToZero = 0x8000;
    constexpr unsigned int DenormalsAreZero = 0x0040;
    const unsigned int usual = _mm_getcsr();
    _mm_setcsr(usual | FlushToZero | DenormalsAreZero);
    const std::string any = Record(Lengths::Any);
    const std::string wholeSteps = Record(Lengths::WholeSteps);
    _mm_setcsr(usual);
    EXPECT_TRUE(any == m_any);
    EXPECT_TRUE(wholeSteps == m_wholeSteps);
}
#endif

}  // namespace
