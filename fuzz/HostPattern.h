#pragma once

#include <vector>

#include "StimPattern.h"

// A pattern kind as a host writes one, on top of any abstract class of the library.
namespace fuzz {

template <class Base>
class HostPattern : public Base
{
 public:
    template <typename... Arguments>
    explicit HostPattern(bool acceptAll, Arguments... arguments) : Base(arguments...), m_acceptAll(acceptAll)
    {}

    float SetPeriod(float periodMsec) override
    {
        const int last = this->PhaseCount() - 1;
        this->SetPhaseLen(last, periodMsec * 1000.0f - this->PhaseStart(last));
        return this->Period();
    }

    void Defaults() override
    {
        this->ClearPhases();
        this->AppendPhase(100, -10);
        this->AppendPhase(100, 10);
        this->SetTrainLength(100);
    }

    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }

    bool AdjustPhases(std::vector<phase>& /*current*/, std::vector<phase>& proposed, int maxCmds) override
    {
        return m_acceptAll || this->ListValid(proposed, maxCmds);
    }

 private:
    bool m_acceptAll;  // a host that takes every list, and leaves it to the build to refuse
};

}  // namespace fuzz
