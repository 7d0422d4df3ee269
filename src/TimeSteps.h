#pragma once

#include <cmath>

#include "Assert.h"
#include "Numbers.h"
#include "StimPattern.h"

// How lengths are cut into whole time steps and amplitudes into amplitude steps: the rules that validation
// (WordCounter.h), writing (CommandWriter.h) and repair (LillyRepair.h) share. Each of the three walks over the phases
// with its own junction rules.
namespace TarvUtil::Internal {

// A time cut into whole steps and the rest of the last one, microseconds. A time within IgnoreFrac below a whole
// number of steps counts as that number; the rest is then slightly negative.
struct StepCut
{
    int count;
    float rest;
};

inline StepCut CutIntoSteps(float timeUsec, float timeStepUsec)
{
    const float steps = timeUsec / timeStepUsec;
    const int count = FloorToInt(steps + StimPattern::IgnoreFrac);
    const float rest = (steps - static_cast<float>(count)) * timeStepUsec;
    // A rest that is carried is below a step, as long as the count is an int.
    TARVUTIL_ASSERT(!FitsInt(steps) || !(rest > StimPattern::IgnoreUsec) || rest < timeStepUsec);
    return {count, rest};
}

// Whether the rest is carried into the next phase; a shorter one is dropped.
inline bool IsCarried(const StepCut& cut)
{
    return cut.rest > StimPattern::IgnoreUsec;
}

// What is left of a phase once it has filled the step that carriedUsec of earlier phases began.
inline float RestAfterJunction(float lenUsec, float carriedUsec, float timeStepUsec)
{
    return lenUsec - (timeStepUsec - carriedUsec);
}

// Whether a phase that ends timeUsec after the start of a step ends well before that step does. A step counts as full
// when at most IgnoreUsec is missing: a leftover of that length is dropped.
inline bool EndsInsideStep(float timeUsec, float timeStepUsec)
{
    return timeUsec - timeStepUsec < -StimPattern::IgnoreUsec;
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

// A step of 0 is usable: it makes every amplitude 0 steps. Any other step that is not positive and finite would
// reverse or lose a current.
inline bool AmpStepUsable(float ampStepUa)
{
    return ampStepUa >= 0 && std::isfinite(ampStepUa);
}

}  // namespace TarvUtil::Internal
