#include <clocale>
#include <cmath>
#include <cstdlib>

#include "TestPatterns.h"

namespace {

TEST(Text, SplitCutsAtTheDelimiterAndTrimsNothing)
{
    // Pieces without, then with the empty ones, each in bars.
    const HostPattern p;
    for (const auto& [text, pieces] :
         Cases("a,b = /a/b/ /a/b/ | a,,b = /a/b/ /a//b/ | ,a = /a/ //a/ | a, = /a/ /a/ | , = / // | "
               " = / / | _a_,_b_ = /_a_/_b_/ /_a_/_b_/")) {
        std::string joined = "/";
        for (const std::string& piece : p.Split(text, ',', false)) joined += piece + "/";
        joined += " /";
        for (const std::string& piece : p.Split(text, ',', true)) joined += piece + "/";
        EXPECT_EQ(joined, pieces) << text;
    }
    Texts tokens = {"a,b"};
    EXPECT_EQ(&p.Split(tokens[0], ',', tokens, false), &tokens);
    EXPECT_EQ(tokens, (Texts{"a,b", "a", "b"}));
    EXPECT_EQ(p.Split(std::string("a\0b", 3), '\0', false), (Texts{"a", "b"}));
}

TEST(Text, DurationFields)
{
    Texts errors, expected;
    for (auto& [field, msec] :
         Cases("DurationMsec=[250] = 250 | DurationMsec=[ 250 ] = 250 | DurationMsec=[250 = 250 | "
               "x[250]ms = 250 | x[]]2]5] = 2 | x[inf] = 3.4028235e38 | x[-INF] = 3.4028235e38 | "
               "x[5 till infinity] = 3.4028235e38 | x[Inf] = inf | x[-Inf] = -inf | x[1e3] = 1000 | "
               "x[0.5] = 0.5 | x[abc] = 0 | x[-5] = -5 | x[] = 0 | x[ = 0 | x=250 = 0 | [250] = 0 | "
               "x[[250] = 250 | x[2[50] = 0 |  = 0 | x[2~5] = 2 | x[~5] = 0 | x[nan] = nan")) {
        std::string text = field;
        std::replace(text.begin(), text.end(), '~', '\0');
        const float read = HostPattern().DurationFromStr(text, errors);
        EXPECT_TRUE(read == std::stof(msec) || (std::isnan(read) && msec == "nan"))
            << field << " read as " << read;
        if (!(read > 0)) expected.push_back("invalid train duration specification string [" + text + "]");
        EXPECT_EQ(errors, expected);
    }
    const std::string longField = "x[" + std::string(3000, ' ') + "-1]";
    EXPECT_EQ(HostPattern().DurationFromStr(longField, errors), -1);
    EXPECT_EQ(errors.back(), "invalid train duration specification string [" + longField + "]");
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
    "0.#1e1690 0.#1e2309 0x1#p-6976 0x1#p-9075 2147483648 -2147483904";
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

std::string Invalid(const std::string& field)
{
    return "Invalid phase specification string: [" + field + "]";
}

std::string Reduced(int index, int steps)
{
    return "Phase[" + std::to_string(index) + "]: Number of ADC stim output steps reduced from [" +
           std::to_string(steps) + "] to [100].\n";
}

std::string Changed(int index, float from, float to)
{
    return "Phase[" + std::to_string(index) + "]: Original amplitude [" + std::to_string(from) +
           " uA] is now [" + std::to_string(to) + " uA].\n";
}

TEST(Text, PhaseItems)
{
    const std::tuple<std::string, float, const char*, Texts, std::size_t> rows[] = {
        {"(100,50)(100,-50)", 1, "100,50 100,-50", {}, 0},
        {"(99.5,0)(99.4,-0)(-99.5,0)(0.4,0)", 1, "100,0 99,0 -100,0 0,0", {}, 0},
        {"(1,3)", 10, "1,10", {Changed(0, 3, 10)}, 0},
        {"(1,-3)(1,0.4)", 1, "1,-3 1,1", {Changed(1, 0.4f, 1)}, 0},
        {"(1,0)(1,250)", 2, "1,0 1,200", {Reduced(1, 125), Changed(1, 250, 200)}, 0},
        {"(1,201)", 2, "1,200", {Reduced(0, 101), Changed(0, 201, 200)}, 0},
        {"(1,200)(1,-250)(1,-3)", 2, "1,200 1,-250 1,-4", {Changed(2, -3, -4)}, 0},
        {"(1,15)(1,-0.1)", 10, "1,20 1,-10", {Changed(0, 15, 20), Changed(1, -0.1f, -10)}, 0},
        // What may be left out, and what may stand in between.
        {"1,2)3,4", 1, "1,2 3,4", {}, 0},
        {"((1,2)),(3,4)", 1, "1,2 3,4", {}, 0},
        {" ( 1 , 2 ) ( 3 ,, 4x ) (,5(6,7(", 1, "1,2 3,4 5,7", {}, 0},
        {"(x,y)", 1, "0,0", {}, 0},
        {")))", 1, "", {}, 0},
        // Every item counts in the index, valid or not, and every fault is reported.
        {"(100)(1,0.5)(1,2,3)()(1,0.5)", 1, "1,1 1,1", {Changed(1, 0.5f, 1), Changed(4, 0.5f, 1)}, 3},
        {"(1,2) ", 1, "1,2", {}, 1},
        {"(1,2)\t(", 1, "1,2", {}, 1},
        {std::string("(1\0002,2)(\0,3)", 12), 1, "1,2 0,3", {}, 0},
        // Numbers out of range are no phase.
        {"(2147483520,0)(-2147483648,0)(2147483648,0)", 1, "2147483520,0 -2147483648,0", {}, 1},
        {"(-2147483904,0)(1e999,0)(nan,0)(1,inf)(1,-1e39)(1,nan)(1,2147483648)", 1, "", {}, 7},
        {"(1,-2147483520)(1,-2147483648)(1,-1e10)", 1, "1,-2147483520", {}, 2},
        {"(1,1e10)", 100, "1,10000", {Reduced(0, 100000000), Changed(0, 1e10f, 10000)}, 0},
        {"(1,0)(1,2)", 0, "", {}, 2},
        {"(1,0)", -1, "", {}, 1},
        {"(1,0)", NaN, "", {}, 1},
        {"(1,0)", Inf, "", {}, 1},
        {"(1," + std::string(3000, '7') + ")", 1, "", {}, 1},
    };
    for (const auto& [field, ampStep, phases, warned, faults] : rows) {
        SCOPED_TRACE(field);
        Texts errors, warnings;
        EXPECT_EQ(HostPattern().PhasesFromStr(field, ampStep, errors, warnings), Listed(phases));
        EXPECT_EQ(errors, Texts(faults, Invalid(field)));
        EXPECT_EQ(warnings, warned);
    }
}

TEST(Text, SpecificationStrings)
{
    const std::string missing = "Invalid pattern specification string: [";
    const std::string duration = "invalid train duration specification string [";
    const std::tuple<std::string, bool, Texts> rows[] = {
        {"Head:(100,50)(100,-50):DurationMsec=[1000]", true, {}},
        {"::Head:::(100,50)(100,-50):DurationMsec=[1000]::", true, {}},
        {"Head:(100,50)(100,-50):x[1000:more:fields", true, {}},
        {"(100,50)(100,-50):x[1000]", false, {missing + "(100,50)(100,-50):x[1000]]"}},
        {std::string("a\0:b", 4), false, {missing + std::string("a\0:b]", 5)}},
        {std::string(5000, 'x'), false, {missing + std::string(5000, 'x') + "]"}},
        {"Head:(100)(7,7):x[0]", false, {Invalid("(100)(7,7)"), duration + "x[0]]"}},
        {"Head:(100,50) :x[1000]", false, {Invalid("(100,50) ")}},
        {"Head:(100,50):x[nan]", false, {duration + "x[nan]]"}},
        {"Head:)):x[1000]", false, {}}};
    for (const auto& [spec, taken, faults] : rows) {
        SCOPED_TRACE(spec);
        HostPattern p(Listed("7,7"));
        Texts errors = {"before"}, warnings;
        EXPECT_EQ(p.FromString(spec, 1, errors, warnings), taken);
        EXPECT_EQ(Texts(errors.begin() + 1, errors.end()), faults);
        EXPECT_EQ(p.ChangeCount(), taken ? 2 : 0);
        EXPECT_EQ(p.Phases(), Listed(taken ? "100,50 100,-50" : "7,7"));
        EXPECT_EQ(p.TrainLength(), taken ? 1000 : 0);
    }
}

TEST(Text, ListThatDoesNotFitIsReadAllTheSame)
{
    HostPattern p(Listed("7,7"), 1, 5, 3);
    Texts errors, warnings;
    EXPECT_TRUE(p.FromString("h:(100,50)(100,-50):x[9]", 2, errors, warnings));
    EXPECT_EQ(p.Phases(), Listed("7,7"));
    EXPECT_EQ(p.TrainLength(), 9);
    EXPECT_TRUE(errors.empty() && warnings.empty());
    EXPECT_FALSE(p.FromString("h:(1,3):x", 2, errors, warnings));
    EXPECT_EQ(warnings, (Texts{Changed(0, 3, 4)})) << "warnings stay, taken or not";
}

TEST(Text, PatternsArePrinted)
{
    const std::string largest = "340282346638528859811704183484516925440.000000";
    const std::pair<const char*, std::string> rows[] = {
        {"", ""},
        {"100,50 100,-50", "(100.000000,50.000000)(100.000000,-50.000000)"},
        {"0.1,-0 1e-7,5e-7", "(0.100000,-0.000000)(0.000000,0.000000)"},
        {"nan,-nan inf,-inf", "(nan,nan)(inf,-inf)"},
        {"3.4028235e38,-3.4028235e38", "(" + largest + ",-" + largest + ")"}};
    for (const auto& [phases, text] : rows) {
        HostPattern p(Listed(phases));
        p.m_trainLengthUsec = 1000000;
        EXPECT_EQ(p.ToString(), text + ":DurationMsec=[1000.000000]");
        p.m_trainLengthUsec = Inf;
        EXPECT_EQ(p.ToString(), text + ":DurationMsec=[inf]");
    }
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
