#include "MonoPattern.h"

MonoPattern::MonoPattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                         float ampMax)
    : StimPattern(maxCmdCount, timeStepUsec, param2, param3, ampStepSize, ampMax)
{}

MonoPattern::~MonoPattern() = default;
