// The smallest host: one charge-balanced pulse, 100 times per second for one second, and its command words.
//
//     phase 1 (200 us, -60 uA), IPI 100 us, phase 2 (400 us, 30 uA)

#include <cstdio>

#include "LillyPattern.h"

namespace {
constexpr int Budget = 101;                 // words, word 0 included
constexpr float TimeStepUsec = 33.333332f;  // of the stimulator
constexpr float AmpStepUa = 10.0f;          // of the channel
constexpr float AmpMaxUa = 100.0f;          // largest current for this electrode
}  // namespace

int main()
{
    LillyPattern pattern(Budget, TimeStepUsec, 0.0f, 0.0f, AmpStepUa, 0, AmpMaxUa);
    pattern.SetPhase1Len(200.0f, false);
    pattern.SetIPI(100.0f, false);
    pattern.SetPhase1Amp(-60.0f);
    pattern.SetChargeBalanceMode(2);  // phase 2: half the current for twice the time
    pattern.SetFrequency(100.0f);
    pattern.SetTrainLength(1000.0f);

    // The values in effect can differ from the request: a host compares them before it plays.
    if (pattern.Phase1Len() != 200.0f || pattern.Phase2Len() != 400.0f || pattern.CycleCount() != 100) {
        std::fprintf(stderr, "the stimulator cannot play this pulse\n");
        return 1;
    }

    unsigned int words[Budget];
    const int count = pattern.WordArray(words, 0);
    if (count <= 0) {
        std::fprintf(stderr, "the pulse does not fit the time steps or the budget\n");
        return 1;
    }
    for (int i = 0; i < count; ++i) std::printf("0x%08X\n", words[i]);
}
