#pragma once

#include <cstddef>
#include <vector>

#include "Playback.h"
#include "StimPattern.h"

// A step that two phases share (a junction word), or that the last phase does not fill (a tail word).
struct SharedStep
{
    static constexpr unsigned int MaxSplitUsec = 31;  // the split point has five bits

    std::size_t word = 0;        // index in the word array; 0 when there is none
    unsigned int splitUsec = 0;  // meant, whole microseconds; above MaxSplitUsec the word shows another
    double changeUsec = 0;       // when its current really begins or ends, within the cycle
    double cutUsec = 0;          // the part of a microsecond by which the split point meant is too early
    double errorUsec = 0;        // by how much the change is later than at the split point meant
    double lengthenedUsec = 0;   // how much longer than its step the word lasts
};

// Where the words put a phase of the list that they were written from.
struct Placement
{
    double startUsec = 0;   // within the cycle as played,
    bool lost = false;      // or where the next phase starts: it has no length and no word
    int ampSteps = 0;       // what the words hold of its amplitude
    SharedStep junction;    // with the phase before
    SharedStep tail;        // of the last phase
    double gainedUsec = 0;  // what it got longer by a count rounded up, or shorter by a leftover dropped
    double takenUsec = 0;   // time of the phases before it that is played at its current
    double paddedUsec = 0;  // what the tail word adds to the cycle
};

// Goes along a list of phases and the words written from it, phase by phase: a phase shares the step that the
// ones before it have begun, fills whole steps, and carries the rest into the next. So each word is known to
// belong to its phases, and with it what the writer dropped, rounded or had no bits for. Times are those that
// the words play, not those that they were to say.
class WordReplay
{
 public:
    // The scale of words, a word array with word 0 first. Without words (null) it follows those that would be
    // written. words must live as long.
    WordReplay(const playback::Scale& scale, const std::vector<unsigned int>* words);

    // Takes the next phase. False when the phase is too short for the step that it shares, or when the words
    // are not those of the list.
    bool Take(const phase& p, bool last, Placement& at);

    double CarriedUsec() const { return static_cast<double>(m_carried); }  // into the next phase
    double PlayedUsec() const { return m_steps * m_scale.timeStepUsec; }   // by the words taken so far
    bool AllWordsTaken() const { return m_words == nullptr || m_next == m_words->size(); }

 private:
    bool JunctionDue(bool active, float time) const;
    bool TakeJunction(const phase& p, int ampSteps, bool active, float& time, Placement& at);
    bool TakeSteps(float time, int ampSteps, bool active);
    bool TakeShared(int ampSteps, bool currentFirst, SharedStep& step);
    bool TakeWord(int ampSteps, unsigned int timeSteps, bool ampAfterSplit, unsigned int splitUsec);

    const playback::Scale m_scale;
    const float m_timeStep;
    const float m_ampStep;
    const std::vector<unsigned int>* const m_words;
    std::size_t m_next = 1;
    playback::Word m_word{};       // the one taken last
    double m_steps = 0;            // time steps that the words taken so far last
    float m_carried = 0;           // microseconds of a step that is not finished
    bool m_carriedActive = false;  // some of them belong to a phase that carries current
    int m_lastSteps = 0;           // the amplitude that they are held at
};
