#pragma once

#include "StimAtom.h"

// The command word: its fields, their limits, and its packing into 32 bits. The only home of the format; StimAtom.h
// draws it.
namespace TarvUtil::Internal {

constexpr int MaxStepsPerWord = 65535;      // the duration has 16 bits
constexpr unsigned int MaxSplitUsec = 31;   // the split point has five bits
constexpr int MaxCyclesPerCommand = 4095;   // word 0 counts cycles in 12 bits
constexpr unsigned int CycleMask = 0xFFFU;  // those bits; the bits above are clear

// The fields of one stimulation word, in the order of StimAtom.
struct CommandWord
{
    int ampSteps;  // signed; the word has at most StimAtom::MaxAmpSteps of them
    unsigned int timeSteps;
    bool ampAfterSplit;
    unsigned int splitUsec;
    bool inPulse;
    bool flag14;
};

// The split point is not masked: one above MaxSplitUsec changes the fields above it. The stimulators in the field have
// always received such words.
inline unsigned int PackWord(const CommandWord& word)
{
    unsigned int magnitude = static_cast<unsigned int>(word.ampSteps);
    if (word.ampSteps < 0) magnitude = 0U - magnitude;
    if (magnitude > StimAtom::MaxAmpSteps) magnitude = StimAtom::MaxAmpSteps;
    return word.timeSteps << 16U | (word.inPulse ? 1U << 15U : 0U) | (word.flag14 ? 1U << 14U : 0U) |
           (word.ampAfterSplit ? 1U << 13U : 0U) | word.splitUsec << 8U |
           (word.ampSteps > 0 ? 1U << 7U : 0U) | magnitude;
}

// The fields as the bits are. A word of PackWord packs to itself again.
inline CommandWord UnpackWord(unsigned int word)
{
    const int magnitude = static_cast<int>(word & 0x7FU);
    return {(word >> 7U & 1U) != 0 ? magnitude : -magnitude,
            word >> 16U,
            (word >> 13U & 1U) != 0,
            word >> 8U & MaxSplitUsec,
            (word >> 15U & 1U) != 0,
            (word >> 14U & 1U) != 0};
}

// --- Word 0 of a word array ---

// No stimulation word passes: it lasts one step at least.
inline bool IsCycleWord(unsigned int word)
{
    return (word & ~CycleMask) == 0;
}

inline int CyclesOf(unsigned int word0)
{
    return static_cast<int>(word0 & CycleMask);
}

// word0 with this count of cycles, 0 to MaxCyclesPerCommand, in place of its own.
inline unsigned int ReplaceCycles(unsigned int word0, int cycles)
{
    return (word0 & ~CycleMask) + static_cast<unsigned int>(cycles);
}

}  // namespace TarvUtil::Internal
