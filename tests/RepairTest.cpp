#include <stdexcept>

#include "TestPatterns.h"

namespace {

constexpr int IPI = LillyPattern::AdjustIPI;
constexpr int Phase2 = LillyPattern::AdjustPhase2;
constexpr int Offset = LillyPattern::AdjustOffset;
constexpr int All = IPI | Phase2 | Offset;

// A pattern with a time step of 10 us, an amplitude step of 1 uA and the given list.
LillyHost Holding(const char* phases, int repairs = All, float ampStepUa = 1)
{
    LillyHost lilly(10, ampStepUa);
    lilly.m_phases = Listed(phases);
    lilly.m_autoAdjust = repairs;
    return lilly;
}

// As Update asks for it: the pattern's own list is current and proposed.
void ExpectRepairs(const char* before, int repairs, bool result, const char* after, int budget = 20,
                   float ampStepUa = 1)
{
    SCOPED_TRACE(std::string(before) + " with " + std::to_string(repairs));
    LillyHost lilly = Holding(before, repairs, ampStepUa);
    EXPECT_EQ(lilly.AdjustPhases(lilly.m_phases, lilly.m_phases, budget), result);
    EXPECT_EQ(lilly.m_phases, Listed(after));
    EXPECT_EQ(lilly.ChangeCount(), 0);
}

TEST(Repair, MovesBoundariesOntoSteps)
{
    const char* const valid = "10,0 10,-10 10,0 10,10 60,0";
    ExpectRepairs(valid, 0, true, valid);

    // Phase 1 ends at 12, inside a step, and phase 2 begins there; it would end at 19, before the step does.
    const char* const meeting = "5,0 7,-10 0,0 7,10 81,0";
    ExpectRepairs(meeting, 0, false, meeting);
    ExpectRepairs(meeting, All, true, "5,0 7,-10 8,0 7,10 73,0");
    ExpectRepairs(meeting, IPI, true, "5,0 7,-10 8,0 7,10 73,0");
    ExpectRepairs(meeting, Offset | Phase2, true, "13,0 7,-10 0,0 7,10 73,0");
    ExpectRepairs(meeting, Phase2, false, "5,0 7,-10 0,0 8,8.75 80,0");
    ExpectRepairs(meeting, All, false, "5,0 7,-10 8,0 7,10", 2);
    // The time that a repair takes must be there; what is repaired before or after one that fails stays.
    ExpectRepairs("5,0 7,-10 0,0 7,10 3,0", All, false, "5,0 7,-10 1,0 7,10 2,0");
    ExpectRepairs("15,0 7,-10 0,0 7,10 3,0", IPI, false, "7,0 7,-10 8,0 7,10 3,0");

    // Phase 2 begins at 15, in the step that still holds phase 1.
    const char* const open = "5,0 7,-10 3,0 10,10 75,0";
    ExpectRepairs(open, All, true, "5,0 7,-10 8,0 10,10 70,0");
    ExpectRepairs(open, Offset, true, "10,0 7,-10 3,0 10,10 70,0");
    ExpectRepairs(open, Phase2, false, open);
    // Two repairs in one step: the IPI grows by 9.25, is long enough then, and shrinks by a whole step.
    ExpectRepairs("10,0 10,-9 9,0 1.75,9 20,-9", All, true, "10,0 10,-9 8.25,0 1.75,9 20.75,-9");
    // Less than an amplitude step is inactive for the repair, but not for the validation behind it.
    ExpectRepairs(open, All, false, open, 20, 11);
    ExpectRepairs("5,0 7,-11 3,0 10,10 75,0", All, false, "5,0 7,-11 3,0 10,10 75,0", 20, 11);

    // Phase 1 lies within the first step, which phase 2 meets: the offset may not move it.
    ExpectRepairs("0,0 4,-10 3,0 10,10 83,0", All, true, "0,0 4,-10 6,0 10,10 80,0");
    ExpectRepairs("0,0 4,-10 3,0 10,10 83,0", Offset, false, "0,0 4,-10 3,0 10,10 83,0");

    // Phase 1, then phase 2, begins inside a step and ends before it.
    ExpectRepairs("7,0 2,-10 21,0 10,10 60,0", All, true, "8,0 2,-10 21,0 10,10 59,0");
    ExpectRepairs("7,0 2,-10 0,0 10,10 81,0", IPI | Phase2, false, "7,0 2,-10 0,0 10,10 81,0");
    const char* const shortSecond = "6,0 7,-10 14,0 2,10 71,0";
    ExpectRepairs(shortSecond, All, true, "6,0 7,-10 7,0 2,10 78,0");
    ExpectRepairs(shortSecond, Phase2, true, "6,0 7,-10 14,0 3,6.6666665 70,0");
    ExpectRepairs(shortSecond, Offset, false, shortSecond);
}

// Lists of another length than five are walked even when they are valid.
TEST(Repair, WalksOtherListsByItsOwnThresholds)
{
    for (const char* const kept :
         {"7,0 2.5,-10 30.5,0 10,10 50,0 0,0", "3,0 7.01,-10 0,0 10,10 79.99,0 0,0",
          "5,0 15,-10 0,0 10,10 70,0 0,0", "0.5,10 20,-10 0,0 10,0 69.5,0 0,0", "10,0 20,10"})
        ExpectRepairs(kept, All, true, kept);
    // What a junction leaves of a phase keeps the step open above 0.015 us, although it is not carried.
    ExpectRepairs("3,0 7.25,-10 0,0 10,10 79.75,0 0,0", All, true, "3,0 7.25,-10 10,0 10,10 69.75,0 0,0");
    // A negative length leaves time as well: -3 us are a step back and 7 us.
    ExpectRepairs("-3,0 20,-9 10,0 10,9 60,0", All, false, "-3,0 20,-9 10,0 10,9 60,0");
    ExpectRepairs("10,0 10,-9 -3,0 2,9 200,0", Phase2, false, "10,0 10,-9 -3,0 3,6 199,0");
    ExpectRepairs("9,0 2,10 7,0 2,5", All, false, "9,0 2,10 7,0 2,5");
    ExpectRepairs("", All, true, "", 0);
    ExpectRepairs("", All, false, "", -1);
    ExpectRepairs("", 0, false, "", 0);
}

TEST(Repair, BudgetCutsTheListOff)
{
    ExpectRepairs("10,0 10,-5 10,0 10,5 60,0", All, false, "10,0 10,-5 10,0 10,5 60,0", 5);
    ExpectRepairs("10,0 10,-5 10,0 10,5 60,0", All, true, "10,0 10,-5 10,0 10,5", 4);
    ExpectRepairs("10,0 10,-5 10,0 10,5 60,0", All, true, "", 0);
    // Words are 1, 2, 2, 1 and 2: a junction, and a whole-step word where there is a whole step besides.
    const std::size_t kept[] = {0, 1, 2, 2, 3, 3, 4, 5, 5};
    for (std::size_t budget = 0; budget < 9; ++budget) {
        LillyHost lilly = Holding("10.75,0 20,-5 20,0 15,5 30,0");
        lilly.AdjustPhases(lilly.m_phases, lilly.m_phases, static_cast<int>(budget));
        EXPECT_EQ(lilly.m_phases.size(), kept[budget]) << budget;
    }
}

TEST(Repair, IPIMovesTheWayTheEditDid)
{
    // Phase 2 begins at 7 us of its step and lasts 2: the IPI grows by 1 to fill the step, or shrinks by 7.
    const std::tuple<const char*, const char*, const char*> edits[] = {
        // The IPI itself was edited.
        {"5,0 7,-9 13,0 2,9 202,0", "5,0 7,-9 15,0 2,9 200,0", "5,0 7,-9 16,0 2,9 199,0"},
        {"5,0 7,-9 17,0 2,9 198,0", "5,0 7,-9 15,0 2,9 200,0", "5,0 7,-9 8,0 2,9 207,0"},
        {"5,0 15,-9 9,0 2,9 198,0", "5,0 15,-9 7,0 2,9 200,0", "5,0 15,-9 0,0 2,9 207,0"},
        {"5,0 10,-9 9,0 2,9 200,0", "5,0 10,-9 2,0 2,9 200,0", "5,0 10,-9 5,0 2,9 197,0"},
        // Another phase: back from one step on, or from one and a half when it was shortened.
        {"4,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 7,0 2,9 207,0"},
        {"8,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 15,0 2,9 199,0"},
        {"6.9,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 7,0 2,9 207,0"},
        {"7,0 7,-9 15,0 2,9 200,0", "5,0 7,-9 15,0 2,9 200,0", "5,0 7,-9 8,0 2,9 207,0"},
        {"5,0 11,-9 10,0 2,9 200,0", "5,0 12,-9 10,0 2,9 200,0", "5,0 12,-9 3,0 2,9 207,0"},
        {"5,0 11,-9 9,0 2,9 200,0", "5,0 13,-9 9,0 2,9 200,0", "5,0 13,-9 10,0 2,9 199,0"},
        {"6,0 7,-9 14,0 3,9 200,0", "6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 15,0 2,9 199,0"},
        {"6,0 7,-9 14,0 2,9 201,0", "6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 15,0 2,9 199,0"},
        {"6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 14,0 2,9 200,0", "6,0 7,-9 7,0 2,9 207,0"}};
    for (const auto& [before, edited, repaired] : edits) {
        PhaseList current = Listed(before), proposed = Listed(edited);
        EXPECT_TRUE(Holding(before).AdjustPhases(current, proposed, 20)) << before;
        EXPECT_EQ(proposed, Listed(repaired)) << before;
        EXPECT_EQ(current, Listed(before));
    }
}

TEST(Repair, ListsTooShortToCompareOrToRepairThrow)
{
    LillyHost lilly = Holding("50,0");
    PhaseList none, one = Listed("5,0"), pulses = Listed("15,5 15,-5");
    PhaseList longer = Listed("9,0 7,-10"), hardlyLonger = Listed("5.5,0 7,-10");
    EXPECT_THROW(lilly.AdjustPhases(none, one, 20), std::out_of_range);
    EXPECT_TRUE(lilly.AdjustPhases(one, longer, 20)) << "a difference is found before the list ends";
    EXPECT_THROW(lilly.AdjustPhases(one, hardlyLonger, 20), std::out_of_range);
    EXPECT_THROW(lilly.AdjustPhases(pulses, pulses, 20), std::out_of_range);
    lilly.m_autoAdjust = Offset;
    EXPECT_FALSE(lilly.AdjustPhases(pulses, pulses, 20));
    for (PhaseList* phases : {&one, &none}) EXPECT_THROW(lilly.OffsetShiftOk(*phases, 1), std::out_of_range);
}

TEST(Repair, UnusableTimeStepIsRefusedUntouched)
{
    for (const float step : {0.0f, -10.0f, NaN, Inf}) {
        LillyHost lilly = Holding("5,0 7,-10 0,0 7,10 81,0");
        lilly.m_timeStepUsec = step;
        EXPECT_FALSE(lilly.Update());
        EXPECT_FALSE(lilly.AdjustPhases(lilly.m_phases, lilly.m_phases, 0));
        EXPECT_EQ(lilly.m_phases, Listed("5,0 7,-10 0,0 7,10 81,0"));
    }
}

TEST(Repair, UpdateRepairsInPlaceAndRebuilds)
{
    LillyHost lilly = Holding("5,0 7,-10 0,0 7,10 81,0");
    EXPECT_EQ(Array(lilly), "00000FFF 0001A50A 0001820A 0001878A 00070000");
    EXPECT_EQ(lilly.IPI(), 8);
    EXPECT_EQ(lilly.ChangeCount(), 0);
    lilly.m_phases[2].len = 0;
    lilly.m_autoAdjust = Phase2;
    lilly.Touch();
    EXPECT_FALSE(lilly.Update());
    EXPECT_EQ(lilly.Phase2Len(), 8) << "a repair stays, although another failed";
    EXPECT_FALSE(lilly.SetPhaseLen(3, 7));
    EXPECT_EQ(lilly.Phase2Len(), 8) << "an edit throws its copy away";
}

TEST(Repair, LengthIsTakenFromTheSilence)
{
    const char* const own = "5,0 7,-10 3,0 10,20 81,0";
    const char* const shortEnd = "50,0 7,-10 3,0 10,20 4,0";
    const std::tuple<const char*, const char*, int, float, bool, bool, const char*> changes[] = {
        {own, own, 3, 5, true, true, "5,0 7,-10 3,0 15,13.333333 76,0"},
        {own, own, 3, 5, false, true, "5,0 7,-10 3,0 15,20 76,0"},
        {own, own, 0, 81, false, true, "86,0 7,-10 3,0 10,20 0,0"},
        {own, own, 1, -7, false, true, "5,0 0,-10 3,0 10,20 88,0"},
        {own, own, 1, -7.5f, false, false, own},
        {own, own, 4, 5, false, true, own},
        {own, own, 5, 1, false, false, own},
        {own, own, -1, 1, false, false, own},
        {own, "5,0 7,-10 3,0 90,20", 1, 1, false, false, "5,0 7,-10 3,0 90,20"},
        {own, own, 1, 0, false, true, own},
        {"5,1 7,-10 3,0 10,20 81,1", own, 1, 0, false, false, own},
        {"5,1 7,-10 3,0 10,20 81,1", own, 1, -1, false, true, "5,0 6,-10 3,0 10,20 82,0"},
        {own, own, 1, NaN, false, false, own},
        // The end phase too short, the offset gives; for the offset itself that changes nothing.
        {own, shortEnd, 1, 4, false, true, "50,0 11,-10 3,0 10,20 0,0"},
        {own, shortEnd, 1, 5, false, true, "45,0 12,-10 3,0 10,20 4,0"},
        {own, shortEnd, 1, 50, false, true, "0,0 57,-10 3,0 10,20 4,0"},
        {own, shortEnd, 1, 51, false, false, shortEnd},
        {own, shortEnd, 0, 5, false, true, shortEnd},
        {shortEnd, own, 1, 53, false, true, "5,0 60,-10 3,0 10,20 28,0"},
        {shortEnd, own, 1, 55, false, false, own},
    };
    for (const auto& [held, before, index, delta, keepCharge, result, after] : changes) {
        SCOPED_TRACE(std::to_string(index) + " by " + std::to_string(delta));
        PhaseList phases = Listed(before);
        LillyHost lilly = Holding(held);
        EXPECT_EQ(lilly.AdjustPhaseLen(phases, index, delta, keepCharge), result);
        EXPECT_EQ(phases, Listed(after));
    }
}

TEST(Repair, ShiftMayNotPutPhase1InsideAStep)
{
    const std::tuple<float, float, float, bool> shifts[] = {
        {3, 4, 1, false},    {3, 4, 7, true},     {3, 11, 1, true},  {3, 4, 4, true},
        {3, 4, -2, true},    {3, 4, 2.9f, false}, {13, 4, 1, false}, {1.25f, 8.5f, 0, false},
        {9, -8.5f, 0, true}, {3, 10, 0, true}};
    for (const auto& [offset, len, shift, ok] : shifts) {
        PhaseList phases = {{offset, 0}, {len, 10}};
        EXPECT_EQ(Holding("").OffsetShiftOk(phases, shift), ok) << offset << ' ' << shift;
    }
}

}  // namespace
