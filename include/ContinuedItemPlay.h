#pragma once

#include <cstdint>

#include "StimPattern.h"
#include "TarvUtilExport.h"

// A pattern and the channel that plays it: the part of a host's pattern item that a continued play reads. A host
// may derive its own item from it; a record made from that item copies these two members only.
struct StimItem
{
    int channel;                // the stimulator channel
    StimPattern** patternSlot;  // where the host keeps the pattern; either pointer may be null
};

// The record of a play that is longer than one command. Word 0 of a word array counts at most 4095 cycles. This
// record stores how many cycles are left and when the next block of up to 4095 is due, and writes the words of
// that block:
//
//     start = 1st due time          2nd due time                  3rd due time
//       |-----------------------------|-----------------------------|----------> time
//       |<------- 4095 periods ------>|<------- 4095 periods ------>|
//       the host's own block          |
//         first continuation,           second continuation,
//         from 3 ms after on            from 3 ms after on
//
// A host keeps such records ordered by due time (operator<), polls ReadyToContinue with its clock in
// milliseconds, and sends what ContinueCmds writes. Example: 10 000 cycles of 100 ms, started at time 0 with
// 4095 cycles sent: 5905 are left; ContinueCmds(3, buf) commands 4095 and is next due at 409 500, then
// ContinueCmds(409 503, buf) commands the last 1810.
//
// The record keeps times in 64 bits, but the clock is a long, which has 32 bits on Windows. There a due time beyond
// 2^31 - 1 ms (24.8 days) is never reached: count the milliseconds since the program or the play started, not since
// a date. A play that lasts longer is not completed there.
//
// The record does not own the pattern or the slot: the slot must outlive the record. Record and pattern must
// be used by one thread at a time.
class TARVUTIL_EXPORT ContinuedItemPlay
{
 public:
    // A play of the item's pattern. It started at nowMsec, and cyclesStarted cycles are already commanded. The
    // cycles left are CycleCount() - cyclesStarted (limited to the range of int), the largest int for a
    // continuous pattern, and 0 without a pattern.
    ContinuedItemPlay(StimItem item, int cyclesStarted, long nowMsec);
    ContinuedItemPlay(const ContinuedItemPlay& other);             // all five members
    ContinuedItemPlay& operator=(const ContinuedItemPlay& other);  // all five members

    // The same play: equal channel, slot (as a pointer) and start time. Cycles left and due time are not
    // compared.
    bool operator==(const ContinuedItemPlay& other) const;
    // Earlier due time first; at equal due times, fewer cycles left first.
    bool operator<(const ContinuedItemPlay& other) const;

    // Cycles still to be commanded; below 1 the play is finished.
    int RemCycles() const;
    // The stimulator channel.
    int Channel() const;
    // The pattern in the slot, or null when the slot is null or empty.
    StimPattern* Pattern() const;

    // True from 3 ms after the due time on: false at due + 2, true at due + 3.
    bool ReadyToContinue(long nowMsec) const;
    // The duration of a block of 4095 cycles in milliseconds; 0 without a pattern.
    float ContinuePeriodMsec() const;

    // Writes the words of the next block to buf, word 0 with its cycles first. Moves the due time by one block
    // (cut to whole milliseconds, limited to the range of 64 bits) and subtracts the cycles of the block from
    // those left; the cycles of a continuous pattern stay the same.
    // Returns the number of 32-bit words written, in host byte order. Returns -1 and changes neither record nor
    // buffer when buf is null, nothing is left, the block is not yet due, the pattern is missing, or the pattern's
    // word array cannot be brought up to date. REQUIRES: room for the whole word array (at most the pattern's
    // command budget, and StimPattern::MaxWords); buf may have any alignment. Allocates nothing, unless the
    // AdjustPhases of a host's pattern does.
    int ContinueCmds(long nowMsec, unsigned char* buf);

    int m_channel;                // the item's channel
    StimPattern** m_patternSlot;  // the item's slot, not owned
    int m_remCycles;              // cycles still to be commanded; the largest int for a continuous pattern
    std::int64_t m_startMsec;     // when the play started, ms
    std::int64_t m_nextMsec;      // when the next block is due, ms; starts equal to m_startMsec
};
