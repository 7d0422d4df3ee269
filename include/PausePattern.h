#pragma once

#include "StimPattern.h"

// The abstract base of a pattern that carries no current: its amplitude range is empty, so every amplitude
// that a guarded edit (SetPhaseAmp, SetPhase, SetPhases) stores becomes 0 (a NaN stays; it is played without
// current). A host provides the five pure operations of StimPattern. A pattern object must be used by one thread
// at a time.
class TARVUTIL_EXPORT PausePattern : public StimPattern
{
 public:
    // As StimPattern's constructor, with an ampMax of 0.
    PausePattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize);
    PausePattern(const PausePattern& other) = default;             // as StimPattern's
    PausePattern& operator=(const PausePattern& other) = default;  // as StimPattern's
    ~PausePattern() override;
};
