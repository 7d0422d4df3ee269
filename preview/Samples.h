#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "Playback.h"

// What the words of a train play over time, as data: stretches of constant current, or samples at a fixed rate. Both are
// handed out one after the other: a train of any length takes the memory of one cycle.
namespace preview {

struct Train
{
    std::vector<playback::Segment> cycle;  // neighbours differ in current
    double periodUsec = 0;
    std::int64_t cycles = 0;

    double EndUsec() const { return static_cast<double>(cycles) * periodUsec; }
};

// REQUIRES: words begin with word 0, whose count of cycles is not read.
Train TrainOf(const std::vector<unsigned int>& words, const playback::Scale& scale, std::int64_t cycles);

using VisitStretch = std::function<void(double startUsec, double durationUsec, double currentUa)>;
void ForEachStretch(const Train& train, const VisitStretch& visit);

using VisitSample = std::function<void(double timeUsec, double currentUa)>;
// The mean current of each sample, with the time at which the sample begins. The samples, multiplied by their length, add
// up to the charge of the train, to the last digits of a double. The rest of the last sample counts as 0. REQUIRES:
// rateHz is finite and above 0.
//
//     current  |########|    |    |    |      200 us of 60 uA, then nothing
//     samples  |   60  |  20  |   0   |      of 150 us
void ForEachSample(const Train& train, double rateHz, const VisitSample& visit);

}  // namespace preview
