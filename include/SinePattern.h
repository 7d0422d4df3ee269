#pragma once

#include "StimPattern.h"

// The abstract base of a sampled sine. It fixes how StimPattern is constructed and adds nothing else: a host
// derives its waveform from it and provides the five pure operations of StimPattern. A pattern object must be
// used by one thread at a time.
class TARVUTIL_EXPORT SinePattern : public StimPattern
{
 public:
    // The same arguments, refusal and new state as StimPattern's constructor.
    SinePattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                float ampMax);
    SinePattern(const SinePattern& other) = default;             // as StimPattern's
    SinePattern& operator=(const SinePattern& other) = default;  // as StimPattern's
    ~SinePattern() override;
};
