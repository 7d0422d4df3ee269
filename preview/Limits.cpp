#include "Limits.h"

#include "Units.h"

#include <algorithm>
#include <cmath>

namespace preview {
namespace {

double Larger(double a, double b)
{
    return std::fabs(b) > std::fabs(a) ? b : a;
}

// Two infinite values have no error.
double ErrorOf(const AskedPlayed& value)
{
    return value.asked == value.played ? 0 : value.Error();
}

double AmplitudeError(const Deviations& deviations)
{
    double largest = 0;
    for (const PhaseDeviation& p : deviations.phases)
        if (p.asked.lenUsec > 0) largest = Larger(largest, p.played.ampUa - p.asked.ampUa);
    return largest;
}

double ChargeError(const Deviations& d)
{
    return Larger(d.playedNc.positiveNc - d.askedNc.positiveNc, d.playedNc.negativeNc - d.askedNc.negativeNc);
}

double CyclesError(const Deviations& deviations)
{
    constexpr double Noise = 1e-12;  // of the quotient of two doubles
    // A train without end in place of one that ends: its list lasts no time.
    if (std::isinf(deviations.trainMsec.Error())) return deviations.trainMsec.Error();
    const double error = ErrorOf(deviations.cycles);
    return std::fabs(error) <= Noise * deviations.cycles.asked ? 0 : error;
}

// --- Of the current: docs/limits.md ---

double PhaseCharge(const Deviations& d)
{
    return d.current.LargestChargeNc();
}

double Density(const Deviations& d)
{
    return d.areaCm2 ? d.current.LargestDensityUcPerCm2(*d.areaCm2) : std::nan("");
}

double ShannonK(const Deviations& d)
{
    return d.areaCm2 ? d.current.LargestK(*d.areaCm2) : std::nan("");
}

double PulseRate(const Deviations& d)
{
    return d.current.NearestHz();
}

// --- Roundings: docs/accuracy.md ---

// What single precision may add to the end of the cycle, and so to any boundary.
double TimeRounding(const Stimulator& stimulator, const Deviations& deviations)
{
    constexpr double CutRounding = 1.0 / (1 << 22);
    double sum = 0;
    for (const PhaseDeviation& p : deviations.phases)
        sum += CutRounding * (std::fabs(p.asked.lenUsec) + stimulator.Scale().timeStepUsec);
    return sum;
}

double AmplitudeRounding(const Stimulator& stimulator, const Deviations& /*deviations*/)
{
    constexpr double StepRounding = 1.0 / (1 << 17);
    return StepRounding * stimulator.Scale().ampStepUa;
}

// A phase begins and ends within the one, and has an amplitude within the other.
double ChargeRounding(const Stimulator& stimulator, const Deviations& deviations)
{
    const double usec = TimeRounding(stimulator, deviations);
    const double ampUa = AmplitudeRounding(stimulator, deviations);
    double sum = 0;
    for (const PhaseDeviation& p : deviations.phases)
        sum += 2 * usec * std::fabs(p.asked.ampUa) + ampUa * std::fabs(p.asked.lenUsec);
    return sum * NcPerUaUsec;
}

double None(const Stimulator& /*stimulator*/, const Deviations& /*deviations*/)
{
    return 0;
}

}  // namespace

const std::array<LimitKind, LimitCount>& LimitKinds()
{
    static const std::array<LimitKind, LimitCount> kinds{{
        {Limit::Error, "max-error", "error of a phase start", "us", "_us",
         [](const Deviations& d) { return d.LargestErrorUsec(); }, TimeRounding},
        {Limit::PeriodError, "max-period-error", "error of the period", "us", "_us",
         [](const Deviations& d) { return d.periodUsec.Error(); }, TimeRounding},
        {Limit::AmplitudeError, "max-amplitude-error", "error of an amplitude", "uA", "_ua", AmplitudeError,
         AmplitudeRounding},
        {Limit::ChargeError, "max-charge-error", "error of the charge of either polarity per cycle", "nC",
         "_nc", ChargeError, ChargeRounding},
        {Limit::NetCharge, "max-net-charge", "net charge per cycle", "nC", "_nc",
         [](const Deviations& d) { return d.playedNc.NetNc(); }, nullptr},
        {Limit::WholeCycles, "whole-cycles", "error of the number of cycles", "cycles", "_cycles",
         CyclesError, None},
        {Limit::PhaseCharge, "max-phase-charge", "charge of a phase of current", "nC", "_nc", PhaseCharge,
         nullptr},
        {Limit::Density, "max-density", "charge density of a phase of current", "uC/cm2", "_uc_per_cm2",
         Density, nullptr, false, true},
        {Limit::K, "max-k", "k (Shannon 1992) of a phase of current", "", "_k", ShannonK, nullptr, true,
         true},
        {Limit::Duty, "max-duty", "time with current", "%", "_pct",
         [](const Deviations& d) { return d.current.DutyPct(); }, nullptr},
        {Limit::Rate, "max-rate", "rate of the two nearest pulses", "Hz", "_hz", PulseRate, nullptr},
        {Limit::DirectCurrent, "max-dc", "mean (direct) current", "nA", "_na",
         [](const Deviations& d) { return d.current.DirectCurrentNa(); }, nullptr},
    }};
    return kinds;
}

const LimitKind* LimitWithoutArea(const Limits& limits)
{
    for (const LimitKind& kind : LimitKinds())
        if (kind.needsArea && limits.most[static_cast<std::size_t>(kind.limit)] && !limits.areaCm2)
            return &kind;
    return nullptr;
}

std::optional<double> MostOf(const LimitKind& kind, const Stimulator& stimulator, const Limits& limits,
                             const Deviations& deviations)
{
    const std::optional<double>& most = limits.most[static_cast<std::size_t>(kind.limit)];
    if (!limits.exact || kind.rounding == nullptr) return most;
    const double rounding = kind.rounding(stimulator, deviations);
    return most ? std::min(*most, rounding) : rounding;
}

void FindExcesses(const Stimulator& stimulator, const Limits& limits, const Deviations& deviations,
                  std::vector<Excess>& excesses)
{
    constexpr double Noise = 1e-9;  // sums of doubles end in digits that nobody asked for
    constexpr double SinglePrecision = 1.0 / (1 << 22);  // as does a time step of 33.333332 us
    excesses.clear();
    for (const LimitKind& kind : LimitKinds()) {
        const std::optional<double> most = MostOf(kind, stimulator, limits, deviations);
        if (!most) continue;
        const double value = kind.value(deviations);
        if (!((kind.isSigned ? value : std::fabs(value)) <=
              *most + Noise + SinglePrecision * std::fabs(*most)))
            excesses.push_back({kind.limit, value, *most});
    }
}

}  // namespace preview
