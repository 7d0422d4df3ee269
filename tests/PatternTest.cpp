#include "StimAtom.h"
#include "TestPatterns.h"

// Properties of plain patterns, and what they write into the memory of a host.

namespace {

TEST(StimAtomTest, PacksIntoItsBits)
{
    const std::pair<StimAtom, unsigned int> atoms[] = {
        {StimAtom(), 0x0001C000},
        {StimAtom(5, 3, true, 0, true, false), 0x0003A085},
        {StimAtom(-150, 3, true, 0, true, false), 0x0003A064},
        {StimAtom(100, 3, true, 0, true, false), 0x0003A0E4},
        {StimAtom(-99, 3, true, 0, true, false), 0x0003A063},
        {StimAtom(12, 1, false, 20, true, false), 0x0001948C},
        {StimAtom(0, 65536, false, 0, false, true), 0x00004000},
        {StimAtom(SmallestInt, 0, false, 0, false, false), 0x00000064},
        {StimAtom(LargestInt, 0, false, 31, false, false), 0x00001FE4},
        {StimAtom(1, 1, false, 32, false, false), 0x00012081},
        {StimAtom(-1, 0x10001, false, 0x1FF, false, false), 0x0001FF01}};
    for (const auto& [atom, packed] : atoms) {
        unsigned int word = 0;
        EXPECT_TRUE(atom.WriteCmd(&word));
        EXPECT_EQ(word, packed);
        EXPECT_FALSE(atom.WriteCmd(nullptr));
        StimAtom reset = atom;
        reset.Reset();
        reset.WriteCmd(&word);
        EXPECT_EQ(word, 0x0001C000U);
    }
}

TEST(PatternTest, WritesOnlyWhereThereIsABuffer)
{
    HostPattern p(PhaseList(1024, {20, 5}), 20, 1, LargestInt);
    EXPECT_EQ(Array(p), "refused") << "1025 words of 1024";
    EXPECT_EQ(p.WordCount(), 0);
    EXPECT_EQ(Written(p, 1023), std::nullopt);
    EXPECT_EQ(Written(p, 1024), Words(1024, 0x0001A085)) << "the buffer of a host takes the whole budget";
    p.RemovePhase(0);
    EXPECT_EQ(Array(p).size(), 1024U * 9 - 1);
    EXPECT_EQ(p.WordArray(nullptr, 1024), -1);
    EXPECT_EQ(p.WriteStimCmds(nullptr, 100), -1);
    EXPECT_EQ(p.WriteDebugCmds(nullptr), 0);
    EXPECT_FALSE(p.WriteVekCmd(nullptr));
    for (const int cycles : {1, 4094, 4095, 4096, LargestInt}) {
        unsigned int word = 0;
        p.SetCycleCount(cycles);
        EXPECT_TRUE(p.WriteVekCmd(&word));
        EXPECT_EQ(word, static_cast<unsigned int>(std::min(cycles, 4095)));
    }
    EXPECT_EQ(Hex(Collected(5, [&](unsigned int* words) { return words[0] = 7, p.WriteDebugCmds(words); })),
              "00000007 0003E02F 0003E000 0003E0AF 0FFFE000");
}

TEST(PatternTest, LastPhaseOfAPlainPatternTakesUpThePeriod)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::tuple<const char*, float, float, float> rows[] = {
        // phases, asked, in force, train: milliseconds
        {"100,5 900,0", 2, 2, 2},
        {"100,5 900,0", 0.5f, 0.5f, 1},
        {"100,5 900,0", 0.05f, 0.1f, 1},  // no room for the last phase
        {"100,5 900,0", nan, 1, 1},
        {"15,0 15,5", 0.016f, 0.03f, 1},  // the last phase would end inside the step that it shares
        {"", 5, 0, 1}};
    for (const auto& [phases, asked, inForce, train] : rows) {
        PlainPattern p(101, 10, 1, 1000);
        p.SetPhases(Listed(phases));
        p.SetTrainLength(1);
        EXPECT_FLOAT_EQ(p.SetPeriod(asked), inForce) << phases;
        EXPECT_FLOAT_EQ(p.Period(), inForce) << phases;
        EXPECT_FLOAT_EQ(p.TrainLength(), train) << phases;
    }
}

TEST(PatternTest, DefaultsOfAPlainPatternAreNoPhases)
{
    PlainPattern p(101, 10, 1, 1000);
    p.SetPhases(Listed("100,5 900,0"));
    p.SetTrainLength(3);
    const int count = p.ChangeCount();
    for (int i = 0; i < 2; ++i) {
        p.Defaults();
        EXPECT_EQ(p.PhaseCount(), 0);
        EXPECT_EQ(p.ChangeCount(), count + 1) << "only when there are phases";
        EXPECT_EQ(p.TrainLength(), 3);
    }
    EXPECT_FALSE(p.PhaseCountFixed() || p.AutoAdjustEnabled());
}

TEST(PatternTest, CycleCountReadsBack)
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

TEST(PatternTest, EqualsComparesTheTrainToo)
{
    HostPattern p(Listed("4000,10 3000,0 3000,-10"));
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

// Where nothing comes near a threshold, a list that passes fits its budget.
TEST(PatternTest, NeverCountsFewerWordsThanAreWritten)
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
}

}  // namespace
