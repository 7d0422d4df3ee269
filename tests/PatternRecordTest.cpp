#include <exception>
#include <iterator>
#include <tuple>

#include "MonoPattern.h"
#include "PatternHelper.h"
#include "PausePattern.h"
#include "SinePattern.h"
#include "StimTrain.h"
#include "TestPatterns.h"

namespace {

TEST(PatternRecord, BudgetsOfOneWordAndMoreAreAccepted)
{
    for (const int budget : {0, -5, SmallestInt}) {
        EXPECT_THROW(HostPattern({}, 1, 1, budget), std::exception) << budget;
        EXPECT_THROW(LillyHost(ThirdStep, 10, budget), std::exception) << budget;
        EXPECT_THROW(Completed<SinePattern>(budget, 1, 0, 0, 1, 1), std::exception) << budget;
        EXPECT_THROW(Completed<MonoPattern>(budget, 1, 0, 0, 1, 1), std::exception) << budget;
        EXPECT_THROW(Completed<PausePattern>(budget, 1, 0, 0, 1), std::exception) << budget;
    }
    for (const int budget : {1, 1025, LargestInt})
        EXPECT_EQ(HostPattern({}, 1, 1, budget).MaxCmds(), budget - 1);
}

template <typename Pattern>
void ExpectKind(Pattern&& p, float ampMax)
{
    PatternHelper helper;
    EXPECT_EQ(p.TypeID(&helper), 4);
    EXPECT_EQ(p.TypeID(nullptr), -1);
    EXPECT_EQ((std::vector{p.m_timeStepUsec, p.m_param2, p.m_param3}), (std::vector<float>{2, 3, 4}));
    EXPECT_EQ(p.MaxCmds(), 6);
    EXPECT_EQ((std::vector{p.AmpStepSize(), p.AmpMax()}), (std::vector<float>{5, ampMax}));
}

TEST(PatternRecord, FamilyKeepsTheArgumentsAndTellsItsKind)
{
    ExpectKind(Completed<StimPattern>(7, 2, 3, 4, 5, -6), -6);
    ExpectKind(Completed<SinePattern>(7, 2, 3, 4, 5, -6), -6);
    ExpectKind(Completed<MonoPattern>(7, 2, 3, 4, 5, -6), -6);
    Completed<PausePattern> pause(7, 2, 3, 4, 5);
    ExpectKind(pause, 0);
    pause.AppendPhase(100, 5);
    EXPECT_TRUE(pause.SetPhaseAmp(0, 50));
    EXPECT_EQ(pause.Phases(), Listed("100,0"));

    LillyHost lilly;
    StimTrain();
    PatternHelper helper;
    EXPECT_EQ(lilly.TypeID(&helper), 1);
    EXPECT_EQ(lilly.TypeID(nullptr), -1);
}

using Plain = Completed<StimPattern>;

auto Members(const Plain& p)
{
    const Words words(std::begin(p.m_wordArray), std::end(p.m_wordArray));
    return std::tuple(std::vector{p.m_timeStepUsec, p.m_param2, p.m_param3, p.m_ampStepSize, p.m_ampMax},
                      p.m_trainLengthUsec,
                      std::vector{p.m_roundCyclesDown, p.m_reserved, p.m_maxCmdCount, p.m_wordCount,
                                  p.m_changeCount, p.m_updateCount, p.m_arrayChangeCount},
                      p.m_label, words, p.m_cmdOverride, p.m_cmdOverrideValue, p.m_phases);
}

TEST(PatternRecord, NewPatternIsEmptyAndWasNeverBuilt)
{
    const Plain p(7, 2, 3, 4, 5, -6);
    EXPECT_EQ(Members(p),
              std::tuple(std::vector<float>{2, 3, 4, 5, -6}, 0.0f, std::vector{1, 0, 7, 0, 0, 0, -1},
                         std::string(), Words(1024), false, 0, PhaseList()));
    EXPECT_FALSE(p.ArrayIsCurrent());
}

TEST(PatternRecord, PhasesAreReadInPlace)
{
    const HostPattern p(Listed("100,1 200,-2"));
    EXPECT_EQ(p.Phase(1), &p.m_phases[1]);
    for (const int outside : {-1, 2, SmallestInt, LargestInt}) EXPECT_EQ(p.Phase(outside), nullptr);
}

TEST(PatternRecord, CopyHoldsEverythingAndIsIndependent)
{
    Plain original(7, 20, 3, 4, 5, 600);
    original.m_roundCyclesDown = 0;
    original.m_reserved = 8;
    original.SetLabel("a");
    original.AppendPhase(100, 10);
    original.SetCycleCount(9);
    original.SetCmdOverride(true, 0x1234);
    const auto members = Members(original);
    Plain copy = original, assigned(9, 1, 1, 1, 1, 1);
    assigned = original;
    const Plain& itself = assigned;
    assigned = itself;
    EXPECT_EQ(Members(copy), members);
    EXPECT_EQ(Members(assigned), members);
    EXPECT_EQ(Array(copy), "00000009 00051234");
    EXPECT_EQ(copy.UpdateCount(), 1);
    copy.SetLabel("b");
    EXPECT_EQ(copy.Label(), "b");
    copy.AppendPhase(100, 10);
    EXPECT_EQ(Array(copy), "00000005 00051234 00051234");
    EXPECT_EQ(Members(original), members);

    LillyHost lilly(ThirdStep, 10, 101, 2), other;
    other = lilly;
    EXPECT_EQ(other.BalanceMode(), 2);
}

}  // namespace
