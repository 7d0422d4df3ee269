#include "Advice.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "CommandWriter.h"
#include "Sentences.h"
#include "Units.h"
#include "WordCounter.h"

namespace preview {
namespace {

using namespace TarvUtil::Internal;

// A sink that drops the words: only the fit of the list is needed.
struct NoSink
{
    bool Put(const CommandWord& /*word*/, WordRole /*role*/) { return true; }
};

// One choice of where a phase ends, with the best choices before it.
struct Choice
{
    Choice(float timeStepUsec, float ampStepUa, NoSink& sink)
        : counter(timeStepUsec, ampStepUa), writer(timeStepUsec, ampStepUa, sink)
    {}

    double atUsec = 0;     // the end
    double movedUsec = 0;  // the sum of the magnitudes so far
    int previous = 0;      // index of the choice for the phase before
    phase played{};
    WordCounter counter;
    CommandWriter<NoSink> writer;
};

// The list nearest to a refused one that validation and the writer accept: the way through the choices of all ends of
// phases with the smallest sum of moves. A way with a larger sum so far could only win by a leftover of at most half a
// microsecond.
class NearestList
{
 public:
    NearestList(const Stimulator& stimulator, const std::vector<phase>& phases)
        : m_timeStep(stimulator.timeStepUsec), m_ampStep(stimulator.ampStepUa), m_phases(phases)
    {}

    std::vector<phase> Find()
    {
        if (m_phases.size() > StimPattern::MaxWords) return {};
        m_choices.emplace_back().emplace_back(m_timeStep, m_ampStep, m_sink);
        double end = 0;
        for (const phase& p : m_phases) {
            end += static_cast<double>(p.len);
            AddChoices(p, end);
        }
        return Best();
    }

 private:
    void AddChoices(const phase& p, double end)
    {
        const auto step = static_cast<double>(m_timeStep);
        const double before = std::floor(end / step);
        std::vector<Choice> choices;
        AddChoice(p, end, end, choices);
        for (int steps = -1; steps <= 2; ++steps) AddChoice(p, end, (before + steps) * step, choices);
        m_choices.push_back(std::move(choices));
    }

    // Adds the best way to end the phase at this time, if there is one.
    void AddChoice(const phase& p, double asked, double at, std::vector<Choice>& choices)
    {
        const bool last = m_choices.size() == m_phases.size();
        const std::vector<Choice>& before = m_choices.back();
        std::optional<Choice> best;
        for (std::size_t i = 0; i < before.size(); ++i) {
            const double moved = before[i].movedUsec + std::fabs(at - asked);
            const auto len = static_cast<float>(std::round(at - before[i].atUsec));
            if (len < 0 || (p.len > 0 && len < 1) || (best && moved >= best->movedUsec)) continue;
            Choice choice = before[i];
            choice.played = {len, p.amp};
            if (choice.counter.Count(choice.played, last) != Meeting::Fits ||
                !choice.writer.Write(choice.played, m_choices.size() == 1, last))
                continue;
            choice.atUsec = at;
            choice.movedUsec = moved;
            choice.previous = static_cast<int>(i);
            best.emplace(choice);
        }
        if (best) choices.push_back(*best);
    }

    std::vector<phase> Best() const
    {
        const std::vector<Choice>& ends = m_choices.back();
        if (ends.empty()) return {};
        const auto nearer = [](const Choice& a, const Choice& b) { return a.movedUsec < b.movedUsec; };
        const Choice* choice = &*std::min_element(ends.begin(), ends.end(), nearer);
        std::vector<phase> phases(m_phases.size());
        for (std::size_t i = phases.size(); i > 0; --i) {
            phases[i - 1] = choice->played;
            choice = &m_choices[i - 1][static_cast<std::size_t>(choice->previous)];
        }
        return phases;
    }

    const float m_timeStep;
    const float m_ampStep;
    const std::vector<phase>& m_phases;
    NoSink m_sink;
    std::vector<std::vector<Choice>> m_choices;
};

// Whole microseconds, as in a text; the last phase changes by what the others gain or lose.
std::vector<phase> InWholeUsec(std::vector<phase> phases)
{
    double asked = 0;
    double rounded = 0;
    for (phase& p : phases) {
        asked += static_cast<double>(p.len);
        if (&p == &phases.back()) p.len = static_cast<float>(std::max(asked - rounded, 0.0));
        p.len = std::round(p.len);
        rounded += static_cast<double>(p.len);
    }
    return phases;
}

// Tries a list in place of the refused one; false when it is refused, too.
bool Offer(const Report& refused, std::vector<phase> phases, Advice& advice)
{
    const Asked& asked = refused.encoding.asked;
    if (phases.size() != asked.phases.size()) return false;
    Report report(refused.stimulator);
    std::string text(asked.text, 0, asked.phaseField.begin);
    text += PhaseListText(phases);
    text.append(asked.text, asked.phaseField.begin + asked.phaseField.size, std::string::npos);
    ReportOn(text, {}, Reading::Lenient, report);
    if (!report.encoding.Encoded()) return false;
    double start = 0;
    for (std::size_t i = 0; i < phases.size(); ++i) {
        advice.movedUsec.push_back(report.deviations.phases[i].startUsec.played - start);
        start += asked.phases[i].lenUsec;
    }
    advice.movedUsec.push_back(report.deviations.periodUsec.played - start);
    advice.netChargeNc = report.deviations.playedNc.NetNc();
    for (const AskedPhase& p : asked.phases) advice.netChargeNc -= p.lenUsec * p.ampUa * NcPerUaUsec;
    advice.text = std::move(text);
    advice.phases = std::move(phases);
    return true;
}

// The reason of the refusal is one that other boundaries of phases can remove.
bool HasList(const Report& report)
{
    const std::optional<Refusal>& refusal = report.encoding.refusal;
    return refusal && !refusal->phases.empty() && refusal->reason != RefusalReason::NegativeLength;
}

bool IsOfBudget(const Refusal& refusal)
{
    return refusal.reason == RefusalReason::OverBudget || refusal.reason == RefusalReason::WordsOverBudget;
}

}  // namespace

bool StepRow::AsAsked() const
{
    return words != 0 && std::fabs(largestErrorUsec) < NotableUsec &&
           std::fabs(periodErrorUsec) < NotableUsec;
}

std::vector<StepRow> StepRows(const Report& report)
{
    std::vector<StepRow> rows;
    for (const float step : {1.0f, 2.0f, 4.0f, 5.0f, 8.0f, 10.0f, 16.0f, 20.0f, 25.0f, 32.0f, 33.333332f}) {
        Stimulator stimulator = report.stimulator;
        stimulator.timeStepUsec = step;
        Report played(stimulator);
        ReportOn(report.encoding.asked.text, {}, Reading::Lenient, played);
        StepRow& row = rows.emplace_back();
        row.timeStepUsec = step;
        if (!played.encoding.Encoded()) continue;
        row.words = played.encoding.words.size();
        row.largestErrorUsec = played.deviations.LargestErrorUsec();
        row.periodErrorUsec = played.deviations.periodUsec.Error();
        row.netChargeNc = played.deviations.playedNc.NetNc();
    }
    return rows;
}

Advice NearestOn(const Report& report)
{
    Advice advice;
    if (!HasList(report)) return advice;
    const Refusal& refusal = *report.encoding.refusal;
    if (IsOfBudget(refusal)) {
        const long long words = 1 + std::max<long long>(refusal.validationWords, refusal.writtenWords);
        if (words <= StimPattern::MaxWords) advice.budget = static_cast<int>(words);
    } else {
        advice.repair = refusal.repairFits && Offer(report, InWholeUsec(refusal.repaired), advice);
        if (!advice.repair) Offer(report, NearestList(report.stimulator, refusal.phases).Find(), advice);
    }
    return advice;
}

Advice AdviceOn(const Report& report)
{
    Advice advice = NearestOn(report);
    if (!HasList(report)) return advice;
    advice.steps = StepRows(report);
    const auto plays = [](const StepRow& row) { return row.words != 0; };
    if (std::none_of(advice.steps.begin(), advice.steps.end(), plays)) advice.steps.clear();
    return advice;
}

}  // namespace preview
