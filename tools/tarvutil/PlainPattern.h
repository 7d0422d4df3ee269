#pragma once

#include <vector>

#include "StimPattern.h"

// A pattern of any number of phases, which are taken as they are or refused, never repaired.
class PlainPattern final : public StimPattern
{
 public:
    PlainPattern(int maxCmdCount, float timeStepUsec, float ampStepUa, float ampMaxUa)
        : StimPattern(maxCmdCount, timeStepUsec, 0, 0, ampStepUa, ampMaxUa)
    {}

    // The period is what the phases say.
    float SetPeriod(float /*periodMsec*/) override { return Period(); }
    void Defaults() override { ClearPhases(); }
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(std::vector<phase>& /*current*/, std::vector<phase>& proposed, int maxCmds) override
    {
        return ListValid(proposed, maxCmds);
    }
};
