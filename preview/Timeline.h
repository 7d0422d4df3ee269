#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "Encoding.h"

// The blocks in which a host sends a train of more cycles than one command holds.
namespace preview {

struct Block
{
    std::int64_t sentMsec;
    std::int64_t dueMsec;
    int cycles;      // in word 0
    int cyclesLeft;  // to be commanded after it
};

struct Timeline
{
    std::int64_t startMsec = 0;
    bool continuous = false;
    int cyclesAsked = 0;
    std::int64_t cyclesSent = 0;
    double longestGapMsec = 0;  // between the end of a block and the sending of the next
    double endMsec = 0;         // when what was sent has been played
    std::vector<Block> blocks;

    bool Complete() const { return continuous || cyclesSent == cyclesAsked; }
};

struct Host
{
    int pollMsec = 1;        // between two polls
    std::size_t blocks = 5;  // after which it stops a continuous pattern

    // Its clock stops at its largest value: where a long has 32 bits, after 24.8 days.
    static long Clock(std::int64_t msec)
    {
        return static_cast<long>(std::min<std::int64_t>(msec, std::numeric_limits<long>::max()));
    }
    // The time of its first poll at that time or later.
    std::int64_t PollAt(std::int64_t msec) const { return (msec + pollMsec - 1) / pollMsec * pollMsec; }
};

// The blocks that the host sends for the pattern, the first at startMsec, 0 or above. REQUIRES: the encoding has words.
Timeline TimelineOf(const Stimulator& stimulator, const Encoding& encoding, const Host& host,
                    std::int64_t startMsec = 0);

// The first whole millisecond at or after the end of a train that starts at startMsec and has this duration.
std::int64_t NextMsec(std::int64_t startMsec, double trainMsec);

}  // namespace preview
