#include "Trace.h"

#include <algorithm>

#include "CommandWord.h"
#include "CommandWriter.h"

namespace preview {
namespace {

using namespace TarvUtil::Internal;

// Runs the writer, and is the sink of its words: plays each back as the array has it.
class Tracer
{
 public:
    Tracer(const StimPattern& pattern, const playback::Scale& scale, const std::vector<unsigned int>& words,
           Trace& trace)
        : m_pattern(pattern),
          m_scale(scale),
          m_words(words),
          m_trace(trace),
          m_writer(static_cast<float>(scale.timeStepUsec), static_cast<float>(scale.ampStepUa), *this)
    {}
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

    void Run()
    {
        const int count = m_pattern.PhaseCount();
        for (int i = 0; i < count && !m_trace.foreign; ++i) TracePhase(i, i + 1 == count);
        if (m_next != m_words.size()) m_trace.foreign = true;
        m_trace.words.resize(m_words.size() - 1, {-1, -1});
        m_trace.periodUsec = PlayedUsec();
        PlaceLost();
    }

    // For the writer: the next word of the phase that is traced.
    bool Put(const CommandWord& word, WordRole role)
    {
        const double start = PlayedUsec();
        const playback::Word played = PlayWord(word);
        if (role == WordRole::Junction) {
            m_traced->junction = Shared(word, played, start);
            m_traced->startUsec = m_traced->junction.changeUsec;
        } else if (role == WordRole::Tail) {
            m_traced->tail = Shared(word, played, start);
            m_traced->paddedUsec = m_scale.timeStepUsec - CarriedUsec();
            return true;
        }
        m_endOfSteps = PlayedUsec();
        return true;
    }

 private:
    double PlayedUsec() const { return m_steps * m_scale.timeStepUsec; }
    double CarriedUsec() const { return static_cast<double>(m_writer.State().carriedUsec); }

    void TracePhase(int i, bool last)
    {
        const phase& p = *m_pattern.Phase(i);
        const double start = PlayedUsec();
        const double carried = CarriedUsec();
        const std::size_t firstWord = m_next;
        TracedPhase& traced = m_trace.phases.emplace_back();
        m_traced = &traced;
        traced.ampSteps = AmpStepsOf(p);
        traced.startUsec = start;
        m_endOfSteps = start;
        m_phase = i;
        if (!(carried > 0)) m_stepOwner = i;
        if (!m_writer.Write(p, i == 0, last)) m_trace.foreign = true;
        traced.gainedUsec = m_endOfSteps - start + CarriedUsec() - carried - traced.junction.lengthenedUsec -
                            static_cast<double>(p.len);
        const bool hasWords = m_next != firstWord;
        if (carried > 0 && traced.junction.word == 0) {
            traced.lost = !(p.len > 0) && !hasWords;
            traced.takenUsec = traced.lost ? 0 : carried;
        }
        m_trace.endUsec =
            traced.tail.word != 0 && traced.ampSteps != 0 ? traced.tail.changeUsec : PlayedUsec();
    }

    int AmpStepsOf(const phase& p) const
    {
        constexpr int Most = static_cast<int>(StimAtom::MaxAmpSteps);
        return std::clamp(ToInt(AmplitudeSteps(p.amp, static_cast<float>(m_scale.ampStepUa))), -Most, Most);
    }

    // The next word of the array, which must be the one that the writer puts. The in-pulse flag does not affect the current, and
    // without currents in all phases the low half is empty.
    playback::Word PlayWord(const CommandWord& word)
    {
        constexpr unsigned int LowHalf = 0xFFFFU;
        const unsigned int written = PackWord(word);
        const unsigned int taken = m_next < m_words.size() ? m_words[m_next] : 0;
        if (taken != written && !(word.ampSteps == 0 && taken == (written & ~LowHalf)))
            m_trace.foreign = true;
        ++m_next;
        WordPhases& phases = m_trace.words.emplace_back();
        phases.first = m_stepOwner;
        phases.last = m_stepOwner = m_phase;
        const playback::Word played = playback::Unpack(taken);
        m_steps += played.timeSteps;
        return played;
    }

    // The word played last, of a step that holds a current before the carried time is over, or after it.
    SharedStep Shared(const CommandWord& meant, const playback::Word& played, double start) const
    {
        SharedStep step;
        step.word = m_next - 1;
        step.splitUsec = meant.splitUsec;
        step.lengthenedUsec = (played.timeSteps - 1.0) * m_scale.timeStepUsec;
        step.changeUsec = start + CarriedUsec();
        if (meant.ampSteps == 0) return step;
        const bool untilEnd = !meant.ampAfterSplit && played.ampAfterSplit;
        step.changeUsec = untilEnd ? PlayedUsec() : std::min(start + played.splitUsec, PlayedUsec());
        step.cutUsec = CarriedUsec() - meant.splitUsec;
        step.errorUsec = step.changeUsec - start - meant.splitUsec;
        return step;
    }

    // A lost phase has no length; it starts where the next one does.
    void PlaceLost()
    {
        double next = m_trace.endUsec;
        for (auto traced = m_trace.phases.rbegin(); traced != m_trace.phases.rend(); ++traced) {
            if (traced->lost) traced->startUsec = next;
            next = traced->startUsec;
        }
    }

    const StimPattern& m_pattern;
    const playback::Scale& m_scale;
    const std::vector<unsigned int>& m_words;
    Trace& m_trace;
    CommandWriter<Tracer> m_writer;
    std::size_t m_next = 1;
    double m_steps = 0;               // time steps that the words played so far last
    TracedPhase* m_traced = nullptr;  // the phase that is traced
    int m_phase = 0;                  // its index
    double m_endOfSteps = 0;          // when its steps end, without its tail word
    int m_stepOwner = 0;              // the phase that began the step which is not finished
};

}  // namespace

void TraceWords(const StimPattern& pattern, const playback::Scale& scale,
                const std::vector<unsigned int>& words, Trace& trace)
{
    trace.phases.clear();
    trace.words.clear();
    trace.foreign = false;
    Tracer(pattern, scale, words, trace).Run();
    // The writer that traces is the one that wrote: what it wrote is checked by what it plays.
    if (!playback::PlaysPhases(words, pattern.Phases(), scale)) trace.foreign = true;
}

}  // namespace preview
