#include <functional>

#include "TestPatterns.h"

// Stories of a host's pattern: its hooks, its counts, and when its array is built.

namespace {

// Returns the results that the test sets, and records its arguments.
class Recorder : public HostPattern
{
 public:
    using HostPattern::HostPattern;

    float SetPeriod(float periodMsec) override
    {
        asked.push_back(testing::PrintToString(periodMsec));
        return 20;
    }
    bool AdjustPhases(PhaseList& current, PhaseList& proposed, int maxCmds) override
    {
        const std::string place = &current != &m_phases   ? "other"
                                  : &current == &proposed ? "in place"
                                                          : "edit";
        asked.push_back(place + " " + std::to_string(maxCmds) + ": " + testing::PrintToString(proposed));
        if (!rework.empty()) proposed = rework;
        return accept;
    }

    Texts asked;
    PhaseList rework;
    bool accept = true;
};

TEST(Editing, SinglePhaseEditsAreOfferedToTheRepair)
{
    const std::pair<std::function<bool(Recorder&)>, phase> edits[] = {
        {[](Recorder& p) { return p.SetPhaseLen(1, 0); }, {0, 0}},
        {[](Recorder& p) { return p.SetPhaseLen(1, 7.5f); }, {7.5f, 0}},
        {[](Recorder& p) { return p.SetPhaseAmp(1, 3.25f); }, {50, 3.25f}},
        {[](Recorder& p) { return p.SetPhaseAmp(1, -2500); }, {50, -1000}},
        {[](Recorder& p) {
             return p.SetPhase(1, phase{-8, 1001});
         },
         {-8, 1000}}};
    for (const auto& [edit, result] : edits) {
        Recorder p(Listed("100,10 50,0 100,-10"), 1, 1, 20);
        PhaseList edited = p.m_phases;
        edited[1] = result;
        EXPECT_TRUE(edit(p));
        EXPECT_EQ(p.asked, Texts{"edit 19: " + testing::PrintToString(edited)});
        EXPECT_EQ(p.m_phases, edited);
        EXPECT_EQ(p.ChangeCount(), 1);
        p.rework = Listed("1,2 3,4");
        p.accept = false;
        EXPECT_FALSE(edit(p));
        EXPECT_EQ(p.m_phases, edited) << "refused, although it was reworked";
        EXPECT_EQ(p.ChangeCount(), 1);
        p.accept = true;
        EXPECT_TRUE(edit(p));
        EXPECT_EQ(p.m_phases, p.rework);
        EXPECT_EQ(p.ChangeCount(), 2);
    }
}

TEST(Editing, EditsOfNoPhaseOrNoLengthAreRefusedUnasked)
{
    Recorder p(Listed("100,10 50,0"));
    for (const int i : {-1, 2, SmallestInt, LargestInt})
        EXPECT_FALSE(p.SetPhaseLen(i, 10) || p.SetPhaseAmp(i, 10) || p.SetPhase(i, {10, 10})) << i;
    EXPECT_FALSE(p.SetPhaseLen(0, -1) || p.SetPhaseLen(0, NaN));
    EXPECT_EQ(p.asked, Texts());
    EXPECT_EQ(p.ChangeCount(), 0);
    EXPECT_EQ(p.m_phases, Listed("100,10 50,0"));
    EXPECT_TRUE(p.SetPhase(0, {NaN, 1})) << "no length is one to SetPhaseLen alone";
}

TEST(Editing, FrequencyIsThatOfThePeriodInForce)
{
    Recorder p;
    EXPECT_EQ(p.SetFrequency(200), 50);
    EXPECT_EQ(p.asked, Texts{"5"});
}

TEST(Editing, CountsStartAgainAndNoArrayOfTheTurnBeforeIsCurrent)
{
    HostPattern p(Listed("100,10"));
    p.m_changeCount = p.m_arrayChangeCount = LargestInt - 1;
    p.m_updateCount = LargestInt;
    p.Touch();
    EXPECT_EQ(p.ChangeCount(), LargestInt);
    EXPECT_EQ(p.m_arrayChangeCount, LargestInt - 1);
    p.m_arrayChangeCount = 0;
    p.Touch();
    EXPECT_EQ(p.ChangeCount(), 0);
    EXPECT_FALSE(p.ArrayIsCurrent());
    EXPECT_TRUE(p.Update());
    EXPECT_EQ(p.UpdateCount(), 0);
}

TEST(Building, HappensOnlyWhenTheChangeCountMoved)
{
    HostPattern p(Listed("100,10"), 20);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Array(p), "00000001 0005A08A");
    p.SetAmpsToZero();
    EXPECT_EQ(Array(p), "00000001 0005A08A") << "the current flows on until the count moves";
    EXPECT_EQ(p.UpdateCount(), 1);
    p.Touch();
    EXPECT_FALSE(p.ArrayIsCurrent());
    EXPECT_EQ(Array(p), "00000001 00050000");
    EXPECT_EQ(p.UpdateWordArray(), 2);
    EXPECT_EQ(p.UpdateCount(), 3);
}

TEST(Building, UpdateValidatesAlwaysAndOffersTheListForRepairInPlace)
{
    Recorder p(Listed("15,5 15,-5"), 10, 1, 20);
    p.accept = false;
    p.rework = Listed("15,6 15,-6");
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.asked, Texts{"in place 19: { 15,5, 15,-5 }"});
    EXPECT_EQ(p.m_phases, p.rework) << "stays, although it was refused";
    EXPECT_EQ(p.UpdateCount(), 0);
    p.accept = true;
    EXPECT_FALSE(p.Update()) << "the writer refuses what the repair accepted";
    EXPECT_EQ(p.UpdateCount(), 1);
    p.rework = Listed("20,5");
    EXPECT_EQ(Array(p), "00000001 0002A085");
    EXPECT_EQ(p.ChangeCount(), 0);
    p.m_phases = Listed("15,5 15,-5");
    p.accept = false;
    p.rework.clear();
    EXPECT_TRUE(p.Update()) << "the array is still the one of this change count";
    EXPECT_EQ(p.WordCount(), 2);
    p.Touch();
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.UpdateWordArray(), 0);
    EXPECT_EQ(p.WordCount(), 0);
}

TEST(Building, OverrideIsBuiltAtOnceWhenItChanges)
{
    HostPattern p(Listed("100,0 210,-300 50,0 210,300 1000,0"), ThirdStep, 10);
    p.SetCycleCount(10);
    p.SetCmdOverride(false, 0);
    EXPECT_EQ(p.UpdateCount(), 0);
    for (int i = 0; i < 2; ++i) p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(p.UpdateCount(), 1);
    const char* const overridden =
        "0000000A 00031234 00061234 00011234 00011234 00061234 00011234 001D1234 00011234";
    EXPECT_EQ(Array(p), overridden);
    p.SetAmpsToZero();
    p.Touch();
    EXPECT_EQ(Array(p), overridden) << "also when no phase carries current";
    p.m_phases = Listed("100,50");
    p.SetCycleCount(10);
    p.SetCmdOverride(true, 0xFFFF);
    EXPECT_EQ(Array(p), "0000000A 0003FFFF");
    p.SetCmdOverride(false, 0xFFFF);
    EXPECT_EQ(Array(p), "0000000A 0003A085");
    p.m_phases = Listed("-1,0");
    p.SetCmdOverride(true, 1);
    EXPECT_EQ(p.WordCount(), 0) << "a build that fails leaves no words";
}

}  // namespace
