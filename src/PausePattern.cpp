#include "PausePattern.h"

PausePattern::PausePattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize)
    : StimPattern(maxCmdCount, timeStepUsec, param2, param3, ampStepSize, 0.0f)
{}

PausePattern::~PausePattern() = default;
