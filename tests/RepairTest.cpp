#include <stdexcept>

#include "TestPatterns.h"

namespace {

constexpr int IPI = LillyPattern::AdjustIPI;
constexpr int Phase2 = LillyPattern::AdjustPhase2;
constexpr int Offset = LillyPattern::AdjustOffset;
constexpr int All = IPI | Phase2 | Offset;

// A pattern with a time step of 10 us, an amplitude step of 1 uA and the given list.
LillyHost Holding(const PhaseList& phases, int repairs = All, float ampStepUa = 1)
{
    LillyHost lilly(10, ampStepUa);
    lilly.m_phases = phases;
    lilly.m_autoAdjust = repairs;
    return lilly;
}

struct Row
{
    PhaseList before;
    int repairs;
    bool result;
    PhaseList after;
    int budget = 20;
    float ampStep = 1;
};

// As Update asks for it: the pattern's own list is current and proposed.
void ExpectRepairs(const Row& row)
{
    SCOPED_TRACE(testing::PrintToString(row.before) + " with " + std::to_string(row.repairs));
    LillyHost lilly = Holding(row.before, row.repairs, row.ampStep);
    EXPECT_EQ(lilly.AdjustPhases(lilly.m_phases, lilly.m_phases, row.budget), row.result);
    EXPECT_EQ(lilly.m_phases, row.after);
    EXPECT_EQ(lilly.ChangeCount(), 0);
}

TEST(Repair, MovesBoundariesOntoSteps)
{
    // Phase 1 ends at 12, inside a step, and phase 2 begins there; it would end at 19, before the step does.
    const PhaseList meeting = {{5, 0}, {7, -10}, {0, 0}, {7, 10}, {81, 0}};
    // Phase 2 begins at 15, in the step that still holds phase 1.
    const PhaseList open = {{5, 0}, {7, -10}, {3, 0}, {10, 10}, {75, 0}};
    // Phase 1 lies within the first step, which phase 2 meets.
    const PhaseList early = {{0, 0}, {4, -10}, {3, 0}, {10, 10}, {83, 0}};
    // Phase 1 begins inside a step and ends before it.
    const PhaseList shortFirst = {{7, 0}, {2, -10}, {21, 0}, {10, 10}, {60, 0}};
    const PhaseList shortSecond = {{6, 0}, {7, -10}, {14, 0}, {2, 10}, {71, 0}};
    const PhaseList valid = {{10, 0}, {10, -10}, {10, 0}, {10, 10}, {60, 0}};
    const Row rows[] = {
        {valid, 0, true, valid},
        {meeting, 0, false, meeting},
        {meeting, All, true, {{5, 0}, {7, -10}, {8, 0}, {7, 10}, {73, 0}}},
        {meeting, IPI, true, {{5, 0}, {7, -10}, {8, 0}, {7, 10}, {73, 0}}},
        {meeting, Offset | Phase2, true, {{13, 0}, {7, -10}, {0, 0}, {7, 10}, {73, 0}}},
        {meeting, Offset, true, {{13, 0}, {7, -10}, {0, 0}, {7, 10}, {73, 0}}},
        {meeting, Phase2, false, {{5, 0}, {7, -10}, {0, 0}, {8, 8.75f}, {80, 0}}},
        {meeting, All, false, {{5, 0}, {7, -10}, {8, 0}, {7, 10}}, 2},
        {open, All, true, {{5, 0}, {7, -10}, {8, 0}, {10, 10}, {70, 0}}},
        {open, Offset, true, {{10, 0}, {7, -10}, {3, 0}, {10, 10}, {70, 0}}},
        {open, Phase2, false, open},
        {early, All, true, {{0, 0}, {4, -10}, {6, 0}, {10, 10}, {80, 0}}},
        {early, Offset, false, early},
        {shortFirst, All, true, {{8, 0}, {2, -10}, {21, 0}, {10, 10}, {59, 0}}},
        {shortFirst, IPI | Phase2, false, shortFirst},
        {shortSecond, All, true, {{6, 0}, {7, -10}, {7, 0}, {2, 10}, {78, 0}}},
        {shortSecond, Phase2, true, {{6, 0}, {7, -10}, {14, 0}, {3, 20.0f / 3}, {70, 0}}},
        {shortSecond, Offset, false, shortSecond},
        // Less than an amplitude step is inactive for the repair, but not for the validation behind it.
        {open, All, false, open, 20, 11},
        {{{5, 0}, {7, -11}, {3, 0}, {10, 10}, {75, 0}},
         All,
         false,
         {{5, 0}, {7, -11}, {3, 0}, {10, 10}, {75, 0}},
         20,
         11},
        // The time that a repair takes must be there; what was repaired before and after that stays.
        {{{5, 0}, {7, -10}, {0, 0}, {7, 10}, {3, 0}},
         All,
         false,
         {{5, 0}, {7, -10}, {1, 0}, {7, 10}, {2, 0}}},
        {{{15, 0}, {7, -10}, {0, 0}, {7, 10}, {3, 0}},
         IPI,
         false,
         {{7, 0}, {7, -10}, {8, 0}, {7, 10}, {3, 0}}},
    };
    for (const Row& row : rows) ExpectRepairs(row);
}

// Lists of another length than five are walked even when they are valid.
TEST(Repair, WalksOtherListsByItsOwnThresholds)
{
    const PhaseList halfShort = {{7, 0}, {2.5f, -10}, {30.5f, 0}, {10, 10}, {50, 0}, {0, 0}};
    const PhaseList usedUp = {{3, 0}, {7.01f, -10}, {0, 0}, {10, 10}, {79.99f, 0}, {0, 0}};
    const PhaseList closed = {{5, 0}, {15, -10}, {0, 0}, {10, 10}, {70, 0}, {0, 0}};
    const PhaseList leftHalf = {{0.5f, 10}, {20, -10}, {0, 0}, {10, 0}, {69.5f, 0}, {0, 0}};
    const Row rows[] = {
        {halfShort, All, true, halfShort},
        {usedUp, All, true, usedUp},
        {closed, All, true, closed},
        {leftHalf, All, true, leftHalf},
        // What a junction leaves of a phase keeps the step open above 0.015 us, although it is not carried.
        {{{3, 0}, {7.25f, -10}, {0, 0}, {10, 10}, {79.75f, 0}, {0, 0}},
         All,
         true,
         {{3, 0}, {7.25f, -10}, {10, 0}, {10, 10}, {69.75f, 0}, {0, 0}}},
        {{{10, 0}, {20, 10}}, All, true, {{10, 0}, {20, 10}}},
        {{{9, 0}, {2, 10}, {7, 0}, {2, 5}}, All, false, {{9, 0}, {2, 10}, {7, 0}, {2, 5}}},
        {{}, All, true, {}, 0},
        {{}, All, false, {}, -1},
        {{}, 0, false, {}, 0},
    };
    for (const Row& row : rows) ExpectRepairs(row);
}

TEST(Repair, BudgetCutsTheListOff)
{
    const PhaseList whole = {{10, 0}, {10, -5}, {10, 0}, {10, 5}, {60, 0}};
    ExpectRepairs({whole, All, false, whole, 5});
    ExpectRepairs({whole, All, true, {{10, 0}, {10, -5}, {10, 0}, {10, 5}}, 4});
    ExpectRepairs({whole, All, true, {}, 0});
    // Words are 1, 2, 2, 2 and 1: a junction and a whole-step word each where time is carried.
    const PhaseList carried = {{15, 0}, {20, -5}, {20, 0}, {15, 5}, {30, 0}};
    const std::size_t kept[] = {0, 1, 2, 2, 3, 3, 4, 4, 5};
    for (std::size_t budget = 0; budget < 9; ++budget) {
        LillyHost lilly = Holding(carried);
        lilly.AdjustPhases(lilly.m_phases, lilly.m_phases, static_cast<int>(budget));
        EXPECT_EQ(lilly.m_phases.size(), kept[budget]) << budget;
    }
}

TEST(Repair, IPIMovesTheWayTheEditDid)
{
    // The second pulse begins at 7 us of its step and lasts 2: the IPI grows by 1 to fill the step, or
    // shrinks by 7 to the border before.
    struct Edit
    {
        phase offset, first;
        float ipi;
        PhaseList current;  // what the edit started from, as far as it tells
        float after;
    };
    const phase first{7, -10}, second{2, 10}, end{200, 0};
    const Edit edits[] = {
        // The IPI itself was edited.
        {{5, 0}, first, 15, {{5, 0}, first, {13, 0}, second, end}, 16},
        {{5, 0}, first, 15, {{5, 0}, first, {17, 0}, second, end}, 8},
        {{5, 0}, {10, -10}, 2, {{5, 0}, {10, -10}, {9, 0}, second, end}, 5},
        // Another phase: back from one step on, or one and a half when it was shortened.
        {{6, 0}, first, 14, {{4, 0}, first, {14, 0}, second, end}, 7},
        {{6, 0}, first, 14, {{8, 0}, first, {14, 0}, second, end}, 15},
        {{6, 0}, first, 14, {{6.9f, 0}, first, {14, 0}, second, end}, 7},
        {{5, 0}, first, 15, {{7, 0}, first, {15, 0}, second, end}, 8},
        {{5, 0}, {12, -10}, 10, {{5, 0}, {11, -10}, {10, 0}, second, end}, 3},
        {{5, 0}, {13, -10}, 9, {{5, 0}, {11, -10}, {9, 0}, second, end}, 10},
        {{6, 0}, first, 14, {{6, 0}, first, {14, 0}, {3, 10}, end}, 15},
        {{6, 0}, first, 14, {{6, 0}, first, {14, 0}, second, {201, 0}}, 15},
        {{6, 0}, first, 14, {{6, 0}, first, {14, 0}, second, end}, 7},
    };
    for (const Edit& edit : edits) {
        PhaseList current = edit.current;
        PhaseList proposed = {edit.offset, edit.first, {edit.ipi, 0}, second, end};
        SCOPED_TRACE(testing::PrintToString(current) + " to " + testing::PrintToString(proposed));
        LillyHost lilly = Holding(current);
        EXPECT_TRUE(lilly.AdjustPhases(current, proposed, 20));
        EXPECT_EQ(
            proposed,
            (PhaseList{
                edit.offset, edit.first, {edit.after, 0}, second, {end.len + edit.ipi - edit.after, 0}}));
        EXPECT_EQ(current, edit.current);
    }
}

TEST(Repair, ListsTooShortToCompareOrToRepairThrow)
{
    LillyHost lilly = Holding({{50, 0}});
    PhaseList none, one = {{5, 0}}, two = {{9, 0}, {7, -10}}, pulses = {{15, 5}, {15, -5}};
    EXPECT_THROW(lilly.AdjustPhases(none, one, 20), std::out_of_range);
    EXPECT_TRUE(lilly.AdjustPhases(one, two, 20)) << "a difference is found before the list ends";
    PhaseList sameFirst = {{5.5f, 0}, {7, -10}};
    EXPECT_THROW(lilly.AdjustPhases(one, sameFirst, 20), std::out_of_range);
    EXPECT_THROW(lilly.AdjustPhases(pulses, pulses, 20), std::out_of_range);
    lilly.m_autoAdjust = Offset;
    EXPECT_FALSE(lilly.AdjustPhases(pulses, pulses, 20));
    EXPECT_THROW(lilly.OffsetShiftOk(one, 1), std::out_of_range);
    EXPECT_THROW(lilly.OffsetShiftOk(none, 1), std::out_of_range);
}

TEST(Repair, UnusableTimeStepIsRefusedUntouched)
{
    for (const float step : {0.0f, -10.0f, NaN, Inf}) {
        LillyHost lilly = Holding({{5, 0}, {7, -10}, {0, 0}, {7, 10}, {81, 0}});
        lilly.m_timeStepUsec = step;
        const PhaseList before = lilly.m_phases;
        EXPECT_FALSE(lilly.Update());
        EXPECT_FALSE(lilly.AdjustPhases(lilly.m_phases, lilly.m_phases, 0));
        EXPECT_EQ(lilly.m_phases, before);
    }
}

TEST(Repair, UpdateRepairsInPlaceAndRebuilds)
{
    LillyHost lilly = Holding({{5, 0}, {7, -10}, {0, 0}, {7, 10}, {81, 0}});
    EXPECT_EQ(Array(lilly), (Words{4095, 0x0001A50A, 0x0001820A, 0x0001878A, 0x00070000}));
    EXPECT_EQ(lilly.IPI(), 8);
    EXPECT_EQ(lilly.ChangeCount(), 0);
    lilly.m_phases[2].len = 0;
    lilly.m_autoAdjust = Phase2;
    lilly.Touch();
    EXPECT_FALSE(lilly.Update());
    EXPECT_EQ(lilly.Phase2Len(), 8) << "the repair before the one that was refused stays";
    EXPECT_FALSE(lilly.SetPhaseAmp(0, 0));
    EXPECT_EQ(lilly.Phase2Len(), 8) << "an edit throws its copy away";
}

TEST(Repair, LengthIsTakenFromTheSilence)
{
    const PhaseList own = {{5, 0}, {7, -10}, {3, 0}, {10, 20}, {81, 0}};
    const PhaseList endless = {{50, 0}, {7, -10}, {3, 0}, {10, 20}, {4, 0}};
    const PhaseList active = {{5, 1}, {7, -10}, {3, 0}, {10, 20}, {81, 1}};
    struct Change
    {
        const PhaseList& own;
        PhaseList before;
        int index;
        float delta;
        bool keepCharge, result;
        PhaseList after;
    };
    const Change changes[] = {
        {own, own, 3, 5, true, true, {{5, 0}, {7, -10}, {3, 0}, {15, 200.0f / 15}, {76, 0}}},
        {own, own, 3, 5, false, true, {{5, 0}, {7, -10}, {3, 0}, {15, 20}, {76, 0}}},
        {own, own, 0, 81, false, true, {{86, 0}, {7, -10}, {3, 0}, {10, 20}, {0, 0}}},
        {own, own, 1, -7, false, true, {{5, 0}, {0, -10}, {3, 0}, {10, 20}, {88, 0}}},
        {own, own, 1, -7.5f, false, false, own},
        {own, own, 4, 5, false, true, own},
        {own, own, 5, 1, false, false, own},
        {own, own, -1, 1, false, false, own},
        {own, {{5, 0}, {7, -10}, {3, 0}, {90, 20}}, 1, 1, false, false, {{5, 0}, {7, -10}, {3, 0}, {90, 20}}},
        {own, own, 1, 0, false, true, own},
        {active, own, 1, 0, false, false, own},
        {active, own, 1, -1, false, true, {{5, 0}, {6, -10}, {3, 0}, {10, 20}, {82, 0}}},
        {own, own, 1, NaN, false, false, own},
        // The end phase too short, the offset gives; for the offset itself that changes nothing.
        {own, endless, 1, 4, false, true, {{50, 0}, {11, -10}, {3, 0}, {10, 20}, {0, 0}}},
        {own, endless, 1, 5, false, true, {{45, 0}, {12, -10}, {3, 0}, {10, 20}, {4, 0}}},
        {own, endless, 1, 50, false, true, {{0, 0}, {57, -10}, {3, 0}, {10, 20}, {4, 0}}},
        {own, endless, 1, 51, false, false, endless},
        {own, endless, 0, 5, false, true, endless},
        {endless, own, 1, 53, false, true, {{5, 0}, {60, -10}, {3, 0}, {10, 20}, {28, 0}}},
        {endless, own, 1, 55, false, false, own},
    };
    for (const Change& change : changes) {
        PhaseList phases = change.before;
        EXPECT_EQ(Holding(change.own).AdjustPhaseLen(phases, change.index, change.delta, change.keepCharge),
                  change.result)
            << change.index << ' ' << change.delta;
        EXPECT_EQ(phases, change.after) << change.index << ' ' << change.delta;
    }
}

TEST(Repair, ShiftMayNotPutPhase1InsideAStep)
{
    struct Shift
    {
        float offset, len, shift;
        bool ok;
    };
    const Shift shifts[] = {
        {3, 4, 1, false},    {3, 4, 7, true},     {3, 11, 1, true},  {3, 4, 4, true},
        {3, 4, -2, true},    {3, 4, 2.9f, false}, {13, 4, 1, false}, {1.25f, 8.5f, 0, false},
        {9, -8.5f, 0, true}, {3, 10, 0, true},
    };
    for (const Shift& shift : shifts) {
        PhaseList phases = {{shift.offset, 0}, {shift.len, 10}};
        EXPECT_EQ(Holding({}).OffsetShiftOk(phases, shift.shift), shift.ok)
            << shift.offset << ' ' << shift.shift;
    }
}

}  // namespace
