#pragma once

#include "TarvUtilExport.h"

// The type that names a train of stimulation in host interfaces. It holds nothing; the train of a pattern
// (its length, cycles and rounding) is kept by StimPattern.
class TARVUTIL_EXPORT StimTrain
{
 public:
    StimTrain();
};
