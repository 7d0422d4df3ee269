#include "Deviations.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "CommandWord.h"
#include "TimeSteps.h"
#include "Units.h"

namespace preview {
namespace {

using namespace TarvUtil::Internal;

constexpr double NearlyOne = 1 - 1e-6;  // of an amplitude step, or of what is computed from floats
// Below this a difference is only the last digit of a time step such as 33.333332.
constexpr double NoiseUsec = 1e-3;

// A cause whose errors add up along the list.
class Drift
{
 public:
    void Add(std::size_t i, double usec)
    {
        if (std::fabs(usec) < NoiseUsec) return;
        if (m_phases++ == 0) m_first = static_cast<int>(i);
        m_total += usec;
        if (std::fabs(m_total) > std::fabs(m_largest)) m_largest = m_total;
    }

    void AddFinding(Cause cause, std::vector<Finding>& findings) const
    {
        if (m_phases != 0) findings.push_back({cause, m_first, m_phases, m_total, m_largest});
    }

 private:
    int m_first = -1;
    int m_phases = 0;
    double m_total = 0;
    double m_largest = 0;
};

AskedPlayed CyclesOf(const Encoding& encoding, double periodAskedUsec)
{
    const StimPattern& pattern = Base(encoding.pattern);
    return {encoding.asked.trainMsec * UsecPerMsec / periodAskedUsec,
            pattern.IsContinuous() ? Infinite : pattern.CycleCount()};
}

// Whether the two phases of a Lilly pattern that balances them carry the same charge, except for the effect of roundings
// and repairs.
bool Balances(const LillyPattern& lilly)
{
    constexpr float Tolerance = 1e-3f;  // of the charge
    const float first = lilly.PhaseAmp(LillyPattern::Phase1) * lilly.PhaseLen(LillyPattern::Phase1);
    const float second = lilly.PhaseAmp(LillyPattern::Phase2) * lilly.PhaseLen(LillyPattern::Phase2);
    return !lilly.BalanceEnabled() || std::fabs(first + second) <= Tolerance * std::fabs(first);
}

class Comparison
{
 public:
    Comparison(const Stimulator& stimulator, const Encoding& encoding, Deviations& result)
        : m_stimulator(stimulator),
          m_scale(stimulator.Scale()),
          m_encoding(encoding),
          m_pattern(Base(encoding.pattern)),
          m_result(result)
    {}

    void Compare()
    {
        CompareStages();
        ComparePlayed();
        CompareTotals();
        CompareBalance();
    }

    // REQUIRES: the periods are known.
    void CompareTrain()
    {
        const AskedPlayed& period = m_result.periodUsec;
        const AskedPlayed& cycles = m_result.cycles = CyclesOf(m_encoding, period.asked);
        m_result.trainMsec = {m_encoding.asked.trainMsec, std::isinf(cycles.played)
                                                              ? Infinite
                                                              : cycles.played * period.played / UsecPerMsec};
        // A train can be as asked though its cycles are not: a longer period makes up for a part of a cycle.
        // A list that lasts no time has no number of cycles: its train ends or does not.
        const double usec =
            period.asked > 0 ? cycles.Error() * period.asked : m_result.trainMsec.Error() * UsecPerMsec;
        if (std::fabs(usec) >= NotableUsec &&
            std::fabs(m_result.trainMsec.Error()) * UsecPerMsec >= NotableUsec)
            m_result.findings.push_back({Cause::CyclesRounded, -1, 1, usec, usec});
    }

 private:
    void CompareStages()
    {
        const float max = std::fabs(m_stimulator.AmpMaxUa());
        const std::vector<phase> read =
            ReadAsAsked() ? std::vector<phase>() : PhasesRead(m_stimulator, m_encoding);
        const std::vector<AskedPhase>& asked = m_encoding.asked.phases;
        Drift lengths;
        for (std::size_t i = 0; i < asked.size(); ++i) {
            PhaseDeviation& p = m_result.phases.emplace_back();
            p.asked = asked[i];
            const phase* held = m_pattern.Phase(static_cast<int>(i));
            if (held != nullptr) p.balanced = *held;
            p.read = i < read.size() ? read[i] : p.balanced;
            p.clamped = {p.read.len, ClampAmplitude(p.read.amp, max)};
            p.startUsec.asked = m_result.periodUsec.asked;
            m_result.periodUsec.asked += p.asked.lenUsec;
            AddCharge(m_result.askedNc, p.asked.lenUsec * p.asked.ampUa);
            lengths.Add(i, static_cast<double>(p.read.len) - p.asked.lenUsec);
            AddStages(i, p);
        }
        lengths.AddFinding(Cause::LengthRead, m_result.findings);
    }

    // Whether the pattern equals the text, so that no stage before the words has changed it.
    bool ReadAsAsked() const
    {
        const std::vector<AskedPhase>& asked = m_encoding.asked.phases;
        if (static_cast<std::size_t>(m_pattern.PhaseCount()) != asked.size()) return false;
        for (std::size_t i = 0; i < asked.size(); ++i) {
            const phase& held = *m_pattern.Phase(static_cast<int>(i));
            if (held.len != static_cast<float>(asked[i].lenUsec) ||
                held.amp != static_cast<float>(asked[i].ampUa))
                return false;
        }
        return true;
    }

    static void AddCharge(playback::Charge& charge, double uaUsec)
    {
        (uaUsec > 0 ? charge.positiveNc : charge.negativeNc) += uaUsec * NcPerUaUsec;
    }

    void AddStages(std::size_t i, const PhaseDeviation& p)
    {
        if (p.read.amp != static_cast<float>(p.asked.ampUa))
            AddFinding(Cause::AmplitudeRead, i, 0, static_cast<double>(p.read.amp) - p.asked.ampUa);
        if (p.ClampChanges())
            AddFinding(Cause::Clamped, i, 0,
                       static_cast<double>(p.clamped.amp) - static_cast<double>(p.read.amp));
        if (p.BalanceChanges())
            AddFinding(Cause::Balanced, i,
                       static_cast<double>(p.balanced.len) - static_cast<double>(p.clamped.len),
                       static_cast<double>(p.balanced.amp) - static_cast<double>(p.clamped.amp));
    }

    void AddFinding(Cause cause, std::size_t i, double usec, double ampUa, std::size_t word = 0,
                    bool atEnd = false)
    {
        m_result.findings.push_back({cause, static_cast<int>(i), 1, usec, usec, ampUa, word, atEnd});
    }

    void ComparePlayed()
    {
        const Trace& trace = m_encoding.trace;
        Drift dropped;
        Drift roundedUp;
        const std::size_t count = std::min(m_result.phases.size(), trace.phases.size());
        for (std::size_t i = 0; i < count; ++i) {
            const TracedPhase& traced = trace.phases[i];
            PhaseDeviation& p = m_result.phases[i];
            const double next = i + 1 < count ? trace.phases[i + 1].startUsec : trace.endUsec;
            p.startUsec.played = traced.startUsec;
            p.gainedUsec = traced.gainedUsec;
            p.played = {std::max(next - traced.startUsec, 0.0), traced.ampSteps * m_scale.ampStepUa};
            (traced.gainedUsec < 0 ? dropped : roundedUp).Add(i, traced.gainedUsec);
            AddAmplitude(i, p);
            AddPlace(i, traced);
            // A phase without a length, or whose whole time is played with the next one, plays no current.
            if (p.played.lenUsec == 0) p.played.ampUa = 0;
        }
        if (trace.foreign) m_result.findings.push_back({Cause::ForeignWords});
        dropped.AddFinding(Cause::LeftoversDropped, m_result.findings);
        roundedUp.AddFinding(Cause::CountsRoundedUp, m_result.findings);
    }

    void AddAmplitude(std::size_t i, const PhaseDeviation& p)
    {
        if (static_cast<float>(p.played.ampUa) == p.balanced.amp || p.balanced.len == 0) return;
        const float steps = AmplitudeSteps(p.balanced.amp, m_stimulator.ampStepUa);
        const bool ceiling = std::fabs(steps) >= static_cast<float>(StimAtom::MaxAmpSteps) + 1;
        AddFinding(ceiling ? Cause::AmplitudeCeiling : Cause::AmplitudeCut, i, 0,
                   p.played.ampUa - static_cast<double>(p.balanced.amp));
    }

    void AddPlace(std::size_t i, const TracedPhase& traced)
    {
        AddSplit(i, traced.junction, false);
        AddSplit(i, traced.tail, true);
        if (traced.takenUsec > 0 && i > 0) AddFinding(Cause::NextCurrent, i, -traced.takenUsec, 0);
        if (traced.paddedUsec > 0)
            AddFinding(Cause::TailWord, i, traced.paddedUsec, 0, traced.tail.word, true);
    }

    void AddSplit(std::size_t i, const SharedStep& step, bool atEnd)
    {
        if (step.word == 0) return;
        if (step.cutUsec >= NoiseUsec) AddFinding(Cause::SplitCut, i, -step.cutUsec, 0, step.word, atEnd);
        if (std::fabs(step.errorUsec) >= NoiseUsec || step.lengthenedUsec != 0)
            AddFinding(Cause::SplitLost, i, step.lengthenedUsec > 0 ? step.lengthenedUsec : step.errorUsec, 0,
                       step.word, atEnd);
    }

    void CompareTotals()
    {
        m_result.playedNc = playback::ChargeOf(m_encoding.words, m_scale);
        AskedPlayed& period = m_result.periodUsec;
        period.played = m_encoding.trace.periodUsec;
        m_result.frequencyHz = {UsecPerSecond / period.asked, UsecPerSecond / period.played};
        CompareTrain();
    }

    void CompareBalance()
    {
        const auto* lilly = std::get_if<LillyPattern>(&m_encoding.pattern);
        m_result.balanceMode = {static_cast<double>(m_encoding.asked.balanceMode),
                                lilly == nullptr ? 0.0 : lilly->BalanceMode()};
        if (m_result.balanceMode.Error() != 0) m_result.findings.push_back({Cause::BalanceMode});
        if (lilly != nullptr && !Balances(*lilly)) m_result.findings.push_back({Cause::NotBalanced});
    }

    const Stimulator& m_stimulator;
    const playback::Scale m_scale;
    const Encoding& m_encoding;
    const StimPattern& m_pattern;
    Deviations& m_result;
};

}  // namespace

const char* NameOf(Cause cause)
{
    switch (cause) {
        case Cause::LengthRead:
            return "length-read";
        case Cause::AmplitudeRead:
            return "amplitude-read";
        case Cause::Clamped:
            return "amplitude-clamped";
        case Cause::Balanced:
            return "phase-balanced";
        case Cause::AmplitudeCut:
            return "amplitude-cut";
        case Cause::AmplitudeCeiling:
            return "amplitude-ceiling";
        case Cause::SplitLost:
            return "split-point-lost";
        case Cause::SplitCut:
            return "split-point-cut";
        case Cause::LeftoversDropped:
            return "leftovers-dropped";
        case Cause::CountsRoundedUp:
            return "counts-rounded-up";
        case Cause::TailWord:
            return "tail-word";
        case Cause::NextCurrent:
            return "next-current";
        case Cause::CyclesRounded:
            return "cycles-rounded";
        case Cause::BalanceMode:
            return "balance-mode";
        case Cause::NotBalanced:
            return "not-balanced";
        case Cause::ForeignWords:
            break;
    }
    return "foreign-words";
}

bool Finding::Notable(const Stimulator& stimulator) const
{
    return std::fabs(largestUsec) >= NotableUsec ||
           std::fabs(ampUa) >= NearlyOne * static_cast<double>(stimulator.ampStepUa) ||
           cause == Cause::BalanceMode || cause == Cause::NotBalanced || cause == Cause::ForeignWords;
}

bool PhaseDeviation::ReadChanges() const
{
    return static_cast<float>(asked.lenUsec) != read.len || static_cast<float>(asked.ampUa) != read.amp;
}

bool PhaseDeviation::ClampChanges() const
{
    return clamped.amp != read.amp;
}

bool PhaseDeviation::BalanceChanges() const
{
    return balanced.len != clamped.len || balanced.amp != clamped.amp;
}

bool PhaseDeviation::PlayChanges() const
{
    return std::fabs(played.lenUsec - static_cast<double>(balanced.len)) >= NoiseUsec ||
           static_cast<float>(played.ampUa) != balanced.amp;
}

int Deviations::LargestError() const
{
    const auto smaller = [](const PhaseDeviation& a, const PhaseDeviation& b) {
        return std::fabs(a.startUsec.Error()) < std::fabs(b.startUsec.Error());
    };
    if (phases.empty()) return -1;
    return static_cast<int>(std::max_element(phases.begin(), phases.end(), smaller) - phases.begin());
}

double Deviations::LargestErrorUsec() const
{
    const int largest = LargestError();
    return largest < 0 ? 0 : phases[static_cast<std::size_t>(largest)].startUsec.Error();
}

AskedPlayed Deviations::TrainNetNc() const
{
    return {askedNc.NetNc() * cycles.asked, playedNc.NetNc() * cycles.played};
}

namespace {

// The largest error of an amplitude, by magnitude, of the phases that are asked to last.
Total LargestAmplitudeError(const Deviations& deviations)
{
    Total largest{Total::Amplitude, -1, {}};
    for (std::size_t i = 0; i < deviations.phases.size(); ++i) {
        const PhaseDeviation& p = deviations.phases[i];
        const AskedPlayed amp{p.asked.ampUa, p.played.ampUa};
        if (p.asked.lenUsec > 0 && std::fabs(amp.Error()) > std::fabs(largest.value.Error()))
            largest = {Total::Amplitude, static_cast<int>(i), amp};
    }
    return largest;
}

}  // namespace

std::vector<Total> NotableTotals(const Stimulator& stimulator, const Deviations& d)
{
    constexpr double NoiseNc = 1e-6;  // where no charge is asked
    std::vector<Total> totals;
    if (d.phases.empty()) return totals;
    const auto add = [&](Total::Item item, int phase, const AskedPlayed& value, double least) {
        if (std::fabs(value.Error()) >= least) totals.push_back({item, phase, value});
    };
    if (const int phase = d.LargestError(); phase >= 0)
        add(Total::Start, phase, d.phases[static_cast<std::size_t>(phase)].startUsec, NotableUsec);
    add(Total::Period, -1, d.periodUsec, NotableUsec);
    if (std::isfinite(d.frequencyHz.Error()))
        add(Total::Frequency, -1, d.frequencyHz, NotablePart * d.frequencyHz.asked);
    const AskedPlayed positive{d.askedNc.positiveNc, d.playedNc.positiveNc};
    const AskedPlayed negative{d.askedNc.negativeNc, d.playedNc.negativeNc};
    const auto least = [&](double nc) { return std::max(NotablePart * std::fabs(nc), NoiseNc); };
    add(Total::PositiveCharge, -1, positive, least(positive.asked));
    add(Total::NegativeCharge, -1, negative, least(negative.asked));
    add(Total::NetCharge, -1, {d.askedNc.NetNc(), d.playedNc.NetNc()},
        least(std::max(positive.asked, -negative.asked)));
    const Total amplitude = LargestAmplitudeError(d);
    add(Total::Amplitude, amplitude.phase, amplitude.value,
        NearlyOne * static_cast<double>(stimulator.ampStepUa));
    return totals;
}

namespace {

void Clear(Deviations& deviations)
{
    deviations.phases.clear();
    deviations.findings.clear();
    deviations.periodUsec = {};
    deviations.askedNc = {};
}

// Plays back the words of a list, phase by phase.
class PlainPlayer
{
 public:
    PlainPlayer(const playback::Scale& scale, const std::vector<unsigned int>& words, std::size_t phases)
        : m_scale(scale), m_words(words), m_mostUsec(0.1 / static_cast<double>(phases))
    {}

    // Whether the next words are whole steps at the current of the phase, and begin and end where it does.
    bool Plays(const AskedPhase& p)
    {
        constexpr double Part = 1e-4;  // of a current's length: its charge is off by less than a thousandth
        constexpr double LongUsec = 1e6;  // above it a float is too coarse to be sure
        if (p.lenUsec == 0) return true;
        const double before = m_errorUsec;
        m_askedUsec += p.lenUsec;
        do {
            if (m_next == m_words.size()) return false;
            const playback::Word word = playback::Unpack(m_words[m_next++]);
            m_steps += word.timeSteps;
            m_errorUsec = m_steps * m_scale.timeStepUsec - m_askedUsec;
            if (word.splitUsec != 0 || word.ampAfterSplit != (word.ampSteps != 0) ||
                word.ampSteps * m_scale.ampStepUa != p.ampUa)
                return false;
        } while (m_errorUsec < -m_mostUsec);
        if (p.ampUa != 0) {
            m_current = true;
            if (std::fabs(before) + std::fabs(m_errorUsec) > Part * p.lenUsec) return false;
        }
        return p.lenUsec <= LongUsec && m_errorUsec <= m_mostUsec;
    }

    // Whether this was the last word, and the rate is that of the phases. Words of no current at all have no flags.
    bool Ends() const
    {
        constexpr double Part = 1e-4;
        return m_next == m_words.size() && m_current && std::fabs(m_errorUsec) <= Part * m_askedUsec;
    }

    AskedPlayed PeriodUsec() const { return {m_askedUsec, m_steps * m_scale.timeStepUsec}; }

 private:
    const playback::Scale m_scale;
    const std::vector<unsigned int>& m_words;
    const double m_mostUsec;  // of a boundary, so that the errors of all phases together are not notable
    std::size_t m_next = 1;
    double m_steps = 0;
    double m_askedUsec = 0;
    double m_errorUsec = 0;
    bool m_current = false;
};

}  // namespace

bool FindDeviationsOfTrain(const Stimulator& stimulator, const Encoding& encoding, Deviations& deviations)
{
    Clear(deviations);
    const std::vector<AskedPhase>& asked = encoding.asked.phases;
    const StimPattern& pattern = Base(encoding.pattern);
    if (static_cast<std::size_t>(pattern.PhaseCount()) != asked.size()) return false;
    const phase* held = pattern.Phase(0);
    for (const AskedPhase& p : asked) {
        if (static_cast<double>(held->len) != p.lenUsec || static_cast<double>(held->amp) != p.ampUa)
            return false;
        ++held;
    }
    PlainPlayer player(stimulator.Scale(), encoding.words, asked.size());
    for (const AskedPhase& p : asked)
        if (!player.Plays(p)) return false;
    if (!player.Ends()) return false;
    const auto* lilly = std::get_if<LillyPattern>(&encoding.pattern);
    if (encoding.asked.balanceMode != (lilly == nullptr ? 0 : lilly->BalanceMode()) ||
        (lilly != nullptr && !Balances(*lilly)))
        return false;
    deviations.periodUsec = player.PeriodUsec();
    Comparison(stimulator, encoding, deviations).CompareTrain();
    return true;
}

void FindDeviations(const Stimulator& stimulator, const Encoding& encoding, Deviations& deviations)
{
    Clear(deviations);
    Comparison(stimulator, encoding, deviations).Compare();
}

}  // namespace preview
