#include "StimTrain.h"

StimTrain::StimTrain() = default;
