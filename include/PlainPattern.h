#pragma once

#include <algorithm>
#include <vector>

#include "StimPattern.h"

// A pattern of any number of phases, played as they are given: a list that does not fit the time steps or the budget
// is refused, never repaired.
//
//     PlainPattern pattern(101, 33.333332f, 10, 1000);
//     pattern.SetPhases({{0, 0}, {200, -60}, {100, 0}, {400, 30}, {9300, 0}});
//     pattern.SetTrainLength(1000);  // ms
//
// The class is defined in this header alone, on the interface that a host's own pattern kind has, too. It adds no
// member and keeps the TypeID of StimPattern. A host may derive from it. A pattern object must be used by one thread
// at a time.
class PlainPattern : public StimPattern
{
 public:
    // As StimPattern's constructor, with 0 for param2 and param3: the same refusal and new state.
    PlainPattern(int maxCmdCount, float timeStepUsec, float ampStepUa, float ampMaxUa)
        : StimPattern(maxCmdCount, timeStepUsec, 0, 0, ampStepUa, ampMaxUa)
    {}

    // Sets the period, milliseconds, by the length of the last phase (count +1 when taken, also when nothing
    // differs); a period shorter than the phases before the last gives a last phase of 0. A train shorter than the period
    // becomes one period (count +1). The list does not change if it has no phases, for a NaN, and if it would not be
    // valid with that length. Returns the period then in force, milliseconds.
    float SetPeriod(float periodMsec) override
    {
        const int last = PhaseCount() - 1;
        const float start = PhaseStart(last);
        SetPhaseLen(last, std::max(periodMsec * 1000.0f, start) - start);
        const float period = Period();
        if (period > TrainLength()) SetTrainLength(period);
        return period;
    }

    // Removes the phases; the train stays. Count +1 when there were any.
    void Defaults() override { ClearPhases(); }
    // Always false.
    bool PhaseCountFixed() override { return false; }
    // Always false.
    bool AutoAdjustEnabled() override { return false; }
    // PhasesValid(proposed, maxCmds), without a copy; neither list is touched.
    bool AdjustPhases(std::vector<phase>& /*current*/, std::vector<phase>& proposed, int maxCmds) override
    {
        return ListValid(proposed, maxCmds);
    }
};
