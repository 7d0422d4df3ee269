#include <clocale>
#include <cmath>
#include <cstdlib>

#include "TestPatterns.h"

namespace {

TEST(Text, SplitCutsAtTheDelimiterAndTrimsNothing)
{
    struct Row
    {
        const char* text;
        Texts filled, all;
    };
    const Row rows[] = {
        {"a,b", {"a", "b"}, {"a", "b"}},
        {"a,,b", {"a", "b"}, {"a", "", "b"}},
        {",a", {"a"}, {"", "a"}},
        {"a,", {"a"}, {"a"}},
        {",", {}, {""}},
        {"", {}, {}},
        {",,", {}, {"", ""}},
        {" a , b ", {" a ", " b "}, {" a ", " b "}},
        {"a;b", {"a;b"}, {"a;b"}},
    };
    const HostPattern p;
    for (const Row& row : rows) {
        EXPECT_EQ(p.Split(row.text, ',', false), row.filled) << row.text;
        EXPECT_EQ(p.Split(row.text, ',', true), row.all) << row.text;
    }
    Texts tokens = {"x"};
    EXPECT_EQ(&p.Split("a,b", ',', tokens, false), &tokens);
    EXPECT_EQ(tokens, (Texts{"x", "a", "b"}));
    EXPECT_EQ(p.Split(std::string("a\0b", 3), '\0', false), (Texts{"a", "b"}));
}

// The field in the message of a fault is the whole field.
TEST(Text, DurationFields)
{
    struct Row
    {
        std::string field;
        float msec;
        bool fault;
    };
    const Row rows[] = {
        {"DurationMsec=[250]", 250, false},
        {"DurationMsec=[ 250 ]", 250, false},
        {"DurationMsec=[250", 250, false},
        {"DurationMsec=[250]ms", 250, false},
        {"DurationMsec=[]]2]5]", 2, false},
        {"x[\t\n\v\f\r 1e3\t\n\v\f\r ", 1000, false},
        {"DurationMsec=[inf]", LargestFloat, false},
        {"DurationMsec=[-INF]", LargestFloat, false},
        {"DurationMsec=[infinite]", LargestFloat, false},
        {"DurationMsec=[5 till infinity]", LargestFloat, false},
        {"DurationMsec=[Inf]", Inf, false},
        {"DurationMsec=[-Inf]", -Inf, true},
        {"DurationMsec=[abc]", 0, true},
        {"DurationMsec=[0]", 0, true},
        {"DurationMsec=[-5]", -5, true},
        {"DurationMsec=[]", 0, true},
        {"DurationMsec=[", 0, true},
        {"DurationMsec=250", 0, true},
        {"[250]", 0, true},
        {"[x[250]", 250, false},
        {"x[[250]", 250, false},
        {"DurationMsec=[2[50]", 0, true},
        {"", 0, true},
        {"x[" + std::string(3000, ' ') + "-1]", -1, true},
        {std::string("x[2\0005]", 6), 2, false},
        {std::string("x[\0005]", 5), 0, true},
    };
    for (const Row& row : rows) {
        Texts errors = {"before"};
        EXPECT_EQ(HostPattern().DurationFromStr(row.field, errors), row.msec) << row.field;
        Texts expected = {"before"};
        if (row.fault) expected.push_back("invalid train duration specification string [" + row.field + "]");
        EXPECT_EQ(errors, expected);
    }
    Texts errors;
    EXPECT_TRUE(std::isnan(HostPattern().DurationFromStr("x[nan]", errors)));
    EXPECT_EQ(errors.size(), 1U);
}

std::string RandomNumber(Random& random)
{
    static const std::string Pieces[] = {
        "0",  "1",  "9",   "5",  "00",  "123",  ".",  "-",        "+",     "e",
        "E-", "p",  "P+3", "0x", "0X",  "a",    "F",  "inf",      "nan",   "NaN",
        " ",  "\v", "\t",  ",",  "e30", "e-40", "p9", "INFINITY", "nan(1", std::string(1, '\0'),
        "_"};
    std::string text;
    for (int n = random.Between(1, 7); n > 0; --n)
        text += Pieces[static_cast<std::size_t>(random.Below(random.Below(2) == 0 ? 13 : 31))];
    return text;
}

std::vector<std::string> Numbers()
{
    const std::string noughts(2000, '0');
    std::vector<std::string> texts = {
        "1e38",
        "1e39",
        "-1e39",
        "1e308",
        "1e309",
        "1e-46",
        "1e-400",
        "4.9e-324",
        "1e999999999999999999999",
        "1e-99999999999999999999",
        "0e999999999999",
        "1e+5",
        "1e +5",
        "1e\t5",
        "1e",
        "1e+",
        "1e-",
        "1e+-5",
        ".5",
        "5.",
        ".",
        "-.5",
        "+-5",
        "-+5",
        "--5",
        "++5",
        "- 5",
        "1..5",
        "1.5.5",
        "0x",
        "0xg",
        "0x.",
        "0x.g",
        "0x.8",
        "0x1.8p1",
        "0X1P+3",
        "0x1p",
        "0x1p-",
        "0x1p+ 1",
        "0x-1",
        "0x1p1e5",
        "0x1p1024",
        "-0x1p1024",
        "0x1p-1075",
        "0x1p128",
        "0xp1",
        "x1",
        "1x2",
        "1e5e5",
        "infin",
        "INFINITYx",
        "nan",
        "-nan",
        "NAN(",
        "nan(12)",
        "na",
        "in",
        "i",
        "0.1",
        "16777217",
        "3.4028236e38",
        "1,5",
        "0,5",
        "1'000",
        "00012",
        "1e0005",
        "1e-0005",
        "1E5",
        "1" + noughts,
        "1" + noughts + "e-1990",
        "0." + noughts + "1",
        "0." + noughts + "1e2001",
        "0." + noughts + "1e2400",
        "1" + noughts + "e-2400",
        "1" + noughts + ".5e-1700",
        "00" + noughts + "1e400",
        "0." + noughts + "1e1700",
        "0x1" + noughts,
        "0x1" + noughts + "p-6500",
        "0x1" + noughts + "p-9500",
        "0x." + noughts + "1p6500",
        "0x." + noughts + "1p9500",
        "0x1" + noughts + "p-7990",
        "-0x." + noughts + "1",
        "0xa" + noughts + ".8p-6500",
        "12.5" + noughts + "e400",
        "0.5" + noughts + "e-500",
        "1e310.5",
        "1e-310.5",
    };
    Random random(4);
    for (int i = 0; i < 20000; ++i) texts.push_back(RandomNumber(random));
    return texts;
}

void ExpectNumber(float read, float expected, const std::string& text)
{
    EXPECT_TRUE(read == expected || (std::isnan(read) && std::isnan(expected)))
        << text << " read as " << read << ", not " << expected;
}

// What the host's locale is while the numbers are read; the expectation is always that of the "C" locale.
void ExpectNumbersReadAsInC(const char* locale)
{
    const HostPattern p;
    for (const std::string& text : Numbers()) {
        const bool endless = text.find("inf") != std::string::npos || text.find("INF") != std::string::npos;
        const float expected = static_cast<float>(std::strtod(text.c_str(), nullptr));
        const long mode = std::strtol(text.c_str(), nullptr, 10);

        ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
        Texts errors, warnings;
        ExpectNumber(p.DurationFromStr("x[" + text, errors), endless ? LargestFloat : expected, text);

        LillyHost lilly(ThirdStep, 10, 101, 3);
        EXPECT_TRUE(lilly.FromString("h:(100,10):x[5:x[" + text, 10, errors, warnings));
        EXPECT_EQ(lilly.BalanceMode(), mode < 0 ? 3 : std::min(mode, 4L)) << text;

        const bool values =
            text.find(',') == std::string::npos && text.find_first_not_of(" \t\v") != std::string::npos;
        const bool fits = values && expected > -2e9f && expected < 2e9f;
        const auto phases = p.PhasesFromStr("(" + text + ",0)(7," + text + ")", 1, errors, warnings);
        if (fits && phases.size() == 2) {
            EXPECT_EQ(phases[0].len, std::round(expected)) << text;
            EXPECT_EQ(phases[1].amp, std::min(p.NearestAmplitude(expected), 100.0f)) << text;
        } else {
            EXPECT_FALSE(fits) << text;
        }

        std::setlocale(LC_ALL, "C");
    }
}

TEST(Text, NumbersAreReadAsInTheCLocale)
{
    ExpectNumbersReadAsInC("C");
}

TEST(Text, NumbersAreReadAndPrintedAsInTheCLocaleWhateverTheHostHasSet)
{
    const char* const german = "de_DE.UTF-8";
    if (std::setlocale(LC_ALL, german) == nullptr) GTEST_SKIP() << german << " is not installed";
    EXPECT_EQ(std::strtod("1,5", nullptr), 1.5);
    EXPECT_EQ(HostPattern({{1234567, -0.5f}}).ToString(),
              "(1234567.000000,-0.500000):DurationMsec=[0.000000]");
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

std::string Changed(int index, const char* from, const char* to)
{
    return "Phase[" + std::to_string(index) + "]: Original amplitude [" + from + " uA] is now [" + to +
           " uA].\n";
}

TEST(Text, PhaseItems)
{
    struct Row
    {
        std::string field;
        float ampStep;
        PhaseList phases;
        Texts warnings;
        int faults = 0;
    };
    const Row rows[] = {
        {"(100,50)(100,-50)", 1, {{100, 50}, {100, -50}}, {}},
        {"(99.5,0)(99.4,-0)(-99.5,0)(0.4,0)", 1, {{100, 0}, {99, 0}, {-100, 0}, {0, 0}}, {}},
        {"(1,3)", 10, {{1, 10}}, {Changed(0, "3.000000", "10.000000")}},
        {"(1,-3)(1,0.4)", 1, {{1, -3}, {1, 1}}, {Changed(1, "0.400000", "1.000000")}},
        {"(1,250)", 2, {{1, 200}}, {Reduced(0, 125), Changed(0, "250.000000", "200.000000")}},
        {"(1,0)(1,201)", 2, {{1, 0}, {1, 200}}, {Reduced(1, 101), Changed(1, "201.000000", "200.000000")}},
        {"(1,200)(1,-250)", 2, {{1, 200}, {1, -250}}, {}},
        {"(1,-3)", 2, {{1, -4}}, {Changed(0, "-3.000000", "-4.000000")}},
        {"(1,15)(1,14.9)(1,-0.1)",
         10,
         {{1, 20}, {1, 10}, {1, -10}},
         {Changed(0, "15.000000", "20.000000"), Changed(1, "14.900000", "10.000000"),
          Changed(2, "-0.100000", "-10.000000")}},
        // What may be left out, and what may stand in between.
        {"1,2)3,4", 1, {{1, 2}, {3, 4}}, {}},
        {"((1,2)),(3,4)", 1, {{1, 2}, {3, 4}}, {}},
        {" ( 1 , 2 ) ( 3 ,, 4x ) (,5(6,7(", 1, {{1, 2}, {3, 4}, {5, 7}}, {}},
        {"(x,y)", 1, {{0, 0}}, {}},
        {")))", 1, {}, {}},
        {"", 1, {}, {}},
        // Every item counts in the index, valid or not; a fault is reported once each.
        {"(100)(1,0.5)(1,2,3)()(1,0.5)",
         1,
         {{1, 1}, {1, 1}},
         {Changed(1, "0.500000", "1.000000"), Changed(4, "0.500000", "1.000000")},
         3},
        {"(1,2) ", 1, {{1, 2}}, {}, 1},
        {"(1,2)\t(", 1, {{1, 2}}, {}, 1},
        {std::string("(1\0002,2)(\0,3)", 12), 1, {{1, 2}, {0, 3}}, {}},
        // Numbers out of range are no phase.
        {"(2147483520,0)(-2147483648,0)(2147483648,0)(-2147483904,0)(1e999,0)(nan,0)",
         1,
         {{2147483520.0f, 0}, {-2147483648.0f, 0}},
         {},
         4},
        {"(1,inf)(1,-1e39)(1,nan)(1,2147483648)(1,-2147483648)", 1, {}, {}, 5},
        {"(1,-2147483520)(1,-1e10)", 1, {{1, -2147483520.0f}}, {}, 1},
        {"(1,1e10)",
         100,
         {{1, 10000}},
         {Reduced(0, 100000000), Changed(0, "10000000000.000000", "10000.000000")}},
        {"(1,0)(1,2)", 0, {}, {}, 2},
        {"(1,0)", -1, {}, {}, 1},
        {"(1,0)", NaN, {}, {}, 1},
        {"(1,0)", Inf, {}, {}, 1},
        {"(1," + std::string(3000, '7') + ")", 1, {}, {}, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.field);
        Texts errors = {"before"}, warnings = {"before"};
        EXPECT_EQ(HostPattern().PhasesFromStr(row.field, row.ampStep, errors, warnings), row.phases);
        Texts faults(static_cast<std::size_t>(row.faults), Invalid(row.field));
        faults.insert(faults.begin(), "before");
        EXPECT_EQ(errors, faults);
        Texts expected = row.warnings;
        expected.insert(expected.begin(), "before");
        EXPECT_EQ(warnings, expected);
    }
}

TEST(Text, SpecificationStrings)
{
    const std::string badPhases = "(100)(7,7)";
    const std::string missing = "Invalid pattern specification string: [";
    struct Row
    {
        std::string spec;
        bool taken;
        Texts errors;
    };
    const Row rows[] = {
        {"Head:(100,50)(100,-50):DurationMsec=[1000]", true, {}},
        {"::Head:::(100,50)(100,-50):DurationMsec=[1000]::", true, {}},
        {"Head:(100,50)(100,-50):x[1000]:more:fields", true, {}},
        {"(100,50)(100,-50):DurationMsec=[1000]",
         false,
         {missing + "(100,50)(100,-50):DurationMsec=[1000]]"}},
        {std::string("a\0:b", 4), false, {missing + std::string("a\0:b]", 5)}},
        {"", false, {missing + "]"}},
        {std::string(5000, 'x'), false, {missing + std::string(5000, 'x') + "]"}},
        {"Head:" + badPhases + ":Duration[0]",
         false,
         {Invalid(badPhases), "invalid train duration specification string [Duration[0]]"}},
        {"Head:(100,50) :x[1000]", false, {Invalid("(100,50) ")}},
        {"Head:(100,50):x[1000", true, {}},
        {"Head:(100,50):x[nan]", false, {"invalid train duration specification string [x[nan]]"}},
        {"Head:)):x[1000]", false, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.spec);
        HostPattern p({{7, 7}});
        Texts errors = {"before"}, warnings;
        EXPECT_EQ(p.FromString(row.spec, 1, errors, warnings), row.taken);
        EXPECT_EQ(Texts(errors.begin() + 1, errors.end()), row.errors);
        EXPECT_EQ(p.ChangeCount(), row.taken ? 2 : 0);
        EXPECT_EQ(p.PhaseLen(0), row.taken ? 100 : 7);
        EXPECT_EQ(p.TrainLength(), row.taken ? 1000 : 0);
    }
}

TEST(Text, RefusedListIsReadAllTheSame)
{
    HostPattern p({{7, 7}}, 1, 5, 3);
    Texts errors, warnings;
    EXPECT_TRUE(p.FromString("h:(100,50)(100,-50):x[9]", 2, errors, warnings));
    EXPECT_EQ(p.Phases(), (PhaseList{{7, 7}}));
    EXPECT_EQ(p.TrainLength(), 9);
    EXPECT_TRUE(errors.empty() && warnings.empty());
    EXPECT_FALSE(p.FromString("h:(1,3):x", 2, errors, warnings));
    EXPECT_EQ(warnings, (Texts{Changed(0, "3.000000", "4.000000")}));
}

TEST(Text, PatternsArePrinted)
{
    const std::pair<PhaseList, std::string> rows[] = {
        {{}, ""},
        {{{100, 50}, {100, -50}}, "(100.000000,50.000000)(100.000000,-50.000000)"},
        {{{0.1f, -0.0f}}, "(0.100000,-0.000000)"},
        {{{1e-7f, 0.0000005f}}, "(0.000000,0.000000)"},
        {{{NaN, -NaN}}, "(nan,nan)"},
        {{{Inf, -Inf}}, "(inf,-inf)"},
        {{{LargestFloat, -LargestFloat}},
         "(340282346638528859811704183484516925440.000000,-340282346638528859811704183484516925440.000000)"},
    };
    for (const auto& [phases, text] : rows) {
        HostPattern p(phases);
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
