#include "Design.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Advice.h"
#include "LillyBalance.h"
#include "LillyRepair.h"
#include "NumberFormat.h"
#include "Numbers.h"
#include "Sentences.h"
#include "StimAtom.h"
#include "Units.h"

namespace preview {
namespace {

constexpr double LongestUsec = std::numeric_limits<std::int32_t>::max();  // that a text may hold
constexpr auto CycleTolerance = static_cast<double>(TarvUtil::Internal::CycleTolerance);

// What a phase of the list is for, as requested.
struct Part
{
    DesignItem item;
    double startUsec;
    double lenUsec;
    double askedUa;
    double textUsec;  // for the text, which balances whole steps
    float textUa;     // whole amplitude steps
};

// A duration, milliseconds, from which the pattern counts this number of cycles: the first, or the one nearest to this
// number of periods. The count never falls while the duration rises, and two neighbouring floats can differ by more than
// a period. REQUIRES: a period above 0.
std::optional<float> DurationOf(StimPattern& pattern, int cycles, float firstMsec)
{
    const auto counted = [&pattern](float msec) {
        pattern.SetTrainLength(msec);
        return pattern.CycleCount();
    };
    if (firstMsec > 0 && counted(firstMsec) == cycles) return firstMsec;
    auto msec = static_cast<float>(static_cast<double>(pattern.PeriodUsec()) * cycles / UsecPerMsec);
    const bool tooFew = counted(msec) < cycles;
    while ((counted(msec) < cycles) == tooFew && counted(msec) != cycles)
        msec = std::nextafter(msec, tooFew ? std::numeric_limits<float>::infinity() : 0.0f);
    if (counted(msec) != cycles) return std::nullopt;
    return msec;
}

class Designer
{
 public:
    Designer(const DesignRequest& request, const Limits& limits, Design& design)
        : m_request(request),
          m_limits(limits),
          m_design(design),
          m_stimulator(design.report.stimulator),
          m_made(MakePattern(m_stimulator)),
          m_pattern(Base(m_made)),
          m_periodUsec(UsecPerSecond / request.frequencyHz)
    {}

    void Make()
    {
        if (m_request.pauseMsec > 0) return MakePause();
        if (!AmplitudesInReach()) return;
        LayOut();
        if (!TimesInReach() || !CyclesInReach() || !WriteList()) return;
        if (WriteDuration(CyclesOf(m_request), AskedMsec())) Compare();
    }

 private:
    // --- Reach ---

    bool Refuse(DesignItem item, double asked, double reachable)
    {
        m_design.outOfReach = {item, asked, reachable};
        return false;
    }

    bool AmplitudeInReach(DesignItem item, double ampUa)
    {
        const auto step = static_cast<double>(m_stimulator.ampStepUa);
        const double most = std::min(static_cast<double>(m_stimulator.AmpMaxUa()),
                                     static_cast<double>(StimAtom::MaxAmpSteps) * step);
        constexpr double Hair = 1e-6;  // of a step, for steps such as 0.1 that are not floats
        const double mostSteps = std::floor(most / step + Hair);
        const double steps = ampUa / step;
        if (ampUa > 0 && std::round(steps) < 1 && mostSteps >= 1) return Refuse(item, ampUa, step);
        return std::round(steps) <= mostSteps || ampUa == 0 || Refuse(item, ampUa, mostSteps * step);
    }

    bool AmplitudesInReach()
    {
        return AmplitudeInReach(DesignItem::Amplitude, m_request.amplitudeUa) &&
               (m_request.balance != 0 || AmplitudeInReach(DesignItem::Amplitude2, m_request.amplitude2Ua));
    }

    double BurstPeriodUsec() const { return UsecPerSecond / m_request.burstHz; }

    bool TimesInReach()
    {
        constexpr double MostRounded = 0.5;  // of a text in whole microseconds
        for (const Part& part : m_parts)
            if (part.askedUa != 0 && part.textUsec < MostRounded) return Refuse(part.item, part.lenUsec, 1);
        const double pulse = PulseUsec();
        if (m_request.burst > 1 && !(pulse <= BurstPeriodUsec() + MostRounded))
            return Refuse(DesignItem::BurstRate, m_request.burstHz, UsecPerSecond / pulse);
        const double cycle = CycleUsec();
        if (!(cycle <= m_periodUsec + MostRounded))
            return Refuse(DesignItem::Frequency, m_request.frequencyHz, UsecPerSecond / cycle);
        if (m_periodUsec < 1 - MostRounded)
            return Refuse(DesignItem::Frequency, m_request.frequencyHz, UsecPerSecond);
        return m_periodUsec <= LongestUsec ||
               Refuse(DesignItem::Frequency, m_request.frequencyHz, UsecPerSecond / LongestUsec);
    }

    bool CyclesInReach()
    {
        // The largest int is the count of a train without end.
        constexpr double Most = std::numeric_limits<int>::max() - 1.0;
        const double cycles = CyclesOf(m_request);
        return cycles <= Most || std::isinf(cycles) || Refuse(DesignItem::Cycles, PeriodsOf(m_request), Most);
    }

    // --- The list ---

    double PulseUsec() const { return m_pulseUsec; }
    double CycleUsec() const { return m_parts.back().startUsec + m_longerUsec; }

    void Add(DesignItem item, double lenUsec, double askedUa = 0, float textUa = 0)
    {
        m_parts.push_back({item, m_atUsec, lenUsec, askedUa, lenUsec, textUa});
        m_atUsec += lenUsec;
    }

    // The parts of one cycle. The last, the rest of the period, has the length that is left, below 0 or not.
    void LayOut()
    {
        const bool plain = m_request.burst > 1;
        const double offset = m_request.offsetMsec * UsecPerMsec;
        if (offset > 0 || !plain) Add(DesignItem::Offset, offset);
        for (int i = 0; i < m_request.burst; ++i) {
            if (i > 0) Add(DesignItem::Gap, offset + i * BurstPeriodUsec() - m_atUsec);
            AddPulse(plain);
        }
        Add(DesignItem::Gap, m_periodUsec - m_atUsec);
    }

    double Sign() const { return m_request.polarity == Stim::NegativeFirst ? -1 : 1; }
    double SignedUa() const { return Sign() * m_request.amplitudeUa; }

    void AddPulse(bool plain)
    {
        const double start = m_atUsec;
        const float first = m_pattern.NearestAmplitude(static_cast<float>(SignedUa()));
        Add(DesignItem::Phase1, m_request.phase1Usec, SignedUa(), first);
        if (m_request.ipiUsec > 0 || !plain) Add(DesignItem::IPI, m_request.ipiUsec);
        if (m_request.balance == 0) {
            const double asked = -Sign() * m_request.amplitude2Ua;
            Add(DesignItem::Phase2, m_request.phase2Usec, asked,
                m_pattern.NearestAmplitude(static_cast<float>(asked)));
        } else {
            AddBalancing(static_cast<double>(first));
        }
        m_pulseUsec = m_atUsec - start + m_longerUsec;
    }

    // The part of phase 1 for the mode; in the text the nearest whole steps, and the length that keeps the charge.
    void AddBalancing(double firstUa)
    {
        const auto ratio = static_cast<double>(TarvUtil::Internal::BalanceRatio(m_request.balance));
        const float second = m_pattern.NearestAmplitude(static_cast<float>(-firstUa / ratio));
        Add(DesignItem::Phase2, ratio * m_request.phase1Usec, -SignedUa() / ratio, second);
        if (second == 0) return;
        m_parts.back().textUsec = -firstUa * m_request.phase1Usec / static_cast<double>(second);
        m_longerUsec = std::max(m_parts.back().textUsec - m_parts.back().lenUsec, 0.0);
    }

    // Lengths in whole microseconds; gaps change by what the phases before them gain or lose.
    std::vector<phase> ListInWholeUsec() const
    {
        std::vector<phase> phases;
        double at = 0;
        for (const Part& part : m_parts) {
            const double end = part.startUsec + part.lenUsec;
            const double len = part.item == DesignItem::Gap ? end - at : part.textUsec;
            phases.push_back({static_cast<float>(std::round(std::max(len, 0.0))), part.textUa});
            at += static_cast<double>(phases.back().len);
        }
        return phases;
    }

    // The duration of the request, without a part of a period.
    double AskedMsec() const
    {
        if (m_request.pulses > 0 || !IsWhole()) return CyclesOf(m_request) * m_periodUsec / UsecPerMsec;
        return m_request.trainMsec;
    }

    bool IsWhole() const { return std::fabs(PeriodsOf(m_request) - CyclesOf(m_request)) < CycleTolerance; }

    // --- The text ---

    // False when the list, and any that is near it, is refused.
    bool WriteList()
    {
        SetText(ListInWholeUsec(), "inf");
        if (Encoded()) return true;
        const Advice advice = NearestOn(m_design.report);
        if (!advice.text.empty()) {
            m_design.adjusted = true;
            SetText(advice.phases, "inf");
        }
        if (!Encoded()) m_design.text.clear();
        return Encoded();
    }

    bool Encoded() const { return m_design.report.encoding.Encoded(); }

    void SetText(std::vector<phase> phases, const std::string& duration)
    {
        m_phases = std::move(phases);
        std::string& text = m_design.text;
        text = m_request.name + ":" + PhaseListText(m_phases) + ":DurationMsec=[" + duration + "]";
        if (m_stimulator.pattern == PatternKind::Lilly)
            text +=
                ":ChargeBalanceIdx=[" + std::to_string(m_request.pauseMsec > 0 ? 0 : m_request.balance) + "]";
        ReportOn(text, {}, Reading::Strict, m_design.report);
    }

    // False when the library counts this number of cycles from no duration.
    bool WriteDuration(double cycles, double askedMsec)
    {
        if (std::isinf(cycles)) return true;
        const auto wanted = static_cast<int>(cycles);
        const std::optional<float> msec =
            DurationOf(Base(m_design.report.encoding.pattern), wanted, static_cast<float>(askedMsec));
        if (msec) SetText(m_phases, Shortest(*msec));
        if (msec && Encoded() && Base(m_design.report.encoding.pattern).CycleCount() == wanted) return true;
        m_design.text.clear();
        return Refuse(DesignItem::Cycles, cycles, NearestCount(wanted));
    }

    int NearestCount(int cycles)
    {
        StimPattern& pattern = Base(m_design.report.encoding.pattern);
        pattern.SetCycleCount(cycles);
        return pattern.CycleCount();
    }

    // Cycles of at most a second, in whole microseconds if the pause is.
    void MakePause()
    {
        constexpr int MostTried = 100000;
        const double usec = m_request.pauseMsec * UsecPerMsec;
        const double fewest = std::ceil(usec / UsecPerSecond);
        double cycles = fewest;
        for (int i = 0; i < MostTried; ++i)
            if (std::fmod(usec, fewest + i) == 0) {
                cycles = fewest + i;
                break;
            }
        if (cycles > std::numeric_limits<int>::max() - 1.0) {
            Refuse(DesignItem::Train, m_request.pauseMsec,
                   (std::numeric_limits<int>::max() - 1.0) * UsecPerMsec);
            return;
        }
        const auto period = static_cast<float>(std::max(std::round(usec / cycles), 1.0));
        std::vector<phase> phases(
            m_stimulator.pattern == PatternKind::Lilly ? TarvUtil::Internal::LillyPhaseCount : 1,
            phase{0, 0});
        phases.back().len = period;
        SetText(std::move(phases), "inf");
        if (!Encoded()) return m_design.text.clear();
        for (std::size_t i = 1; i < m_phases.size(); ++i) Add(DesignItem::Offset, 0);
        Add(DesignItem::Gap, usec / cycles);
        if (!WriteDuration(cycles, m_request.pauseMsec)) return;
        CompareWith(m_request.pauseMsec);
        CompareTrain(m_design.deviations.trainMsec);
    }

    // --- What is played of the request ---

    void Compare()
    {
        const bool counted = m_request.pulses > 0 || std::isinf(m_request.trainMsec);
        CompareWith(counted ? CyclesOf(m_request) * m_periodUsec / UsecPerMsec : m_request.trainMsec);
        for (const DesignItem item :
             {DesignItem::Offset, DesignItem::Phase1, DesignItem::IPI, DesignItem::Phase2})
            CompareLengths(item);
        CompareAmplitude(DesignItem::Phase1, DesignItem::Amplitude);
        CompareAmplitude(DesignItem::Phase2, DesignItem::Amplitude2);
        if (counted) return;
        CompareCycles();
        CompareTrain(m_design.deviations.trainMsec);
    }

    // Replaces the numbers of the text by those of the request.
    void CompareWith(double trainMsec)
    {
        Encoding encoding = m_design.report.encoding;
        encoding.asked.trainMsec = trainMsec;
        for (std::size_t i = 0; i < m_parts.size(); ++i) {
            encoding.asked.phases[i] = {m_parts[i].lenUsec, m_parts[i].askedUa};
            m_design.items.push_back(m_parts[i].item);
        }
        Deviations& deviations = m_design.deviations;
        deviations = m_design.report.deviations;
        FindDeviations(m_stimulator, encoding, deviations);
        deviations.findings.clear();
        deviations.areaCm2 = m_limits.areaCm2;
        FindExcesses(m_stimulator, m_limits, deviations, m_design.excesses);
    }

    void CompareTrain(const AskedPlayed& msec)
    {
        if (std::fabs(msec.Error()) >= NotablePart * msec.asked)
            m_design.changes.push_back({DesignItem::Train, msec.asked, msec.played});
    }

    // The part of that kind with the largest error.
    void CompareLengths(DesignItem item)
    {
        AskedPlayed worst;
        for (std::size_t i = 0; i < m_parts.size(); ++i) {
            const AskedPlayed usec{m_parts[i].lenUsec, m_design.deviations.phases[i].played.lenUsec};
            if (m_parts[i].item == item && std::fabs(usec.Error()) > std::fabs(worst.Error())) worst = usec;
        }
        if (std::fabs(worst.Error()) >= NotableUsec)
            m_design.changes.push_back({item, worst.asked, worst.played});
    }

    // The amplitude of the first of those phases; the others have the same.
    void CompareAmplitude(DesignItem phase, DesignItem item)
    {
        const auto found = std::find(m_design.items.begin(), m_design.items.end(), phase);
        const PhaseDeviation& p =
            m_design.deviations.phases[static_cast<std::size_t>(found - m_design.items.begin())];
        const double rounding = KindOf(Limit::AmplitudeError).rounding(m_stimulator, m_design.deviations);
        if (p.played.lenUsec > 0 && std::fabs(p.played.ampUa - p.asked.ampUa) > rounding)
            m_design.changes.push_back({item, std::fabs(p.asked.ampUa), std::fabs(p.played.ampUa)});
    }

    // A train that is not a whole number of periods.
    void CompareCycles()
    {
        constexpr double Noise = 1e-9;  // of a quotient of decimals
        const AskedPlayed cycles{PeriodsOf(m_request), CyclesOf(m_request)};
        if (std::fabs(cycles.Error()) > Noise * cycles.asked)
            m_design.changes.push_back({DesignItem::Cycles, cycles.asked, cycles.played});
    }

    const DesignRequest& m_request;
    const Limits& m_limits;
    Design& m_design;
    const Stimulator& m_stimulator;
    AnyPattern m_made;
    StimPattern& m_pattern;
    const double m_periodUsec;
    std::vector<Part> m_parts;
    std::vector<phase> m_phases;
    double m_atUsec = 0;
    double m_pulseUsec = 0;   // at least as long as in the text
    double m_longerUsec = 0;  // than requested phase 2 is in the text
};

}  // namespace

PatternKind KindOf(const DesignRequest& request)
{
    return request.burst > 1 ? PatternKind::Plain : PatternKind::Lilly;
}

double PeriodsOf(const DesignRequest& request)
{
    if (request.pulses > 0) return static_cast<double>(request.pulses) / request.burst;
    return request.trainMsec * request.frequencyHz / UsecPerMsec;
}

double CyclesOf(const DesignRequest& request)
{
    const double periods = PeriodsOf(request);
    const double nearest = std::round(periods);
    return std::max(std::fabs(periods - nearest) < CycleTolerance ? nearest : std::floor(periods), 1.0);
}

void MakeDesign(const DesignRequest& request, Design& design, const Limits& limits)
{
    design.outOfReach.reset();
    design.text.clear();
    design.changes.clear();
    design.excesses.clear();
    design.items.clear();
    design.adjusted = false;
    Designer(request, limits, design).Make();
}

}  // namespace preview
