#include <cmath>

#include "TestPatterns.h"

namespace {

const PhaseList TenMsec = {{4000, 10}, {3000, 0}, {3000, -10}};

TEST(Timing, PeriodAndFrequencyAreTheSumOfThePhases)
{
    const HostPattern p(TenMsec);
    EXPECT_EQ(p.PeriodUsec(), 10000);
    EXPECT_EQ(p.Period(), 10);
    EXPECT_EQ(p.Frequency(), 100);
    EXPECT_EQ(HostPattern().PeriodUsec(), 0);
    EXPECT_EQ(HostPattern().Frequency(), Inf);
}

TEST(Timing, SetFrequencyAsksForThePeriodAndTellsTheOneInForce)
{
    RecordingPattern p(TenMsec);
    p.periodInForce = 20;
    EXPECT_EQ(p.SetFrequency(200), 50);
    EXPECT_EQ(p.periods, (std::vector<float>{5}));
}

TEST(Timing, TrainCountsItsCyclesAndMismatch)
{
    struct Row
    {
        float trainMsec;
        int down, up;
        float mismatchMsec;
    };
    const Row rows[] = {
        {10, 1, 1, 0},
        {20, 2, 2, 0},
        {25, 2, 3, 5},
        {29.95f, 3, 3, -0.05f},
        {30.05f, 3, 3, 0.05f},
        {29.8f, 2, 3, 9.8f},
        {30.2f, 3, 4, 0.2f},
        {29.91f, 3, 3, -0.09f},
        {30.11f, 3, 4, 0.11f},
        {29.89f, 2, 3, 9.89f},
        {1e6f, 100000, 100000, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.trainMsec);
        HostPattern p(TenMsec);
        EXPECT_EQ(p.SetTrainLength(row.trainMsec), row.trainMsec * 1000);
        EXPECT_NEAR(p.TrainLength(), row.trainMsec, 1e-5f * row.trainMsec);
        EXPECT_EQ(p.CycleCount(), row.down);
        EXPECT_NEAR(p.TrainPeriodMismatch(Stim::WithSign), row.mismatchMsec, 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatch(static_cast<Stim::ReturnSign>(3)), row.mismatchMsec, 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatch(Stim::Magnitude), std::fabs(row.mismatchMsec), 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatchPct(), std::fabs(row.mismatchMsec) / row.trainMsec, 1e-5);
        p.m_roundCyclesDown = 0;
        EXPECT_EQ(p.CycleCount(), row.up);
    }
}

TEST(Timing, TrainIsAtLeastOnePeriod)
{
    HostPattern p(TenMsec);
    EXPECT_EQ(p.CycleCount(), 1);
    EXPECT_EQ(p.SetTrainLength(5), 10000);
    EXPECT_EQ(p.SetTrainLength(-5), 10000);
    EXPECT_EQ(p.SetTrainLength(10.5f), 10500);
    for (const int cycles : {0, -3, SmallestInt, 1}) {
        p.SetCycleCount(cycles);
        EXPECT_EQ(p.m_trainLengthUsec, 10000);
    }
    p.m_trainLengthUsec = 10;
    EXPECT_EQ(p.CycleCount(), 1);
    HostPattern none;
    none.SetCycleCount(4);
    EXPECT_EQ(none.m_trainLengthUsec, 0);
}

TEST(Timing, TrainFollowsThePeriodOnlyWhenItIsSet)
{
    HostPattern p({{173775, 0}});
    p.SetCycleCount(437);
    EXPECT_EQ(p.m_trainLengthUsec, 75939672);
    EXPECT_EQ(p.CycleCount(), 437);
    p.AppendPhase(173775, 0);
    EXPECT_EQ(p.m_trainLengthUsec, 75939672);
    EXPECT_EQ(p.CycleCount(), 218);
}

TEST(Timing, CycleCountReadsBack)
{
    Random random(1);
    for (int i = 0; i < 2000; ++i) {
        HostPattern p({{1 + 1e5f * random.Fraction(), 0}, {1 + 100 * random.Fraction(), 1}});
        const int cycles = random.Between(1, 40000);
        p.m_roundCyclesDown = random.Below(2);
        p.SetCycleCount(cycles);
        ASSERT_EQ(p.CycleCount(), cycles) << p.PeriodUsec();
        ASSERT_FALSE(p.IsContinuous());
    }
}

TEST(Timing, TrainsWithoutAnEndAreContinuous)
{
    for (const float msec : {LargestFloat, Inf, NaN, 3.4028235e35f, 1e30f, 3e10f}) {
        HostPattern p(TenMsec);
        p.SetTrainLength(msec);
        EXPECT_EQ(p.CycleCount(), LargestInt) << msec;
        EXPECT_TRUE(p.IsContinuous()) << msec;
        EXPECT_EQ(p.TrainPeriodMismatch(Stim::WithSign), 0) << msec;
    }
    HostPattern p(TenMsec);
    p.SetCycleCount(LargestInt);
    EXPECT_TRUE(p.IsContinuous());
    p.m_trainLengthUsec = LargestFloat;
    p.m_phases = {{LargestFloat, 0}};
    EXPECT_TRUE(p.IsContinuous());
    p.m_phases = {{NaN, 0}};
    p.m_trainLengthUsec = 1000;
    EXPECT_TRUE(p.IsContinuous());
    p.m_phases = {{-10, 0}};
    EXPECT_EQ(p.CycleCount(), 1);
    HostPattern none;
    EXPECT_TRUE(none.IsContinuous());
    EXPECT_EQ(none.TrainPeriodMismatch(Stim::Magnitude), 0);
    none.m_trainLengthUsec = 1000;
    EXPECT_TRUE(none.IsContinuous());
}

TEST(Timing, PeriodIsTrimmedOfItsSilence)
{
    const PhaseList pulse = {{0, 0}, {100, 10}, {100, 0}, {100, -10}, {500, 0}};
    const PhaseList padded = {{1, 0}, {2, 0}, {4, 0}, {8, 5}, {16, 0}, {32, 0}, {64, 0}};
    const PhaseList silent = {{100, 0}, {200, 0}, {400, 0}};
    struct Row
    {
        const PhaseList& phases;
        int maxTrim;
        float usec;
    };
    const Row rows[] = {
        {pulse, -1, 300}, {pulse, 0, 800},  {pulse, 1, 300},  {padded, -1, 8}, {padded, 7, 8},
        {padded, 0, 126}, {padded, 1, 60},  {padded, 2, 24},  {padded, 3, 8},  {padded, 6, 8},
        {silent, -1, 0},  {silent, 0, 600}, {silent, 1, 400}, {silent, 2, 0},  {silent, SmallestInt, 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(HostPattern(row.phases).PeriodTrimmed(row.maxTrim), row.usec / 1000)
            << testing::PrintToString(row.phases) << row.maxTrim;
    EXPECT_EQ(HostPattern().PeriodTrimmed(-1), 0);
}

TEST(Timing, PhasesStartWhereTheOnesBeforeEnd)
{
    const HostPattern p({{0, 0}, {100, 10}, {100, 0}, {100, -10}, {500, 0}});
    const std::pair<int, float> starts[] = {{-1, 0}, {0, 0}, {1, 0}, {2, 100}, {4, 300}, {5, 800}, {9, 800}};
    for (const auto& [index, start] : starts) EXPECT_EQ(p.PhaseStart(index), start) << index;
    EXPECT_EQ(p.FirstActiveTime(), 0);
    EXPECT_EQ(HostPattern({{10, 0}, {20, 0}, {30, NaN}}).FirstActiveTime(), 30);
    EXPECT_EQ(HostPattern({{10, 0}, {20, 0}}).FirstActiveTime(), 0);
    EXPECT_EQ(HostPattern().PhaseStart(3), 0);
}

TEST(Timing, EqualsComparesTheTrainToo)
{
    HostPattern p(TenMsec), same(TenMsec), other({{4000, 10}, {3000, 0}, {3000, -9}});
    for (HostPattern* pattern : {&p, &same, &other}) pattern->SetTrainLength(100);
    EXPECT_TRUE(p.Equals(&p));
    EXPECT_TRUE(p.Equals(&same));
    EXPECT_FALSE(p.Equals(&other));
    EXPECT_FALSE(p.Equals(nullptr));
    same.m_trainLengthUsec = 100001;
    EXPECT_TRUE(p == same);
    EXPECT_FALSE(p.Equals(&same));
    same.m_trainLengthUsec = 105000;
    p.m_trainLengthUsec = 105000;
    same.m_roundCyclesDown = 0;
    EXPECT_FALSE(p.Equals(&same));

    HostPattern withNaN({{100, NaN}});
    EXPECT_FALSE(withNaN == withNaN);
    EXPECT_TRUE(withNaN.Equals(&withNaN));
    p.SetTrainLength(NaN);
    EXPECT_FALSE(p.Equals(&p));
}

}  // namespace
