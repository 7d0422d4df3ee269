#include "TestPatterns.h"

namespace {

// Every list counts its number of words, or is invalid.
void ExpectCounts(float timeStep, float ampStep, const std::string& table)
{
    const HostPattern p({}, timeStep, ampStep);
    for (const auto& [text, count] : Cases(table)) {
        SCOPED_TRACE(text + " at " + std::to_string(timeStep));
        const bool valid = count != "invalid";
        const int words = valid ? std::stoi(count) : LargestInt;
        EXPECT_EQ(p.PhasesValid(Listed(text), words), valid);
        EXPECT_FALSE(p.PhasesValid(Listed(text), words - 1));
    }
}

TEST(Validation, ListsCountTheirWordsOrAreInvalid)
{
    ExpectCounts(1, 1,
                 " = 0 | 0,0 = 0 | 1,10 = 1 | 100,10 = 2 | 100.6,10 = 3 | 100.4,10 = 2 | 70000,10 = 2 | "
                 "3e9,10 = 3 | 100,10 100,-10 = 4 | 100.7,10 50,0 100,-10 = 7 | "
                 "0,0 200,20 50,0 200,-20 1000,0 = 8 | 0.3,5 = 0 | 0.5,5 = 0 | 0.7,5 = 1 | 0.7,5 100,0 = 3 | "
                 "0.7,0 0.2,5 = 1 | 2.995,0 = 2 | 2.98,0 = 3");
    ExpectCounts(ThirdStep, 10, "100,0 210,-300 50,0 210,300 1000,0 = 10 | 210,-300 210,300 = invalid");
    // What a junction leaves is used up below 0.5 us, and is kept, open, from there on.
    ExpectCounts(5, 1, "5.5,0 = 1 | 5.75,0 = 2");
    ExpectCounts(20, 1, "30,5 11,0 20,0 = 4 | 7,0 13.25,5 20,5 = 2 | 7,0 13.5,5 20,5 = invalid");
    // An active phase may share a step with silence alone. A pause too short to end the step leaves it open; a
    // longer one closes it, by a whole step or a junction.
    ExpectCounts(20, 10, "200,-300 210,300 = 5 | 210,0 210,300 = 4 | 30,nan 30,nan = invalid");
    ExpectCounts(1, 1,
                 "100.7,10 100.7,-10 = invalid | 0.7,5 0.2,0 5,5 = invalid | 0.7,5 0,0 5,5 = invalid | "
                 "0.7,0 0.2,0 5,5 = 3");
    ExpectCounts(20, 1,
                 "30,5 30,0 40,5 = 5 | 30,5 25,0 4,-5 = invalid | 30,5 25,0 15,-5 = 4 | 30,5 10,0 40,5 = 4");
    // The phase must fill the step; half a microsecond short of it is near enough.
    ExpectCounts(10, 1, "7,0 2,5 = invalid | 7,0 2.5,5 = 1 | 7,0 3,5 = 1");
    // Less than one amplitude step is active, too; with a step of 0 nothing is.
    ExpectCounts(10, 10, "15,1 25,300 = invalid | 15,1 2,0 25,0 = 4");
    ExpectCounts(10, 0, "15,100 15,-100 = 3 | 15,100 5,0 20,-100 = 4");
    EXPECT_FALSE(HostPattern().ListValid({}, -1));
}

TEST(Validation, UnusableStepsAndLengthsAreNeverValid)
{
    for (const float step : {0.0f, -0.0f, -1.0f, NaN, Inf, -Inf})
        ExpectCounts(step, 1, "100,0 = invalid | 100,5 = invalid |  = 0");
    for (const float step : {-1.0f, NaN, Inf, -Inf})
        ExpectCounts(20, step, "100,0 100,5 = invalid | 100,0 = 2");
    ExpectCounts(20, 1,
                 "100,0 -1,0 100,0 = invalid | -1e-30,0 = invalid | 100,0 nan,0 = invalid | nan,5 = invalid");
}

// Where nothing comes near a threshold, a list that passes fits its budget.
TEST(Validation, NeverCountsFewerWordsThanAreWritten)
{
    Random random(2);
    int written = 0;
    for (int i = 0; i < 4000; ++i) {
        PhaseList phases;
        for (int n = random.Between(1, 7); n > 0; --n)
            phases.push_back({static_cast<float>(random.Below(random.Below(2) * 170 + 30)),
                              static_cast<float>(random.Below(3) * random.Between(-20, 20))});
        const HostPattern p(phases, 20);
        const auto words = Written(p);
        if (!words) continue;
        ++written;
        ASSERT_TRUE(p.PhasesValid(phases, 3 * static_cast<int>(phases.size())));
        ASSERT_FALSE(p.PhasesValid(phases, static_cast<int>(words->size()) - 1))
            << testing::PrintToString(phases);
    }
    EXPECT_GT(written, 800);

    const HostPattern atThreshold(Listed("5.5,0"), 5);
    EXPECT_TRUE(atThreshold.PhasesValid(atThreshold.Phases(), 1));
    EXPECT_EQ(Hex(Written(atThreshold)), "00010000 00010000");
}

}  // namespace
