#include "TestPatterns.h"

namespace {

constexpr int Invalid = -1;

struct Row
{
    float timeStep, ampStep;
    PhaseList phases;
    int words;  // what the list counts, or Invalid
};

void ExpectCounts(const Row& row)
{
    SCOPED_TRACE(testing::PrintToString(row.phases) + " at " + std::to_string(row.timeStep));
    const HostPattern p({}, row.timeStep, row.ampStep);
    EXPECT_EQ(p.PhasesValid(row.phases, row.words == Invalid ? LargestInt : row.words), row.words != Invalid);
    EXPECT_FALSE(p.PhasesValid(row.phases, row.words - 1));
    EXPECT_EQ(p.ListValid(row.phases, LargestInt), row.words != Invalid);
}

TEST(Validation, ListsCountTheirWords)
{
    const Row rows[] = {
        {1, 1, {}, 0},
        {1, 1, {{0, 0}}, 0},
        {1, 1, {{1, 10}}, 1},
        {1, 1, {{100, 10}}, 2},
        {1, 1, {{100.6f, 10}}, 3},
        {1, 1, {{100.4f, 10}}, 2},
        {1, 1, {{70000, 10}}, 2},
        {1, 1, {{3e9f, 10}}, 3},
        {1, 1, {{100, 10}, {100, -10}}, 4},
        {1, 1, {{100.7f, 10}, {50, 0}, {100, -10}}, 7},
        {1, 1, {{0, 0}, {200, 20}, {50, 0}, {200, -20}, {1000, 0}}, 8},
        {1, 1, {{0.3f, 5}}, 0},
        {1, 1, {{0.5f, 5}}, 0},
        {1, 1, {{0.7f, 5}}, 1},
        {1, 1, {{0.7f, 5}, {100, 0}}, 3},
        {1, 1, {{0.7f, 0}, {0.2f, 5}}, 1},
        {1, 1, {{2.995f, 0}}, 2},
        {1, 1, {{2.98f, 0}}, 3},
        {ThirdStep, 10, {{100, 0}, {210, -300}, {50, 0}, {210, 300}, {1000, 0}}, 10},
        // What a junction leaves is used up below 0.5 us and kept from there on.
        {5, 1, {{5.5f, 0}}, 1},
        {5, 1, {{5.75f, 0}}, 2},
        {20, 1, {{30, 5}, {11, 0}, {20, 0}}, 4},
        {20, 1, {{7, 0}, {13.25f, 5}, {20, 5}}, 2},
        {20, 1, {{7, 0}, {13.5f, 5}, {20, 5}}, Invalid},
    };
    for (const Row& row : rows) ExpectCounts(row);
}

TEST(Validation, ActivePhaseMayShareAStepOnlyWithSilenceAndOnlyWhenItFillsIt)
{
    const Row rows[] = {
        {1, 1, {{100.7f, 10}, {100.7f, -10}}, Invalid},
        {ThirdStep, 10, {{210, -300}, {210, 300}}, Invalid},
        {20, 10, {{200, -300}, {210, 300}}, 5},
        {20, 10, {{210, 0}, {210, 300}}, 4},
        // A pause too short to end the step leaves it open.
        {1, 1, {{0.7f, 5}, {0.2f, 0}, {5, 5}}, Invalid},
        {1, 1, {{0.7f, 5}, {0, 0}, {5, 5}}, Invalid},
        {1, 1, {{0.7f, 0}, {0.2f, 0}, {5, 5}}, 3},
        // Half a microsecond short of the step is near enough.
        {10, 1, {{7, 0}, {2, 5}}, Invalid},
        {10, 1, {{7, 0}, {2.5f, 5}}, 1},
        {10, 1, {{7, 0}, {3, 5}}, 1},
        // Less than one amplitude step is active, too.
        {10, 10, {{15, 1}, {25, 300}}, Invalid},
        {10, 10, {{15, 1}, {2, 0}, {25, 0}}, 4},
        {10, 0, {{15, 100}, {15, -100}}, 3},
        {10, 0, {{15, 100}, {5, 0}, {20, -100}}, 4},
        // The silence of a whole step closes it, that of a junction as well.
        {20, 1, {{30, 5}, {30, 0}, {40, 5}}, 5},
        {20, 1, {{30, 5}, {25, 0}, {4, -5}}, Invalid},
        {20, 1, {{30, 5}, {25, 0}, {15, -5}}, 4},
        {20, 1, {{30, 5}, {10, 0}, {40, 5}}, 4},
        {20, 1, {{30, NaN}, {30, NaN}}, Invalid},
    };
    for (const Row& row : rows) ExpectCounts(row);
}

TEST(Validation, UnusableStepsAndLengthsAreNeverValid)
{
    for (const float step : {0.0f, -0.0f, -1.0f, NaN, Inf, -Inf}) {
        ExpectCounts({step, 1, {{100, 0}}, Invalid});
        ExpectCounts({step, 1, {{100, 5}}, Invalid});
        ExpectCounts({step, 1, {}, 0});
    }
    for (const float step : {-1.0f, NaN, Inf, -Inf}) {
        ExpectCounts({20, step, {{100, 0}, {100, 5}}, Invalid});
        ExpectCounts({20, step, {{100, 0}}, 2});
    }
    for (const float len : {-1.0f, -1e-30f, NaN}) {
        ExpectCounts({20, 1, {{100, 0}, {len, 0}, {100, 0}}, Invalid});
        ExpectCounts({20, 1, {{len, 5}}, Invalid});
    }
    EXPECT_FALSE(HostPattern().PhasesValid({}, -1));
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

    const HostPattern atThreshold({{5.5f, 0}}, 5);
    EXPECT_TRUE(atThreshold.PhasesValid(atThreshold.Phases(), 1));
    EXPECT_EQ(Written(atThreshold), (Words{0x00010000, 0x00010000}));
}

}  // namespace
