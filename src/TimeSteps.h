#pragma once

#include <cmath>

#include "Numbers.h"
#include "StimPattern.h"

// How lengths are cut into whole time steps and amplitudes into amplitude steps: the rules that validation,
// writing and repair have in common. Each of the three walks the phases with junction rules of its own.
namespace TarvUtil::Internal {

// Time cut into whole steps and what is left of the last one, microseconds. A time within IgnoreFrac below a
// whole number of steps counts as that number; the rest is then slightly negative.
struct StepCut
{
    int count;
    float rest;
};

inline StepCut CutIntoSteps(float timeUsec, float timeStepUsec)
{
    const float steps = timeUsec / timeStepUsec;
    const int count = FloorToInt(steps + StimPattern::IgnoreFrac);
    return {count, (steps - static_cast<float>(count)) * timeStepUsec};
}

// What is left of a phase once it has filled the step that carriedUsec of earlier phases began.
inline float RestAfterJunction(float lenUsec, float carriedUsec, float timeStepUsec)
{
    return lenUsec - (timeStepUsec - carriedUsec);
}

// An amplitude in amplitude steps, not rounded; 0 when the step is 0.
inline float AmplitudeSteps(float ampUa, float ampStepUa)
{
    return ampStepUa == 0 ? 0.0f : ampUa / ampStepUa;
}

inline bool TimeStepUsable(float timeStepUsec)
{
    return timeStepUsec > 0 && std::isfinite(timeStepUsec);
}

// A step of 0 is usable: it makes every amplitude 0 steps. Any other that is not positive and finite would
// turn a current round or lose it.
inline bool AmpStepUsable(float ampStepUa)
{
    return ampStepUa >= 0 && std::isfinite(ampStepUa);
}

// What a walk over the phases takes from one phase to the next.
struct Carry
{
    float time = 0;       // microseconds of a step that earlier phases began and did not finish
    bool active = false;  // that time holds a non-zero amplitude
    // Whole amplitude steps of the latest phase that had a time of its own.
    int lastSteps = 0;
};

}  // namespace TarvUtil::Internal
