#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Design.h"

// Several designs in a row: sweeps of a value, ramps of the amplitude, trains with pauses between them.
namespace preview {

// from, from + step, ... up to to, or down to it; to itself when the steps meet it.
struct Range
{
    double from = 0;
    double to = 0;
    double step = 0;
};

struct SequenceRequest
{
    DesignRequest pulse;
    // Each makes a design of every value, and two of them of every pair of values. Names end in the value: "-20uA",
    // amplitudes in whole steps.
    std::optional<Range> amplitudeUa;
    std::optional<Range> frequencyHz;
    std::optional<Range> phase1Usec;
    // Pulses at the start and the end of each train whose amplitude rises or falls in steps: designs of their own, of
    // as many pulses as have the same amplitude. They count as pulses of the train.
    std::int64_t rampUp = 0;
    std::int64_t rampDown = 0;
    // The number of trains, with a pause after each but the last.
    std::int64_t times = 1;
    double offMsec = 0;
};

enum class SequenceFault
{
    TooLong,      // more than MaxDesigns
    PartBurst,    // the pulses of a train or ramp are not a whole number of bursts
    RampTooLong,  // the ramps have more pulses than the train
    Endless,      // a train without end ramps down, or is repeated
    FineSweep,    // amplitudes less than an amplitude step apart would be played alike
};

constexpr std::size_t MaxDesigns = 100000;

// The designs of a sequence, in the order in which they are played. REQUIRES: what MakeDesign does of each, and steps
// above 0.
std::optional<SequenceFault> MakeSequence(const SequenceRequest& request, const Stimulator& stimulator,
                                          std::vector<DesignRequest>& designs);

}  // namespace preview
