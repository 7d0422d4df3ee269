#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "StimPattern.h"

// Command words turned back into current over time, as the stimulator plays them. The only place that knows how a word
// is played. Not a part of libTarvUtil.
//
// A word array is word 0, the number of cycles in bits 0 to 11, and then the words of one cycle. The
// stimulator plays the words of the cycle one after the other, cycle after cycle. A word lasts for its
// duration, in whole time steps. With T the time step, d the duration, a the amplitude and s the split point:
//
//     amplitude after split set              amplitude after split clear
//
//     a        ________________              a   ______
//     0 ______|                |             0  |      |________________
//       |<-s->|                |                |<-s-->|                |
//       |<------- d x T ------>|                |<------- d x T ------->|
//
// With split point 0 the left form is the amplitude for the whole duration and the right one a pause. A split
// point beyond the duration ends with it. A word of amplitude 0 is a pause, whatever its split point.
//
// The split point has five bits. The writer of the words does not mask it. A split point of 32 to 63 us sets the
// amplitude-after-split flag, and the split point is shorter by 32 us. So the step has its current at the wrong side.
// From 64 us on it sets flag 14, from 128 us on the in-pulse flag, from 512 us on it makes the duration longer. Such a
// word is played as its bits are; the split point that was meant is lost.
//
// With a command override the low half of every word is the override value. It is played in the same way.
//
// Times and charges are double, so that sums over a cycle add no rounding to that of the words.
namespace playback {

// The units of the stimulator that the words are for.
struct Scale
{
    double timeStepUsec;
    double ampStepUa;
};

// The fields of one stimulation word.
struct Word
{
    unsigned int timeSteps;  // duration
    int ampSteps;            // signed amplitude
    bool ampAfterSplit;
    unsigned int splitUsec;
    bool inPulse;
    bool flag14;
};

// The kind of a word of an array.
enum class Kind
{
    Cycles,   // word 0
    Current,  // one current for its whole duration
    Pause,    // no current for its whole duration
    Split,    // current for a part of its duration
};

// A stretch of constant current within one cycle.
struct Segment
{
    double startUsec;
    double durationUsec;
    double currentUa;
    Kind kind;         // Current or Pause; a split word gives one of each
    std::size_t word;  // the index in the array of the word that it belongs to
};

// The charge of one cycle, nanocoulombs: of the positive and of the negative current (which is 0 or below).
struct Charge
{
    double positiveNc = 0;
    double negativeNc = 0;

    double NetNc() const { return positiveNc + negativeNc; }
};

Word Unpack(unsigned int word);
Kind KindOf(const Word& word);
const char* NameOf(Kind kind);  // "cycles", "current", "pause", "split"

// True when word is a word 0: bits 12 to 31 clear. A stimulation word is not, because it lasts at least one step.
bool IsCycleWord(unsigned int word);
int CyclesOf(unsigned int word0);

// Empty when the words can be a word array; otherwise the fault and its word.
std::string Refusal(const std::vector<unsigned int>& words);

// Words that no word array of that scale has, a sentence each for the first MaxRemarks: a magnitude above 100, no cycles,
// a split point beyond the time step or in a word of several steps, a sign without a current, a current without a
// duration, flag 14. REQUIRES: words that Refusal accepts.
constexpr std::size_t MaxRemarks = 5;
std::vector<std::string> Remarks(const std::vector<unsigned int>& words, const Scale& scale);

// One cycle of a word array, in order and without gaps; nothing for stretches of no length. Words that last 0
// steps play nothing.
std::vector<Segment> Segments(const std::vector<unsigned int>& words, const Scale& scale);

// Neighbours of equal current joined into one.
std::vector<Segment> Joined(const std::vector<Segment>& segments);

// Whether a word array, word 0 first, plays this list: each current lies where a phase has it, each phase of some time
// steps has its current, and together they last as long as the phases; give or take a time step, and what the counts of
// the phases before are rounded by. From 512 us on a word can last longer than was meant: there it is true of any words.
// For checks of the writer.
bool PlaysPhases(const std::vector<unsigned int>& words, const std::vector<phase>& phases,
                 const Scale& scale);

double PeriodUsec(const std::vector<unsigned int>& words, const Scale& scale);
// Of one cycle, without an allocation.
Charge ChargeOf(const std::vector<unsigned int>& words, const Scale& scale);

}  // namespace playback
