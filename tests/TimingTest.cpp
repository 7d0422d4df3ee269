#include <cmath>

#include "TestPatterns.h"

namespace {

const PhaseList TenMsec = Listed("4000,10 3000,0 3000,-10");

TEST(Timing, PeriodAndFrequencyAreTheSumOfThePhases)
{
    RecordingPattern p(TenMsec);
    EXPECT_EQ((std::vector{p.PeriodUsec(), p.Period(), p.Frequency()}), (std::vector<float>{10000, 10, 100}));
    EXPECT_EQ(HostPattern().PeriodUsec(), 0);
    EXPECT_EQ(HostPattern().Frequency(), Inf);
    p.periodInForce = 20;
    EXPECT_EQ(p.SetFrequency(200), 50) << "the frequency in force";
    EXPECT_EQ(p.periods, (std::vector<float>{5}));
}

TEST(Timing, TrainCountsItsCyclesAndMismatch)
{
    const std::tuple<float, int, int, float> rows[] = {{10, 1, 1, 0},
                                                       {20, 2, 2, 0},
                                                       {25, 2, 3, 5},
                                                       {29.95f, 3, 3, -0.05f},
                                                       {30.05f, 3, 3, 0.05f},
                                                       {29.8f, 2, 3, 9.8f},
                                                       {30.2f, 3, 4, 0.2f},
                                                       {29.91f, 3, 3, -0.09f},
                                                       {30.11f, 3, 4, 0.11f},
                                                       {29.89f, 2, 3, 9.89f},
                                                       {1e6f, 100000, 100000, 0}};
    for (const auto& [trainMsec, down, up, mismatchMsec] : rows) {
        SCOPED_TRACE(trainMsec);
        HostPattern p(TenMsec);
        EXPECT_EQ(p.SetTrainLength(trainMsec), trainMsec * 1000);
        EXPECT_FLOAT_EQ(p.TrainLength(), trainMsec);
        EXPECT_EQ(p.CycleCount(), down);
        for (const auto how : {Stim::WithSign, static_cast<Stim::ReturnSign>(3)})
            EXPECT_NEAR(p.TrainPeriodMismatch(how), mismatchMsec, 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatch(Stim::Magnitude), std::fabs(mismatchMsec), 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatchPct(), std::fabs(mismatchMsec) / trainMsec, 1e-5);
        p.m_roundCyclesDown = 0;
        EXPECT_EQ(p.CycleCount(), up);
    }
}

TEST(Timing, TrainIsAtLeastOnePeriod)
{
    HostPattern p(TenMsec), none;
    EXPECT_EQ(p.CycleCount(), 1);
    const std::pair<float, float> trains[] = {{5, 10000}, {-5, 10000}, {10.5f, 10500}};
    for (const auto& [msec, usec] : trains) EXPECT_EQ(p.SetTrainLength(msec), usec);
    for (const int cycles : {0, -3, SmallestInt, 1}) {
        p.SetCycleCount(cycles);
        EXPECT_EQ(p.m_trainLengthUsec, 10000);
    }
    p.m_trainLengthUsec = 10;
    EXPECT_EQ(p.CycleCount(), 1);
    none.SetCycleCount(4);
    EXPECT_EQ(none.m_trainLengthUsec, 0);
}

TEST(Timing, TrainFollowsThePeriodOnlyWhenItIsSet)
{
    HostPattern p(Listed("173775,0"));
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
    const std::tuple<const char*, float, bool> rows[] = {{"10000,5", LargestFloat, true},
                                                         {"10000,5", Inf, true},
                                                         {"10000,5", NaN, true},
                                                         {"10000,5", 3e13f, true},
                                                         {"10000,5", 1e13f, false},
                                                         {"3.4028235e38,0", LargestFloat, true},
                                                         {"nan,0", 1000, true},
                                                         {"-10,0", 1000, false},
                                                         {"", 0, true},
                                                         {"", 1000, true}};
    for (const auto& [phases, trainUsec, continuous] : rows) {
        HostPattern p(Listed(phases));
        p.m_trainLengthUsec = trainUsec;
        EXPECT_EQ(p.CycleCount() == LargestInt, continuous) << phases << ' ' << trainUsec;
        EXPECT_EQ(p.IsContinuous(), continuous);
        EXPECT_TRUE(!continuous || p.TrainPeriodMismatch(Stim::WithSign) == 0);
    }
    HostPattern p(TenMsec);
    p.SetTrainLength(LargestFloat);
    EXPECT_EQ(p.m_trainLengthUsec, Inf);
    p.SetCycleCount(LargestInt);
    EXPECT_TRUE(p.IsContinuous());
}

TEST(Timing, PeriodIsTrimmedOfItsSilence)
{
    const char* const pulse = "0,0 100,10 100,0 100,-10 500,0";
    const char* const padded = "1,0 2,0 4,0 8,5 16,0 32,0 64,0";
    const char* const silent = "100,0 200,0 400,0";
    const std::tuple<const char*, int, float> rows[] = {
        {pulse, -1, 300}, {pulse, 0, 800},  {pulse, 1, 300},          {padded, -1, 8},
        {padded, 7, 8},   {padded, 0, 126}, {padded, 1, 60},          {padded, 2, 24},
        {padded, 3, 8},   {padded, 6, 8},   {silent, -1, 0},          {silent, 0, 600},
        {silent, 1, 400}, {silent, 2, 0},   {silent, SmallestInt, 0}, {"", -1, 0}};
    for (const auto& [phases, maxTrim, usec] : rows)
        EXPECT_EQ(HostPattern(Listed(phases)).PeriodTrimmed(maxTrim), usec / 1000)
            << phases << " to " << maxTrim;
}

TEST(Timing, PhasesStartWhereTheOnesBeforeEnd)
{
    const HostPattern p(Listed("0,0 100,10 100,0 100,-10 500,0"));
    const std::pair<int, float> starts[] = {{-1, 0}, {0, 0}, {1, 0}, {2, 100}, {4, 300}, {5, 800}, {9, 800}};
    for (const auto& [index, start] : starts) EXPECT_EQ(p.PhaseStart(index), start) << index;
    EXPECT_EQ(HostPattern().PhaseStart(3), 0);
    EXPECT_EQ(p.FirstActiveTime(), 0);
    EXPECT_EQ(HostPattern(Listed("10,0 20,0 30,nan")).FirstActiveTime(), 30);
    EXPECT_EQ(HostPattern(Listed("10,0 20,0")).FirstActiveTime(), 0);
}

TEST(Timing, EqualsComparesTheTrainToo)
{
    const std::tuple<const char*, float, int, bool> rows[] = {{"4000,10 6000,0", 105000, 1, true},
                                                              {"4000,10 6000,1", 105000, 1, false},
                                                              {"4000,10 6000,0", 105001, 1, false},
                                                              {"4000,10 6000,0", 105000, 0, false}};
    HostPattern p(Listed("4000,10 6000,0"));
    p.m_trainLengthUsec = 105000;
    for (const auto& [phases, trainUsec, roundCyclesDown, equal] : rows) {
        HostPattern other(Listed(phases));
        other.m_trainLengthUsec = trainUsec;
        other.m_roundCyclesDown = roundCyclesDown;
        EXPECT_EQ(p.Equals(&other), equal) << phases << ' ' << trainUsec;
    }
    EXPECT_FALSE(p.Equals(nullptr));
    p.m_phases[0].amp = NaN;
    EXPECT_TRUE(p.Equals(&p)) << "its own phases are not compared";
    p.m_trainLengthUsec = NaN;
    EXPECT_FALSE(p.Equals(&p));
}

}  // namespace
