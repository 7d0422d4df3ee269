#include "Deviations.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "DeviationsReplay.h"
#include "Figures.h"
#include "StimAtom.h"

namespace {

constexpr double NotableUsec = 0.4999;  // half a microsecond, less what floats may take from it
// Below this a time is no deviation but the last digit of a time step such as 33.333332.
constexpr double NoiseUsec = 1e-3;
constexpr double UsecPerMsec = 1000;
constexpr double NcPerUaUsec = 1e-3;
constexpr double Infinite = std::numeric_limits<double>::infinity();

std::string Usec(double usec)
{
    return Rounded(usec) + " us";
}

std::string Ua(float ua)
{
    return Shortest(ua) + " uA";
}

// "later" and "longer" by a time below 0 are "earlier" and "shorter".
std::string By(double usec, const char* more, const char* less)
{
    return Usec(std::fabs(usec)) + " " + (usec < 0 ? less : more);
}

std::string Name(std::size_t i)
{
    return "phase " + std::to_string(i);
}

// What adds up along the list.
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

    void Tell(Cause cause, const std::string& what, std::vector<Finding>& findings) const
    {
        if (m_phases == 0) return;
        std::string text = Name(static_cast<std::size_t>(m_first));
        if (m_phases > 1) text += " and " + std::to_string(m_phases - 1) + " more";
        text += ": " + what + "; this adds up to " + By(m_total, "longer", "shorter");
        if (std::fabs(m_largest) > std::fabs(m_total) + NoiseUsec)
            text += ", to " + Usec(m_largest) + " on the way";
        findings.push_back({cause, m_first, m_phases, m_total, m_largest, 0, std::move(text)});
    }

 private:
    int m_first = -1;
    int m_phases = 0;
    double m_total = 0;
    double m_largest = 0;
};

class Comparison
{
 public:
    Comparison(const Stimulator& stimulator, const Reading& reading)
        : m_stimulator(stimulator),
          m_scale(stimulator.Scale()),
          m_reading(reading),
          m_pattern(Base(reading.pattern)),
          m_asked(AskedBy(reading.fields))
    {}

    Deviations Compare()
    {
        CompareStages();
        CompareWords();
        CompareTotals();
        return std::move(m_result);
    }

 private:
    void CompareStages()
    {
        const float max = std::fabs(m_stimulator.AmpMaxUa());
        Drift read;
        for (std::size_t i = 0; i < m_asked.phases.size(); ++i) {
            PhaseDeviation p{m_asked.phases[i], m_reading.phases.at(i), {}, {}, {}, {}, 0};
            p.clamped = {p.read.len, std::clamp(p.read.amp, -max, max)};
            const phase* held = m_pattern.Phase(static_cast<int>(i));
            if (held != nullptr) p.balanced = *held;
            p.startUsec.asked = m_result.periodUsec.asked;
            m_result.periodUsec.asked += p.asked.lenUsec;
            Charge(m_result.askedNc, p.asked.lenUsec * p.asked.ampUa);
            read.Add(i, static_cast<double>(p.read.len) - p.asked.lenUsec);
            TellStages(i, p);
            m_result.phases.push_back(p);
        }
        read.Tell(Cause::LengthRead, "lengths in text are read to whole microseconds", m_result.findings);
    }

    static void Charge(playback::Charge& charge, double uaUsec)
    {
        (uaUsec > 0 ? charge.positiveNc : charge.negativeNc) += uaUsec * NcPerUaUsec;
    }

    void TellStages(std::size_t i, const PhaseDeviation& p)
    {
        const auto asked = static_cast<float>(p.asked.ampUa);
        if (p.read.amp != asked)
            Tell(Cause::AmplitudeRead, i, 0, static_cast<double>(p.read.amp) - p.asked.ampUa,
                 Ua(asked) + " is read as " + Ua(p.read.amp));
        if (p.ClampChanges())
            Tell(Cause::Clamped, i, 0, static_cast<double>(p.clamped.amp) - static_cast<double>(p.read.amp),
                 Ua(p.read.amp) + " is clamped to " + Ua(p.clamped.amp));
        if (!p.BalanceChanges()) return;
        const double longer = static_cast<double>(p.balanced.len) - static_cast<double>(p.clamped.len);
        Tell(Cause::Balanced, i, longer,
             static_cast<double>(p.balanced.amp) - static_cast<double>(p.clamped.amp),
             PhaseListText({p.clamped}) + " becomes " + PhaseListText({p.balanced}) +
                 " by the balance mode and what follows from it");
    }

    void Tell(Cause cause, std::size_t i, double usec, double ampUa, const std::string& text)
    {
        m_result.findings.push_back(
            {cause, static_cast<int>(i), 1, usec, usec, ampUa, Name(i) + ": " + text});
    }

    void CompareWords()
    {
        WordReplay replay(m_scale, &m_reading.words);
        Drift dropped;
        Drift roundedUp;
        const std::size_t count =
            std::min(m_result.phases.size(), static_cast<std::size_t>(m_pattern.PhaseCount()));
        double end = 0;
        std::vector<bool> lost(count);
        for (std::size_t i = 0; i < count; ++i) {
            Placement at;
            if (!replay.Take(m_result.phases[i].balanced, i + 1 == count, at)) return TellForeign(i);
            PhaseDeviation& p = m_result.phases[i];
            p.startUsec.played = at.startUsec;
            p.played.ampUa = at.ampSteps * m_scale.ampStepUa;
            p.gainedUsec = at.gainedUsec;
            lost[i] = at.lost;
            (at.gainedUsec < 0 ? dropped : roundedUp).Add(i, at.gainedUsec);
            TellAmplitude(i, p);
            TellPlace(i, at);
            end = at.tail.word != 0 && at.ampSteps != 0 ? at.tail.changeUsec : replay.PlayedUsec();
        }
        if (!replay.AllWordsTaken()) return TellForeign(count);
        SetLengths(lost, end);
        dropped.Tell(Cause::LeftoversDropped,
                     "what is left of a time step, at most half a microsecond, is dropped",
                     m_result.findings);
        roundedUp.Tell(Cause::CountsRoundedUp,
                       "a phase that lacks a little to whole time steps gets the whole step",
                       m_result.findings);
    }

    // From the last phase, which ends at usec, to the first. One that is lost, or that the next one has taken
    // whole, has neither length nor current.
    void SetLengths(const std::vector<bool>& lost, double usec)
    {
        for (std::size_t i = lost.size(); i-- > 0;) {
            PhaseDeviation& p = m_result.phases[i];
            if (lost[i]) p.startUsec.played = usec;
            p.played.lenUsec = std::max(usec - p.startUsec.played, 0.0);
            if (p.played.lenUsec == 0) p.played.ampUa = 0;
            usec = p.startUsec.played;
        }
    }

    void TellForeign(std::size_t i)
    {
        Tell(Cause::ForeignWords, i, 0, 0, "its words are not those that its length and current give");
    }

    void TellAmplitude(std::size_t i, const PhaseDeviation& p)
    {
        const auto played = static_cast<float>(p.played.ampUa);
        if (played == p.balanced.amp || p.balanced.len == 0) return;
        const float steps = p.balanced.amp / m_stimulator.ampStepUa;
        const bool ceiling = std::fabs(steps) >= static_cast<float>(StimAtom::MaxAmpSteps) + 1;
        Tell(ceiling ? Cause::AmplitudeCeiling : Cause::AmplitudeCut, i, 0,
             p.played.ampUa - static_cast<double>(p.balanced.amp),
             Ua(p.balanced.amp) + " is " + Shortest(steps) + " amplitude steps, the words hold " +
                 Rounded(p.played.ampUa / m_scale.ampStepUa) + (ceiling ? ", the most there is" : "") + ": " +
                 Ua(played));
    }

    void TellPlace(std::size_t i, const Placement& at)
    {
        TellSplit(i, at.junction, "starts");
        TellSplit(i, at.tail, "ends");
        if (at.takenUsec > 0 && i > 0)
            Tell(Cause::NextCurrent, i, -at.takenUsec, 0,
                 "its current also takes " + Usec(at.takenUsec) + " of " +
                     NameOfPhase(m_pattern.Phases(), i - 1) + ", which shares a time step with it");
        if (at.paddedUsec > 0)
            Tell(
                Cause::TailWord, i, at.paddedUsec, 0,
                "ends within a time step; the rest of it makes the cycle " + Usec(at.paddedUsec) + " longer");
    }

    void TellSplit(std::size_t i, const SharedStep& step, const char* what)
    {
        if (step.cutUsec >= NoiseUsec)
            Tell(Cause::SplitCut, i, -step.cutUsec, 0,
                 what + (" " + Usec(step.cutUsec)) + " earlier, at a split point of whole microseconds");
        if (std::fabs(step.errorUsec) < NoiseUsec && step.lengthenedUsec == 0) return;
        const playback::Word word = playback::Unpack(m_reading.words[step.word]);
        std::string text = "word " + std::to_string(step.word) + " shows a split point of " +
                           std::to_string(word.splitUsec) + " us, the current " +
                           (word.ampAfterSplit ? "behind" : "before") + " it, where one of " +
                           std::to_string(step.splitUsec) + " us does not fit five bits; the phase " + what +
                           " " + By(step.errorUsec, "later", "earlier");
        if (step.lengthenedUsec > 0) text += ", the cycle is " + Usec(step.lengthenedUsec) + " longer";
        Tell(Cause::SplitLost, i, step.lengthenedUsec > 0 ? step.lengthenedUsec : step.errorUsec, 0, text);
    }

    void CompareTotals()
    {
        m_result.playedNc = playback::ChargeOf(playback::Segments(m_reading.words, m_scale));
        AskedPlayed& period = m_result.periodUsec;
        period.played = playback::PeriodUsec(m_reading.words, m_scale);
        m_result.frequencyHz = {1e6 / period.asked, 1e6 / period.played};
        const bool continuous = m_pattern.IsContinuous();
        AskedPlayed& cycles = m_result.cycles;
        cycles.asked = m_asked.trainMsec * UsecPerMsec / period.asked;
        cycles.played = continuous ? Infinite : m_pattern.CycleCount();
        m_result.trainMsec = {m_asked.trainMsec,
                              continuous ? Infinite : cycles.played * period.played / UsecPerMsec};
        TellCycles();
    }

    // A train can be as asked though its cycles are not: a longer period makes up for a part of a cycle.
    void TellCycles()
    {
        const AskedPlayed& cycles = m_result.cycles;
        const double usec = cycles.Error() * m_result.periodUsec.asked;
        if (!(std::fabs(usec) >= NotableUsec &&
              std::fabs(m_result.trainMsec.Error()) * UsecPerMsec >= NotableUsec))
            return;
        m_result.findings.push_back({Cause::CyclesRounded, -1, 1, usec, usec, 0,
                                     CyclesText(cycles) + ": a train of " + Rounded(m_asked.trainMsec) +
                                         " ms in periods of " + Usec(m_result.periodUsec.asked)});
    }

    static std::string CyclesText(const AskedPlayed& cycles)
    {
        if (std::isinf(cycles.played))
            return "the cycles are played without end, not " + Rounded(cycles.asked) + " of them";
        const std::string played = Rounded(cycles.played);
        constexpr int Billionths = 9;
        std::string asked = Rounded(cycles.asked);
        if (asked == played) asked = Rounded(cycles.asked, Billionths);
        const char* are = cycles.played == 1 ? " is played" : " are played";
        if (cycles.asked > cycles.played) return played + " of " + asked + " cycles" + are;
        return played + (cycles.played == 1 ? " cycle" : " cycles") + are + ", not " + asked;
    }

    const Stimulator& m_stimulator;
    const playback::Scale m_scale;
    const Reading& m_reading;
    const StimPattern& m_pattern;
    const Asked m_asked;
    Deviations m_result;
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
        case Cause::ForeignWords:
            break;
    }
    return "foreign-words";
}

bool Finding::Notable(const Stimulator& stimulator) const
{
    constexpr double Nearly = 1 - 1e-6;  // of a step: amplitudes are sums and products of floats
    return std::fabs(largestUsec) >= NotableUsec || cause == Cause::ForeignWords ||
           std::fabs(ampUa) >= Nearly * static_cast<double>(stimulator.ampStepUa);
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

bool Deviations::Notable() const
{
    return std::fabs(LargestErrorUsec()) >= NotableUsec || std::fabs(periodUsec.Error()) >= NotableUsec;
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

Deviations DeviationsOf(const Stimulator& stimulator, const Reading& reading)
{
    return Comparison(stimulator, reading).Compare();
}
