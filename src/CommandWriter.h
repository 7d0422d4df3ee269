#pragma once

#include <cmath>

#include "Assert.h"
#include "CommandWord.h"
#include "Numbers.h"
#include "StimPattern.h"
#include "TimeSteps.h"

// The writer's walk: cuts the phases of one cycle into time steps and puts the command words of the steps into a sink.
//
// The stimulator plays one word after the other, each for its whole number of steps. A word without a split point is
// one current for all of them. The word of a step that two phases share, the junction word, has a split point where
// the second phase starts: the current is before it (amplitude-after-split clear) or after it (set), and the other
// part is 0. The tail word is the step that the last phase begins and no phase finishes: the current until its split
// point, then 0 until the next cycle.
//
// Where this walk differs from the two others:
//   - A junction takes a word only with carried time; the whole steps of a phase are one word for each 65535.
//   - It refuses a phase, active or not, that does not reach floor(T) together with the carried time. Validation
//     accepts such a pause.
//   - Where the rounding of a leftover differs from that of validation, an active phase can meet carried time that
//     validation did not expect. The phase then plays that time at its own current, without a junction word.
//
// Thresholds, checked with the stimulators in the field:
//   IgnoreUsec       a shorter leftover is dropped, a shorter part of a phase after a junction counts as used up,
//                    because split points are whole microseconds
//   IgnoreFrac       see CutIntoSteps
//   floor(T)         the lengths of texts are whole microseconds: 33 us fill a step of 33.33 us
//   MaxStepsPerWord  the width of the duration
namespace TarvUtil::Internal {

// Which part of a phase a word is for.
enum class WordRole
{
    Junction,  // the shared step in which it starts
    Whole,     // its further whole steps; more than one such word from 65536 steps on
    Tail,      // the step that the last phase leaves unfinished
};

// The state of the walk between two phases.
struct WriterState
{
    float carriedUsec = 0;  // of a step that earlier phases began and did not finish; 0 or above IgnoreUsec
    bool active = false;    // the step began with a current
    int lastSteps = 0;      // amplitude, whole steps, of the latest phase with time outside a junction

    bool operator==(const WriterState& other) const
    {
        return carriedUsec == other.carriedUsec && active == other.active && lastSteps == other.lastSteps;
    }
};

// Takes one phase at a time. The sink has "bool Put(const CommandWord& word, WordRole role)", which returns false
// when it is full, and must outlive the writer. REQUIRES: a time step that is TimeStepUsable.
template <typename Sink>
class CommandWriter
{
 public:
    CommandWriter(float timeStepUsec, float ampStepUa, Sink& sink)
        : m_timeStep(timeStepUsec),
          m_timeStepFloor(std::floor(timeStepUsec)),
          m_ampStep(ampStepUa),
          m_sink(sink)
    {}

    // Puts the words of p, whose length is not negative; first and last: p is the first or last of the list. False when
    // p is too short to finish the step that it shares (the state is then that before p), or when the sink is full.
    bool Write(const phase& p, bool first, bool last)
    {
        const float steps = AmplitudeSteps(p.amp, m_ampStep);
        const Amplitude amp{ToInt(steps), steps != 0, steps != 0 || !(first || last)};
        float time = m_state.carriedUsec + p.len;
        if (m_state.carriedUsec > 0 && time < m_timeStepFloor) return false;
        if (JunctionDue(amp, time)) {
            if (!PutJunction(amp)) return false;
            time = FinishJunction(p, amp);
        } else if (p.len > 0) {
            m_state.lastSteps = amp.steps;
        }
        return PutSteps(time, amp) && (!last || PutTail(amp));
    }

    const WriterState& State() const { return m_state; }

 private:
    struct Amplitude
    {
        int steps;
        bool active;   // not 0, even if it has no whole step
        bool inPulse;  // clear in the leading delay and the trailing pause
    };

    bool JunctionDue(const Amplitude& amp, float time) const
    {
        if (!(m_state.carriedUsec > 0)) return false;
        if (!amp.active) return true;
        return m_state.lastSteps == 0 && !m_state.active && !EndsInsideStep(time, m_timeStep);
    }

    // The step starts with the carried time; either that or the start of this phase has no current.
    bool PutJunction(const Amplitude& amp)
    {
        const bool carriedCurrent = m_state.lastSteps != 0;
        return m_sink.Put(
            {carriedCurrent ? m_state.lastSteps : amp.steps, 1, !carriedCurrent, SplitUsec(), true, false},
            WordRole::Junction);
    }

    // Returns the time of the phase that is left after the junction.
    float FinishJunction(const phase& p, const Amplitude& amp)
    {
        const float rest = RestAfterJunction(p.len, m_state.carriedUsec, m_timeStep);
        if (rest < StimPattern::IgnoreUsec) {
            m_state.active = false;
            return 0;
        }
        m_state.lastSteps = amp.steps;
        m_state.active = amp.active;
        return rest;
    }

    bool PutSteps(float time, const Amplitude& amp)
    {
        const StepCut cut = CutIntoSteps(time, m_timeStep);
        const bool carries = IsCarried(cut);
        m_state.carriedUsec = carries ? cut.rest : 0;
        if (cut.count == 0) {
            if (carries && amp.active) m_state.active = true;
            return true;
        }
        m_state.active = carries && amp.active;
        int count = cut.count;
        for (; count > MaxStepsPerWord; count -= MaxStepsPerWord)
            if (!PutWhole(MaxStepsPerWord, amp)) return false;
        return PutWhole(count, amp);
    }

    bool PutWhole(int count, const Amplitude& amp)
    {
        TARVUTIL_ASSERT(count >= 1 && count <= MaxStepsPerWord);
        return m_sink.Put({amp.steps, static_cast<unsigned int>(count), amp.active, 0, amp.inPulse, false},
                          WordRole::Whole);
    }

    bool PutTail(const Amplitude& amp)
    {
        return !(m_state.carriedUsec > 0) ||
               m_sink.Put({amp.steps, 1, false, SplitUsec(), amp.active, false}, WordRole::Tail);
    }

    unsigned int SplitUsec() const { return static_cast<unsigned int>(ToInt(m_state.carriedUsec)); }

    float m_timeStep;
    float m_timeStepFloor;
    float m_ampStep;
    Sink& m_sink;
    WriterState m_state;
};

// The sink of the library: packs the words into a buffer. It applies the limit of the buffer, and decides whether bits 0
// to 15 of every word come from the phases or are a fixed value.
class CommandSink
{
 public:
    CommandSink(unsigned int* words, int maxWords) : m_words(words), m_maxWords(maxWords) {}

    void FixLowHalf(unsigned short value)
    {
        m_keep = 0xFFFF0000U;
        m_lowHalf = value;
    }

    // False, and nothing written, when the buffer is full.
    bool Put(const CommandWord& word, WordRole /*role*/)
    {
        if (m_count >= m_maxWords) return false;
        const unsigned int packed = PackWord(word);
        TARVUTIL_ASSERT(PackWord(UnpackWord(packed)) == packed);
        m_words[m_count++] = (packed & m_keep) | m_lowHalf;
        TARVUTIL_ASSERT(m_count <= m_maxWords);
        return true;
    }

    int Count() const { return m_count; }

 private:
    unsigned int* m_words;
    int m_maxWords;
    int m_count = 0;
    unsigned int m_keep = 0xFFFFFFFFU;
    unsigned int m_lowHalf = 0;
};

}  // namespace TarvUtil::Internal
