#pragma once

#include "Numbers.h"
#include "StimPattern.h"
#include "TimeSteps.h"

// Validation's walk: whether the phases of a list may follow each other, and how many words they count.
//
// The stimulator changes its current once in a time step, at the split point of the word of that step, and on one side
// of the split point the current is 0. So a step that two phases share can carry the current of one of them only. A
// list is refused where both would be active, or where an active phase would start in a shared step and end before
// that step does: then the rest of the step would need a third part.
//
// Where this walk differs from the two others:
//   - A phase that reaches one step counts a junction word, even when no time is carried. The writer writes one
//     only with carried time. So the count can be larger than the number of words.
//   - Any number of whole steps counts one word. The writer needs one for each 65535 steps; its buffer can be too small.
//   - A phase is active when its amplitude divided by the step is not 0. So half a step is active, but its words have
//     current 0. Repair uses whole steps only.
//   - After a phase that ends within its last step, the carried time counts as active when the raw amplitude is not 0.
//     With an amplitude step of 0 it is active although no phase is.
namespace TarvUtil::Internal {

// How a phase fits the carried time of the phases before it.
enum class Meeting
{
    Fits,
    NegativeLength,  // or a NaN
    MeetsActive,     // two active phases in one step
    TooShort,        // an active phase ends inside the step that it shares
};

// The state of the walk between two phases.
struct CounterState
{
    float carriedUsec = 0;  // of a step that earlier phases began and did not finish; 0 or above IgnoreUsec
    bool active = false;    // the step began with a current

    bool operator==(const CounterState& other) const
    {
        return carriedUsec == other.carriedUsec && active == other.active;
    }
};

// Counts one phase at a time. REQUIRES: a time step that is TimeStepUsable.
class WordCounter
{
 public:
    WordCounter(float timeStepUsec, float ampStepUa) : m_timeStep(timeStepUsec), m_ampStep(ampStepUa) {}

    // Counts the words of p. A phase that does not fit counts none and does not change the state.
    Meeting Count(const phase& p, bool last)
    {
        if (!(p.len >= 0)) return Meeting::NegativeLength;
        const bool active = AmplitudeSteps(p.amp, m_ampStep) != 0;
        float time = p.len + m_state.carriedUsec;
        if (active) {
            // Carried time that is not active comes from a phase without current.
            if (m_state.active) return Meeting::MeetsActive;
            if (m_state.carriedUsec > 0 && EndsInsideStep(time, m_timeStep)) return Meeting::TooShort;
        }
        if (time >= m_timeStep) time = CountJunction(p, active);
        CountSteps(time, p, last);
        return Meeting::Fits;
    }

    const CounterState& State() const { return m_state; }
    int Words() const { return m_words; }

 private:
    // Returns the time of the phase that is left after its first step. A rest so short that it is dropped at the end of a
    // phase is dropped here, too.
    float CountJunction(const phase& p, bool active)
    {
        ++m_words;
        const float rest = RestAfterJunction(p.len, m_state.carriedUsec, m_timeStep);
        const bool usedUp = rest < StimPattern::IgnoreUsec;
        m_state.active = active && !usedUp;
        return usedUp ? 0 : rest;
    }

    void CountSteps(float time, const phase& p, bool last)
    {
        const StepCut cut = CutIntoSteps(time, m_timeStep);
        if (cut.count != 0) ++m_words;
        if (IsCarried(cut)) {
            m_state.carriedUsec = cut.rest;
            m_state.active = p.amp != 0 || (cut.count == 0 && m_state.active);
            if (last) ++m_words;
        } else {
            // A phase that leaves nothing and fills no step does not end the step's current.
            m_state.carriedUsec = 0;
            if (cut.count != 0) m_state.active = false;
        }
    }

    float m_timeStep;
    float m_ampStep;
    CounterState m_state;
    int m_words = 0;
};

}  // namespace TarvUtil::Internal
