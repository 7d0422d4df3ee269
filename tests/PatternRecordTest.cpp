#include <cstddef>
#include <cstring>
#include <exception>
#include <iterator>

#include "MonoPattern.h"
#include "PatternHelper.h"
#include "PausePattern.h"
#include "SinePattern.h"
#include "TestPatterns.h"

namespace {

// A host's completion of one of the abstract kinds.
template <typename Kind>
class Completed : public Kind
{
 public:
    using Kind::Kind;
    using Kind::m_ampMax;
    using Kind::m_ampStepSize;
    using Kind::m_maxCmdCount;
    using Kind::m_param2;
    using Kind::m_param3;
    using Kind::m_timeStepUsec;

    float SetPeriod(float periodMsec) override { return periodMsec; }
    void Defaults() override {}
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(PhaseList& /*current*/, PhaseList& proposed, int /*maxCmds*/) override
    {
        offered = proposed;
        return true;
    }

    PhaseList offered;
};

template <typename Pattern>
void ExpectArgumentsKept(const Pattern& p, float ampMax)
{
    EXPECT_EQ(p.m_maxCmdCount, 7);
    EXPECT_EQ(p.MaxCmds(), 6);
    EXPECT_EQ(p.m_timeStepUsec, 2);
    EXPECT_EQ(p.m_param2, 3);
    EXPECT_EQ(p.m_param3, 4);
    EXPECT_EQ(p.m_ampStepSize, 5);
    EXPECT_EQ(p.m_ampMax, ampMax);
    EXPECT_EQ(p.AmpMax(), ampMax);
    EXPECT_EQ(p.AmpStepSize(), 5);
}

TEST(PatternRecord, BudgetsOfOneTo1024WordsAreAccepted)
{
    for (const int budget : {0, -5, 1025, SmallestInt, LargestInt}) {
        EXPECT_THROW(HostPattern({}, 1, 1, budget), std::exception) << budget;
        EXPECT_THROW(LillyHost(ThirdStep, 10, budget), std::exception) << budget;
        EXPECT_THROW(Completed<SinePattern>(budget, 1, 0, 0, 1, 1), std::exception) << budget;
        EXPECT_THROW(Completed<MonoPattern>(budget, 1, 0, 0, 1, 1), std::exception) << budget;
        EXPECT_THROW(Completed<PausePattern>(budget, 1, 0, 0, 1), std::exception) << budget;
    }
    EXPECT_EQ(HostPattern({}, 1, 1, 1).MaxCmds(), 0);
    EXPECT_EQ(HostPattern({}, 1, 1, 1024).MaxCmds(), 1023);
}

TEST(PatternRecord, FamilyKeepsTheArgumentsAndTellsItsKind)
{
    Completed<SinePattern> sine(7, 2, 3, 4, 5, -6);
    Completed<MonoPattern> mono(7, 2, 3, 4, 5, -6);
    Completed<PausePattern> pause(7, 2, 3, 4, 5);
    ExpectArgumentsKept(sine, -6);
    ExpectArgumentsKept(mono, -6);
    ExpectArgumentsKept(pause, 0);

    pause.AppendPhase(100, 0);
    EXPECT_TRUE(pause.SetPhaseAmp(0, 50));
    EXPECT_EQ(pause.offered, (PhaseList{{100, 0}}));

    LillyHost lilly;
    PatternHelper helper;
    const std::pair<StimPattern*, int> kinds[] = {{&sine, 4}, {&mono, 4}, {&pause, 4}, {&lilly, 1}};
    for (const auto& [pattern, kind] : kinds) {
        EXPECT_EQ(pattern->TypeID(&helper), kind);
        EXPECT_EQ(pattern->TypeID(nullptr), -1);
    }
}

TEST(PatternRecord, NewPatternIsEmptyAndWasNeverBuilt)
{
    const HostPattern p;
    EXPECT_EQ(p.PhaseCount(), 0);
    EXPECT_EQ(p.TrainLength(), 0);
    EXPECT_EQ(p.m_roundCyclesDown, 1);
    EXPECT_EQ(p.m_reserved, 0);
    EXPECT_EQ(p.Label(), "");
    EXPECT_EQ(Words(std::begin(p.m_wordArray), std::end(p.m_wordArray)), Words(1024));
    EXPECT_EQ(p.WordCount(), 0);
    EXPECT_EQ(p.ChangeCount(), 0);
    EXPECT_EQ(p.UpdateCount(), 0);
    EXPECT_EQ(p.m_arrayChangeCount, -1);
    EXPECT_FALSE(p.ArrayIsCurrent());
    EXPECT_FALSE(p.m_cmdOverride);
    EXPECT_EQ(p.m_cmdOverrideValue, 0);
}

// A host is compiled with the places of members and virtual operations: they never change.
TEST(PatternRecord, MembersStandInTheirOrder)
{
    const HostPattern p;
    const void* const members[] = {&p.m_timeStepUsec,    &p.m_param2,           &p.m_param3,
                                   &p.m_ampStepSize,     &p.m_ampMax,           &p.m_trainLengthUsec,
                                   &p.m_roundCyclesDown, &p.m_reserved,         &p.m_label,
                                   &p.m_wordArray,       &p.m_maxCmdCount,      &p.m_wordCount,
                                   &p.m_changeCount,     &p.m_updateCount,      &p.m_arrayChangeCount,
                                   &p.m_cmdOverride,     &p.m_cmdOverrideValue, &p.m_phases};
    EXPECT_TRUE(std::is_sorted(std::begin(members), std::end(members), std::less<const void*>()));
}

#if defined(__x86_64__)
// A pointer to a virtual member function begins with 1 + its offset in the table, which begins with the two
// slots of the destructor.
template <typename Member>
std::ptrdiff_t SlotOf(Member member)
{
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(PatternRecord, VirtualOperationsStandInTheirOrder)
{
    const std::ptrdiff_t slots[] = {
        SlotOf(&StimPattern::FromString),      SlotOf(&StimPattern::ToString),
        SlotOf(&StimPattern::SetPeriod),       SlotOf(&StimPattern::Defaults),
        SlotOf(&StimPattern::PhaseCountFixed), SlotOf(&StimPattern::AutoAdjustEnabled),
        SlotOf(&StimPattern::AdjustPhases),    SlotOf(&StimPattern::TypeID)};
    std::ptrdiff_t expected = 2;
    for (const std::ptrdiff_t slot : slots) EXPECT_EQ(slot, expected++);
}
#endif

TEST(PatternRecord, PhasesAreReadByIndex)
{
    const HostPattern p({{100, 1}, {200, -2}});
    EXPECT_EQ(p.PhaseCount(), 2);
    EXPECT_EQ(*p.Phase(1), (phase{200, -2}));
    EXPECT_EQ(p.Phase(0), &p.m_phases[0]);
    EXPECT_EQ(p.PhaseLen(1), 200);
    EXPECT_EQ(p.PhaseAmp(1), -2);
    EXPECT_EQ(p.Phases(), p.m_phases);
    for (const int outside : {-1, 2, SmallestInt, LargestInt}) {
        EXPECT_EQ(p.Phase(outside), nullptr) << outside;
        EXPECT_EQ(p.PhaseLen(outside), 0) << outside;
        EXPECT_EQ(p.PhaseAmp(outside), 0) << outside;
    }
}

TEST(PatternRecord, PhasesAreEqualAsFloats)
{
    const PhaseList base = {{100, 1}, {200, -2}};
    const std::pair<PhaseList, bool> others[] = {
        {base, true},        {{{100, 1}, {201, -2}}, false},         {{{100, 2}, {200, -2}}, false},
        {{{100, 1}}, false}, {{{100, 1}, {200, -2}, {0, 0}}, false}, {{}, false},
    };
    const HostPattern p(base);
    for (const auto& [phases, equal] : others) EXPECT_EQ(p == HostPattern(phases), equal);

    EXPECT_TRUE(HostPattern({{100, 0}}) == HostPattern({{100, -0.0f}}));
    EXPECT_FALSE(HostPattern({{100, NaN}}) == HostPattern({{100, NaN}}));
    EXPECT_FALSE(HostPattern({{NaN, 0}}) == HostPattern({{NaN, 0}}));
    HostPattern other(base, 20, 5, 9, 7);
    other.SetLabel("other");
    other.SetCycleCount(9);
    EXPECT_TRUE(p == other);
    EXPECT_TRUE(HostPattern() == HostPattern({}, 5));
}

TEST(PatternRecord, CopyHoldsEverythingAndIsIndependent)
{
    LillyHost original(ThirdStep, 10, 101, 2);
    original.SetLabel("a");
    original.SetCmdOverride(true, 0x1234);
    const auto words = Array(original);
    LillyHost copy = original;
    EXPECT_TRUE(copy.ArrayIsCurrent());
    EXPECT_EQ(Array(copy), words);
    EXPECT_EQ(copy.UpdateCount(), 1);
    EXPECT_EQ(copy.ChangeCount(), 1);
    EXPECT_EQ(copy.Label(), "a");
    EXPECT_EQ(copy.BalanceMode(), 2);

    copy.SetLabel("b");
    copy.SetCycleCount(3);
    EXPECT_NE(Array(copy), words);
    EXPECT_EQ(Array(original), words);
    EXPECT_EQ(original.Label(), "a");
    copy = original;
    EXPECT_EQ(Array(copy), words);
}

TEST(PatternRecord, CountersStartAgainAfterTheLargestInt)
{
    HostPattern p({{100, 10}});
    p.m_changeCount = 0;
    p.m_arrayChangeCount = 0;
    p.m_changeCount = LargestInt;
    p.Touch();
    EXPECT_EQ(p.ChangeCount(), 0);
    EXPECT_FALSE(p.ArrayIsCurrent());
    p.m_updateCount = LargestInt;
    EXPECT_TRUE(p.Update());
    EXPECT_EQ(p.UpdateCount(), 0);
    p.m_changeCount = p.m_arrayChangeCount = LargestInt - 1;
    p.Touch();
    EXPECT_EQ(p.ChangeCount(), LargestInt);
    EXPECT_EQ(p.m_arrayChangeCount, LargestInt - 1);
}

}  // namespace
