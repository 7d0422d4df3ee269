#pragma once

#include "TarvUtilExport.h"

// One command of the stimulator in memory, and its packing into the 32-bit word that the stimulator executes.
// A plain value; distinct objects may be used by distinct threads.
//
// The word outputs its amplitude for its duration. Time is counted in time steps, current in amplitude steps
// of the pattern that the word belongs to:
//
//      31                    16  15   14   13   12       8   7   6             0
//     +------------------------+----+----+----+------------+---+----------------+
//     |  duration, time steps  | IP | 14 | AS | split (us) | + | magnitude 0..100 |
//     +------------------------+----+----+----+------------+---+----------------+
//
//     IP  in-pulse flag: clear in a leading delay and a trailing pause
//     14  flag 14: clear in every stimulation word, set in the debug words
//     AS  the amplitude lies after the split point
//     +   polarity: 1 positive, 0 zero or negative
//
// The word of a time step that two phases share has duration 1 and a split point s:
//
//     AS set    |___s___|#######|     zero for the first s microseconds, then the amplitude
//     AS clear  |###s###|_______|     the amplitude for the first s microseconds, then zero
//
//     StimAtom()                                   -> 0x0001C000
//     StimAtom(5, 3, true, 0, true, false)         -> 0x0003A085
//     StimAtom(-150, 3, true, 0, true, false)      -> 0x0003A064   (magnitude limited to 100)
//     StimAtom(12, 1, false, 20, true, false)      -> 0x0001948C
class TARVUTIL_EXPORT StimAtom
{
 public:
    // The largest number of amplitude steps of a word: the output range of the stimulator.
    static constexpr unsigned int MaxAmpSteps = 100;

    // Amplitude 0 for one time step, in-pulse flag and flag 14 set.
    StimAtom();
    // The six fields in the order of the members below; nothing is checked or limited.
    StimAtom(int amp, unsigned int timeSteps, bool ampAfterSplit, unsigned int splitUsec, bool inPulse,
             bool flag14);

    // Returns every field to its value after StimAtom().
    void Reset();

    // Packs the fields into *word and returns true; returns false and writes nothing when word is null. Only
    // the low 16 bits of the duration reach the word, and the magnitude is limited to MaxAmpSteps. The split
    // point is not masked: a value of 32 or more changes bit 13 and above, a value of 256 or more the
    // duration.
    bool WriteCmd(unsigned int* word) const;

    int m_amp;                 // signed amplitude steps; the sign is the polarity
    unsigned int m_timeSteps;  // duration in time steps
    bool m_ampAfterSplit;      // the amplitude lies after the split point of the first time step
    unsigned int m_splitUsec;  // split point, whole microseconds from the start of the first time step
    bool m_inPulse;            // in-pulse flag
    bool m_flag14;             // flag 14
};
