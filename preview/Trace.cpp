#include "Trace.h"

#include <algorithm>

#include "CommandWord.h"
#include "CommandWriter.h"

namespace preview {
namespace {

using namespace TarvUtil::Internal;

// Keeps the words of one phase, each with what it is for.
class RecordingSink
{
 public:
    struct Record
    {
        CommandWord word;
        WordRole role;
    };

    bool Put(const CommandWord& word, WordRole role)
    {
        m_records.push_back({word, role});
        return true;
    }

    const std::vector<Record>& Records() const { return m_records; }
    void Clear() { m_records.clear(); }

 private:
    std::vector<Record> m_records;
};

class Tracer
{
 public:
    Tracer(const StimPattern& pattern, const playback::Scale& scale, const std::vector<unsigned int>& words,
           Trace& trace)
        : m_pattern(pattern),
          m_scale(scale),
          m_words(words),
          m_trace(trace),
          m_writer(static_cast<float>(scale.timeStepUsec), static_cast<float>(scale.ampStepUa), m_sink)
    {}

    void Run()
    {
        const int count = m_pattern.PhaseCount();
        for (int i = 0; i < count && !m_trace.foreign; ++i) {
            m_sink.Clear();
            TakePhase(i, i + 1 == count);
        }
        if (m_next != m_words.size()) m_trace.foreign = true;
        m_trace.periodUsec = PlayedUsec();
        PlaceLost();
    }

 private:
    double PlayedUsec() const { return m_steps * m_scale.timeStepUsec; }
    double CarriedUsec() const { return static_cast<double>(m_writer.State().carriedUsec); }

    void TakePhase(int i, bool last)
    {
        const phase& p = *m_pattern.Phase(i);
        TracedPhase traced;
        traced.ampSteps = AmpStepsOf(p);
        const double start = PlayedUsec();
        const double carried = CarriedUsec();
        traced.startUsec = start;
        if (!m_writer.Write(p, i == 0, last)) {
            m_trace.foreign = true;
            return;
        }
        double whole = start;  // played without the tail word
        bool first = true;
        for (const RecordingSink::Record& record : m_sink.Records()) {
            const double wordStart = PlayedUsec();
            TakeWord(record, first && carried > 0 ? m_carriedFrom : i, i);
            first = false;
            if (record.role == WordRole::Junction) {
                traced.junction = Shared(record.word, wordStart, carried);
                traced.startUsec = traced.junction.changeUsec;
            } else if (record.role == WordRole::Tail) {
                traced.tail = Shared(record.word, wordStart, CarriedUsec());
                traced.paddedUsec = m_scale.timeStepUsec - CarriedUsec();
                continue;
            }
            whole = PlayedUsec();
        }
        traced.gainedUsec = whole - start + CarriedUsec() - carried - traced.junction.lengthenedUsec -
                            static_cast<double>(p.len);
        if (carried > 0 && traced.junction.word == 0) {
            traced.lost = !(p.len > 0) && m_sink.Records().empty();
            traced.takenUsec = traced.lost ? 0 : carried;
        }
        if (!m_sink.Records().empty() || !(carried > 0)) m_carriedFrom = i;
        m_trace.endUsec =
            traced.tail.word != 0 && traced.ampSteps != 0 ? traced.tail.changeUsec : PlayedUsec();
        m_trace.phases.push_back(traced);
    }

    int AmpStepsOf(const phase& p) const
    {
        constexpr int Most = static_cast<int>(StimAtom::MaxAmpSteps);
        return std::clamp(ToInt(AmplitudeSteps(p.amp, static_cast<float>(m_scale.ampStepUa))), -Most, Most);
    }

    // The next word of the array must be the one that was recorded. The in-pulse flag says nothing about the current,
    // and where the phases carry none the low half is empty.
    void TakeWord(const RecordingSink::Record& record, int firstPhase, int lastPhase)
    {
        constexpr unsigned int LowHalf = 0xFFFFU;
        const unsigned int written = PackWord(record.word);
        const unsigned int taken = m_next < m_words.size() ? m_words[m_next] : 0;
        if (taken != written && !(record.word.ampSteps == 0 && taken == (written & ~LowHalf)))
            m_trace.foreign = true;
        ++m_next;
        m_played = playback::Unpack(taken);
        m_steps += m_played.timeSteps;
        m_trace.words.push_back({firstPhase, lastPhase});
    }

    // The word taken last, of a step that holds a current before the carried time is over, or after it.
    SharedStep Shared(const CommandWord& meant, double start, double carriedUsec) const
    {
        SharedStep step;
        step.word = m_next - 1;
        step.splitUsec = meant.splitUsec;
        step.lengthenedUsec = (m_played.timeSteps - 1.0) * m_scale.timeStepUsec;
        step.changeUsec = start + carriedUsec;
        if (meant.ampSteps == 0) return step;
        const bool untilEnd = !meant.ampAfterSplit && m_played.ampAfterSplit;
        step.changeUsec = untilEnd ? PlayedUsec() : std::min(start + m_played.splitUsec, PlayedUsec());
        step.cutUsec = carriedUsec - meant.splitUsec;
        step.errorUsec = step.changeUsec - start - meant.splitUsec;
        return step;
    }

    // A lost phase has neither length nor place: it starts where the next one does.
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
    RecordingSink m_sink;
    CommandWriter<RecordingSink> m_writer;
    std::size_t m_next = 1;
    playback::Word m_played{};  // the word taken last
    double m_steps = 0;         // time steps that the words taken so far last
    int m_carriedFrom = 0;      // the phase that began the step which is not finished
};

}  // namespace

void TraceWords(const StimPattern& pattern, const playback::Scale& scale,
                const std::vector<unsigned int>& words, Trace& trace)
{
    trace.phases.clear();
    trace.words.clear();
    trace.foreign = false;
    Tracer(pattern, scale, words, trace).Run();
}

}  // namespace preview
