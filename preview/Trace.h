#pragma once

#include <cstddef>
#include <vector>

#include "Playback.h"
#include "StimPattern.h"

// Which word belongs to which phase, and what the writer of the words did to each phase.
namespace preview {

// The phases that a word belongs to, by their indices. The word of a shared step belongs to several. Those after the
// first word that was not written from the phases belong to none: -1.
struct WordPhases
{
    int first;
    int last;
};

// A step that phases share (a junction word), or that the last phase does not fill (a tail word).
struct SharedStep
{
    std::size_t word = 0;        // index in the word array; 0 when there is none
    unsigned int splitUsec = 0;  // meant, whole microseconds; the bits of the word may not hold it
    double changeUsec = 0;       // when its current really begins or ends, within the cycle
    double cutUsec = 0;          // the part of a microsecond by which the split point meant is too early
    double errorUsec = 0;        // by how much the change is later than at the split point meant
    double lengthenedUsec = 0;   // how much longer than its step the word lasts
};

// Where the words play a phase of the list that they were written from. Times are those that are played, not those that
// were meant.
struct TracedPhase
{
    double startUsec = 0;   // within the cycle as played,
    bool lost = false;      // or where the next phase starts: it has no length and no word
    int ampSteps = 0;       // its amplitude in the words
    SharedStep junction;    // with the phases before it
    SharedStep tail;        // of the last phase
    double gainedUsec = 0;  // longer by a count that was rounded up, or shorter by a dropped leftover
    double takenUsec = 0;   // time of the phases before it that is played at its current
    double paddedUsec = 0;  // what the tail word adds to the cycle
};

struct Trace
{
    std::vector<TracedPhase> phases;
    std::vector<WordPhases> words;  // of the words 1 to the last; word 0 has no phases
    double endUsec = 0;             // when the last phase ends, without what a tail word of no current adds
    double periodUsec = 0;
    bool foreign = false;  // the words are not those that the writer makes of the phases, or do not play them
};

// Runs the writer over the phases of the pattern once more, with a sink that records, and plays back the given words: a
// word array of the pattern, word 0 first. Uses the memory of trace.
void TraceWords(const StimPattern& pattern, const playback::Scale& scale,
                const std::vector<unsigned int>& words, Trace& trace);

}  // namespace preview
