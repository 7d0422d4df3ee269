#include "LillyRepair.h"

#include <cstddef>

#include "Numbers.h"
#include "StimPattern.h"
#include "TimeSteps.h"

namespace TarvUtil::Internal {
namespace {

// The state of the walk between two phases.
struct RepairState
{
    float carriedUsec =
        0;  // of a step that earlier phases began and did not finish; a whole step after a repair
    bool active = false;  // the step began with a current
    int lastSteps = 0;    // amplitude, whole steps, of the latest phase with time outside a junction
};

class LillyRepair
{
 public:
    LillyRepair(LillyPattern& pattern, int repairs, float timeStepUsec, float ampStepUa,
                std::vector<phase>& phases)
        : m_pattern(pattern),
          m_repairs(repairs),
          m_timeStep(timeStepUsec),
          m_ampStep(ampStepUa),
          m_phases(phases)
    {}

    // Finds the first phase that an edit changed by a whole microsecond or more, and the change: it decides in which
    // direction the IPI may move.
    void FindChange(const std::vector<phase>& current)
    {
        for (std::size_t i = 0; i < m_phases.size() && m_changeUsec == 0; ++i) {
            m_changedPhase = static_cast<int>(i);
            m_changeUsec = ToInt(m_phases[i].len - current.at(i).len);
        }
    }

    // Walks over every phase, and cuts off those for which no word is left. False when a repair is refused or not allowed.
    bool Run(int maxCmds)
    {
        for (std::size_t i = 0; i < m_phases.size(); ++i) {
            if (m_words >= maxCmds) {
                m_phases.resize(i);
                return true;
            }
            if (!RepairPhase(i)) return false;
        }
        return true;
    }

 private:
    bool RepairPhase(std::size_t index)
    {
        const phase& p = m_phases[index];
        const float len = p.len;  // as it was before this phase's repairs
        const int steps = ToInt(AmplitudeSteps(p.amp, m_ampStep));
        if (steps != 0) {
            // A failed repair does not end the walk at once: the later ones of the phase are made, too.
            const bool parted = PartFromActivePhase();
            const bool closed = CloseOpenStep();
            if (!FillSharedStep(static_cast<int>(index), len) || !parted || !closed) return false;
        }
        CountWords(len, steps);
        return true;
    }

    bool Allowed(LillyPattern::Adjust repair) const { return (m_repairs & repair) != 0; }

    // The move of the IPI, when target would lengthen it to the next step boundary: to target, or back to the boundary
    // before.
    float IPIStep(float target) const
    {
        const float ipi = m_phases.at(IPIIndex).len;
        // The IPI is shortened only if it is a step long, so that some of it is left. When an edit shortened another
        // phase, at least half a step must be left.
        const float least = m_changeUsec < 0 ? 1.5f * m_timeStep : m_timeStep;
        const bool back =
            m_changedPhase == IPIIndex ? m_changeUsec < 0 && ipi - m_state.carriedUsec >= 0 : ipi >= least;
        return back ? -m_state.carriedUsec : target;
    }

    bool MoveIPI(float delta) { return m_pattern.AdjustPhaseLen(m_phases, IPIIndex, delta, false); }
    bool LengthenOffset(float delta) { return m_pattern.AdjustPhaseLen(m_phases, OffsetIndex, delta, false); }

    // Two active phases meet in one step.
    bool PartFromActivePhase()
    {
        if (!(m_state.carriedUsec > 0) || m_state.lastSteps == 0) return true;
        const float target = m_timeStep - m_state.carriedUsec;
        bool moved = false;
        if (Allowed(LillyPattern::AdjustIPI))
            moved = MoveIPI(IPIStep(target));
        else if (Allowed(LillyPattern::AdjustOffset))
            moved = LengthenOffset(target);
        if (moved) m_state.carriedUsec = m_timeStep;
        return moved;
    }

    // An active phase follows a step that began with a current.
    bool CloseOpenStep()
    {
        if (!m_state.active) return true;
        const float target = m_timeStep - m_state.carriedUsec;
        bool moved = false;
        if (Allowed(LillyPattern::AdjustIPI))
            moved = MoveIPI(IPIStep(target));
        else if (Allowed(LillyPattern::AdjustOffset) && m_pattern.OffsetShiftOk(m_phases, target))
            moved = LengthenOffset(target);
        if (moved) m_state.carriedUsec = m_timeStep;
        return moved;
    }

    // An active phase ends well before the step that it shares is full.
    bool FillSharedStep(int index, float len)
    {
        if (!(m_state.carriedUsec > 0) || !EndsInsideStep(len + m_state.carriedUsec, m_timeStep)) return true;
        float delta = m_timeStep - (len + m_state.carriedUsec);
        bool filled = false;
        if (index == Phase1Index) {
            filled = Allowed(LillyPattern::AdjustOffset) && LengthenOffset(delta);
        } else if (Allowed(LillyPattern::AdjustIPI)) {
            delta = IPIStep(delta);
            filled = MoveIPI(delta);
        } else if (Allowed(LillyPattern::AdjustPhase2)) {
            filled = m_pattern.AdjustPhaseLen(m_phases, Phase2Index, delta, true);
        }
        if (filled) m_state.carriedUsec += delta;
        return filled;
    }

    void CountWords(float len, int steps)
    {
        float time = len + m_state.carriedUsec;
        float rest = len;
        if (m_state.carriedUsec > 0 && time >= m_timeStep) {
            ++m_words;
            rest = RestAfterJunction(len, m_state.carriedUsec, m_timeStep);
            const bool usedUp = rest < StimPattern::IgnoreFrac;
            if (usedUp) rest = 0;
            m_state.active = !usedUp && steps != 0;
            time = rest;
        }
        if (rest > 0) m_state.lastSteps = steps;

        const StepCut cut = CutIntoSteps(time, m_timeStep);
        if (cut.count != 0) ++m_words;
        if (IsCarried(cut)) {
            m_state.carriedUsec = cut.rest;
            if (!(m_state.active && cut.count == 0)) m_state.active = steps != 0;
        } else {
            m_state.carriedUsec = 0;
            if (cut.count != 0) m_state.active = false;
        }
    }

    LillyPattern& m_pattern;
    int m_repairs;
    float m_timeStep;
    float m_ampStep;
    std::vector<phase>& m_phases;
    int m_changedPhase = 0;
    int m_changeUsec = 0;
    RepairState m_state;
    int m_words = 0;
};

}  // namespace

bool RepairPhases(LillyPattern& pattern, int repairs, float timeStepUsec, float ampStepUa,
                  const std::vector<phase>& current, std::vector<phase>& phases, int maxCmds)
{
    LillyRepair repair(pattern, repairs, timeStepUsec, ampStepUa, phases);
    repair.FindChange(current);
    return repair.Run(maxCmds);
}

}  // namespace TarvUtil::Internal
