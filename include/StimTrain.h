#pragma once

#include "TarvUtilExport.h"

// The type that names a train of stimulation in host interfaces. It has no members; StimPattern stores the train
// of a pattern (its length, cycles and rounding).
class TARVUTIL_EXPORT StimTrain
{
 public:
    StimTrain();
};
