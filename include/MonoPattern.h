#pragma once

#include "StimPattern.h"

// The abstract base of a monophasic pulse. It fixes how StimPattern is constructed and adds nothing else: a
// host derives its waveform from it and provides the five pure operations of StimPattern. A pattern object
// must be used by one thread at a time.
class TARVUTIL_EXPORT MonoPattern : public StimPattern
{
 public:
    // The same arguments, refusal and new state as StimPattern's constructor.
    MonoPattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                float ampMax);
    MonoPattern(const MonoPattern& other) = default;             // as StimPattern's
    MonoPattern& operator=(const MonoPattern& other) = default;  // as StimPattern's
    ~MonoPattern() override;
};
