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

// A table of values: train = cycles when rounded down, when rounded up, mismatch; milliseconds.
TEST(Timing, TrainCountsItsCyclesAndMismatch)
{
    for (const auto& [train, counts] :
         Cases("10 = 1 1 0 | 20 = 2 2 0 | 25 = 2 3 5 | 29.95 = 3 3 -0.05 | 30.05 = 3 3 0.05 | "
               "29.8 = 2 3 9.8 | 30.2 = 3 4 0.2 | 29.91 = 3 3 -0.09 | 30.11 = 3 4 0.11 | "
               "29.89 = 2 3 9.89 | 1e6 = 100000 100000 0")) {
        SCOPED_TRACE(train);
        HostPattern p(TenMsec);
        const Texts expected = p.Split(counts, ' ', false);
        const float msec = std::stof(train), mismatch = std::stof(expected[2]);
        EXPECT_EQ(p.SetTrainLength(msec), msec * 1000);
        EXPECT_FLOAT_EQ(p.TrainLength(), msec);
        EXPECT_EQ(p.CycleCount(), std::stoi(expected[0]));
        for (const auto how : {Stim::WithSign, static_cast<Stim::ReturnSign>(3)})
            EXPECT_NEAR(p.TrainPeriodMismatch(how), mismatch, 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatch(Stim::Magnitude), std::fabs(mismatch), 1e-4);
        EXPECT_NEAR(p.TrainPeriodMismatchPct(), std::fabs(mismatch) / msec, 1e-5);
        p.m_roundCyclesDown = 0;
        EXPECT_EQ(p.CycleCount(), std::stoi(expected[1]));
    }
}

TEST(Timing, TrainIsAtLeastOnePeriodAndFollowsItOnlyWhenSet)
{
    HostPattern p(TenMsec), odd(Listed("173775,0")), none;
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
    odd.SetCycleCount(437);
    EXPECT_EQ(odd.CycleCount(), 437);
    odd.AppendPhase(173775, 0);
    EXPECT_EQ(odd.m_trainLengthUsec, 75939672);
    EXPECT_EQ(odd.CycleCount(), 218);
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
    // A list, and its train in microseconds.
    for (const auto& [phases, train] :
         Cases("10000,5 = 3.4028235e38 | 10000,5 = inf | 10000,5 = nan | 10000,5 = 3e13 | "
               "3.4028235e38,0 = 3.4028235e38 | nan,0 = 1000 |  = 0 |  = 1000")) {
        HostPattern p(Listed(phases));
        p.m_trainLengthUsec = std::stof(train);
        EXPECT_EQ(p.CycleCount(), LargestInt) << phases << ' ' << train;
        EXPECT_TRUE(p.IsContinuous());
        EXPECT_EQ(p.TrainPeriodMismatch(Stim::WithSign), 0);
    }
    HostPattern p(TenMsec), turned(Listed("-10,0"));
    p.SetTrainLength(1e10f);
    EXPECT_FALSE(p.IsContinuous());
    p.SetTrainLength(LargestFloat);
    EXPECT_EQ(p.m_trainLengthUsec, Inf);
    p.SetCycleCount(LargestInt);
    EXPECT_TRUE(p.IsContinuous());
    turned.m_trainLengthUsec = 1000;
    EXPECT_EQ(turned.CycleCount(), 1);
}

// What is left with a maxTrim of -1, 0, 1 and so on.
TEST(Timing, PeriodIsTrimmedOfItsSilence)
{
    const char* const pulse = "0,0 100,10 100,0 100,-10 500,0";
    const char* const padded = "1,0 2,0 4,0 8,5 16,0 32,0 64,0";
    const char* const silent = "100,0 200,0 400,0";
    const std::tuple<const char*, std::vector<float>> rows[] = {{pulse, {300, 800, 300, 300}},
                                                                {padded, {8, 126, 60, 24, 8, 8, 8, 8, 8}},
                                                                {silent, {0, 600, 400, 0, 0}},
                                                                {"", {0, 0}}};
    for (const auto& [phases, usec] : rows)
        for (int i = 0; i < static_cast<int>(usec.size()); ++i)
            EXPECT_EQ(HostPattern(Listed(phases)).PeriodTrimmed(i - 1),
                      usec[static_cast<std::size_t>(i)] / 1000)
                << phases << " to " << i - 1;
    EXPECT_EQ(HostPattern(Listed(silent)).PeriodTrimmed(SmallestInt), 0);
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
    HostPattern p(TenMsec);
    p.m_trainLengthUsec = 105000;
    HostPattern same = p, otherPhases = p, otherTrain = p, otherCycles = p;
    otherPhases.m_phases[2].amp = 7;
    otherTrain.m_trainLengthUsec = 105001;
    otherCycles.m_roundCyclesDown = 0;
    EXPECT_TRUE(p.Equals(&same));
    for (HostPattern* other : {&otherPhases, &otherTrain, &otherCycles, static_cast<HostPattern*>(nullptr)})
        EXPECT_FALSE(p.Equals(other));
    p.m_phases[0].amp = NaN;
    EXPECT_TRUE(p.Equals(&p)) << "its own phases are not compared";
    p.m_trainLengthUsec = NaN;
    EXPECT_FALSE(p.Equals(&p));
}

}  // namespace
