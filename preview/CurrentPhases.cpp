#include "CurrentPhases.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "Asked.h"
#include "NumberText.h"

namespace preview {
namespace {

bool Continues(const CurrentPhase& phase, const playback::Segment& segment, double endUsec)
{
    return segment.startUsec == endUsec && (phase.chargeNc > 0) == (segment.currentUa > 0);
}

// The phases of one cycle by itself, in order.
void FindPhases(const std::vector<playback::Segment>& segments, CurrentFigures& figures)
{
    double end = -1;  // of the last segment with current
    for (const playback::Segment& segment : segments) {
        if (segment.currentUa == 0) continue;
        const double charge = segment.currentUa * segment.durationUsec * NcPerUaUsec;
        if (figures.phases.empty() || !Continues(figures.phases.back(), segment, end))
            figures.phases.push_back({segment.startUsec, 0, 0});
        figures.phases.back().durationUsec += segment.durationUsec;
        figures.phases.back().chargeNc += charge;
        end = segment.startUsec + segment.durationUsec;
        figures.currentUsec += segment.durationUsec;
        figures.rmsUa += segment.currentUa * segment.currentUa * segment.durationUsec;
        figures.meanUa += segment.currentUa * segment.durationUsec;
    }
}

// Joins the last phase with the first where the next cycle goes on with it.
void JoinAcrossCycles(const std::vector<playback::Segment>& segments, CurrentFigures& figures)
{
    std::vector<CurrentPhase>& phases = figures.phases;
    if (phases.empty() || segments.front().currentUa == 0 || segments.back().currentUa == 0) return;
    if ((phases.front().chargeNc > 0) != (phases.back().chargeNc > 0)) return;
    if (phases.size() == 1) {
        figures.endless = true;
        phases.clear();
        return;
    }
    phases.back().durationUsec += phases.front().durationUsec;
    phases.back().chargeNc += phases.front().chargeNc;
    phases.erase(phases.begin());
}

void FindPulses(bool repeats, CurrentFigures& figures)
{
    figures.nearestUsec = Infinite;
    double first = 0;
    double last = 0;
    for (const CurrentPhase& phase : figures.phases) {
        if ((phase.chargeNc > 0) != (figures.phases.front().chargeNc > 0)) continue;
        if (figures.pulses++ == 0)
            first = phase.startUsec;
        else
            figures.nearestUsec = std::min(figures.nearestUsec, phase.startUsec - last);
        last = phase.startUsec;
    }
    if (repeats && figures.pulses > 0)
        figures.nearestUsec = std::min(figures.nearestUsec, first + figures.periodUsec - last);
}

}  // namespace

double CurrentPhase::DensityUcPerCm2(double areaCm2) const
{
    return std::fabs(chargeNc) * UcPerNc / areaCm2;
}

double CurrentPhase::K(double areaCm2) const
{
    return std::log10(DensityUcPerCm2(areaCm2)) + std::log10(std::fabs(chargeNc) * UcPerNc);
}

double CurrentFigures::LargestChargeNc() const
{
    double largest = endless ? Infinite : 0;
    for (const CurrentPhase& phase : phases) largest = std::max(largest, std::fabs(phase.chargeNc));
    return largest;
}

double CurrentFigures::LargestDensityUcPerCm2(double areaCm2) const
{
    return LargestChargeNc() * UcPerNc / areaCm2;
}

// Density and charge grow together: the phase of the largest charge has the largest k.
double CurrentFigures::LargestK(double areaCm2) const
{
    return std::log10(LargestDensityUcPerCm2(areaCm2)) + std::log10(LargestChargeNc() * UcPerNc);
}

CurrentFigures FiguresOf(const std::vector<unsigned int>& words, const playback::Scale& scale, bool repeats)
{
    CurrentFigures figures;
    const std::vector<playback::Segment> segments = playback::Segments(words, scale);
    figures.periodUsec = playback::PeriodUsec(words, scale);
    if (!segments.empty()) {
        FindPhases(segments, figures);
        figures.rmsUa = std::sqrt(figures.rmsUa / figures.periodUsec);
        figures.meanUa /= figures.periodUsec;
        if (repeats) JoinAcrossCycles(segments, figures);
    }
    FindPulses(repeats, figures);
    return figures;
}

std::optional<double> ReadAreaCm2(std::string_view text)
{
    struct Unit
    {
        std::string_view name;
        double perCm2;
    };
    static constexpr Unit Units[] = {{"um2", Um2PerCm2}, {"mm2", Mm2PerCm2}, {"cm2", 1}};
    for (const Unit& unit : Units) {
        if (text.size() <= unit.name.size() || text.substr(text.size() - unit.name.size()) != unit.name)
            continue;
        std::string_view number = text.substr(0, text.size() - unit.name.size());
        while (!number.empty() && number.back() == ' ') number.remove_suffix(1);
        if (!IsDecimal(number)) return std::nullopt;
        const double cm2 = TarvUtil::Internal::ReadNumber(number) / unit.perCm2;
        return cm2 > 0 && std::isfinite(cm2) ? std::optional<double>(cm2) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace preview
