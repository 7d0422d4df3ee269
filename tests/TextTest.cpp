#include <clocale>
#include <cmath>
#include <cstdlib>

#include "TestPatterns.h"

namespace {

TEST(Text, SplitAppendsToTheTokens)
{
    const HostPattern p;
    Texts tokens = {"a,b"};
    EXPECT_EQ(&p.Split(tokens[0], ',', tokens, false), &tokens);
    EXPECT_EQ(tokens, (Texts{"a,b", "a", "b"}));
    EXPECT_EQ(p.Split(std::string("a\0b", 3), '\0', false), (Texts{"a", "b"}));
}

TEST(Text, MessagesHoldTheWholeTextWhateverItsLength)
{
    HostPattern p;
    const std::string digits(3000, '7'), name(5000, 'x');
    Texts errors, warnings;
    EXPECT_EQ(p.DurationFromStr("x[-" + digits + "]", errors), -Inf);
    EXPECT_TRUE(p.PhasesFromStr("(1," + digits + ")", 1, errors, warnings).empty());
    EXPECT_FALSE(p.FromString(name, 1, errors, warnings));
    EXPECT_EQ(errors, (Texts{"invalid train duration specification string [x[-" + digits + "]]",
                             "Invalid phase specification string: [(1," + digits + ")]",
                             "Invalid pattern specification string: [" + name + "]"}));
}

// Parted by blanks, or by ";" where blanks belong to the numbers. A # stands for 2000 noughts.
const char* const Numbers =
    "1e38 1e39 -1e39 1e308 1e309 1e-46 1e-400 4.9e-324 1e999999999999999999999 1e-99999999999999999999 "
    "0e999999999999 1e+5 1e 1e+ 1e- 1e+-5 .5 5. . -.5 +-5 -+5 --5 ++5 1..5 1.5.5 0x 0xg 0x. 0x.g 0x.8 0xA1 "
    "0x.a 0xf1 0x.F 0x1.8p1 0X1P+3 0x1p 0x1p- 0x1p+-5 0x1p-+5 0x1+-5 0x-1 0x1p1e5 0x1p1024 -0x1p1024 "
    "0x1p-1075 0x1p128 0xp1 x1 1x2 1e5e5 infin INFINITYx nan -nan NAN( nan(12) na in i 0.1 16777217 "
    "3.4028236e38 1,5 0,5 1'000 00012 1e0005 1e-0005 1E5 1# 1#e-1990 0.#1 0.#1e2001 0.#1e2400 1#e-2400 "
    "1#.5e-1700 00#1e400 0.#1e1700 0x1# 0x1#p-6500 0x1#p-9500 0x.#1p6500 0x.#1p9500 0x1#p-7990 -0x.#1 "
    "0xa#.8p-6500 12.5#e400 0.5#e-500 1e310.5 1e-310.5 0x0.#1p7900 1E400 1e-400 0X1P1024 1P400 1#.1 -1#e9 "
    "0.#1e1690 0.#1e2309 1#.0.5 0x1#p-6976 0x1#p-9075 2147483648 -2147483904";
const char* const NumbersWithBlanks =
    "1e +5;1e\t5;- 5;0x1p+ 1;1#e -2400; \t\n\v\f\r7\r\f\v\n\t;1#e\t-2400;0.#1e 2400";

Texts NumberTexts()
{
    const HostPattern p;
    Texts texts = p.Split(Numbers, ' ', false);
    p.Split(NumbersWithBlanks, ';', texts, false);
    for (std::string& text : texts)
        if (const std::size_t at = text.find('#'); at != std::string::npos) text.replace(at, 1, 2000, '0');
    const Texts pieces = p.Split(
        "0 1 9 5 00 123 . - + e E- p P+3 0x 0X a F inf nan NaN \v \t , e30 e-40 p9 nan(1 _ +-", ' ', false);
    Random random(4);
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (int n = random.Between(1, 7); n > 0; --n)
            text += pieces[static_cast<std::size_t>(random.Below(random.Below(2) == 0 ? 13 : 29))];
        texts.push_back(
            text.insert(static_cast<std::size_t>(random.Below(3)) % text.size(), i % 9 == 0 ? 1 : 0, '\0'));
    }
    return texts;
}

// Reads with the host's locale set; the numbers are those of the "C" locale all the same.
void ExpectNumbersReadAsInC(const char* locale)
{
    const HostPattern p;
    for (const std::string& text : NumberTexts()) {
        const bool endless = text.find("inf") != std::string::npos || text.find("INF") != std::string::npos;
        const float number = static_cast<float>(std::strtod(text.c_str(), nullptr));
        const float expected = endless ? LargestFloat : number;
        const long mode = std::strtol(text.c_str(), nullptr, 10);

        ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
        Texts errors, warnings;
        LillyHost lilly(ThirdStep, 10, 101, 3);
        EXPECT_TRUE(lilly.FromString("h:(100,10):x[5:x[" + text, 10, errors, warnings));
        const float duration = p.DurationFromStr("x[" + text, errors);
        const PhaseList phases = p.PhasesFromStr("(" + text + ",0)(7," + text + ")", 1, errors, warnings);
        std::setlocale(LC_ALL, "C");

        EXPECT_EQ(lilly.BalanceMode(), mode < 0 ? 3 : std::min(mode, 4L)) << text;
        EXPECT_TRUE(duration == expected || std::isnan(number)) << text << " read as " << duration;
        EXPECT_EQ(std::isnan(duration), std::isnan(expected)) << text;
        const bool oneValue =
            text.find(',') == std::string::npos && text.find_first_not_of("\t\v") != std::string::npos;
        if (!oneValue || std::isnan(number)) continue;
        ASSERT_EQ(phases.size(), std::fabs(number) < 2147483648.0f ? 2 : 0) << text;
        if (phases.empty()) continue;
        EXPECT_EQ(phases[0].len, std::round(number)) << text;
        EXPECT_EQ(phases[1].amp, std::min(p.NearestAmplitude(number), 100.0f)) << text;
    }
}

TEST(Text, NumbersAreReadAsInTheCLocaleWhateverTheHostHasSet)
{
    ExpectNumbersReadAsInC("C");
    const char* const german = "de_DE.UTF-8";
    if (std::setlocale(LC_ALL, german) == nullptr) GTEST_SKIP() << german << " is not installed";
    EXPECT_EQ(std::strtod("1,5", nullptr), 1.5);
    std::setlocale(LC_ALL, "C");
    ExpectNumbersReadAsInC(german);
}

TEST(Text, WhatIsPrintedReadsBack)
{
    Random random(5);
    for (int i = 0; i < 500; ++i) {
        const float step = 0.25f * static_cast<float>(random.Between(1, 40));
        PhaseList phases;
        for (int n = random.Between(1, 6); n > 0; --n)
            phases.push_back({20 * static_cast<float>(random.Below(10000)),
                              step * static_cast<float>(random.Between(-200, 100))});
        HostPattern p(phases, 20, step, 101, 1e6f), copy({}, 20, step, 101, 1e6f);
        p.SetTrainLength(random.Below(5) == 0 ? Inf : 1e5f * random.Fraction());
        Texts errors, warnings;
        ASSERT_TRUE(copy.FromString("h:" + p.ToString(), step, errors, warnings));
        ASSERT_TRUE(warnings.empty());
        ASSERT_EQ(copy.Phases(), phases);
        ASSERT_FLOAT_EQ(copy.TrainLength(), p.TrainLength());
        ASSERT_EQ(copy.CycleCount(), p.CycleCount());
    }
}

}  // namespace
