#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "Playback.h"
#include "Units.h"

// The figures by which stimulation is judged, computed from what words play: charge, charge density and k for each phase
// of current, and duty cycle, rates, RMS and direct current for the whole pattern. docs/limits.md derives each.
namespace preview {

// A stretch of one polarity without a pause. The cycle repeats, so a stretch at the end of one cycle and one at the start
// of the next are one phase, which starts at the end of the cycle.
struct CurrentPhase
{
    double startUsec = 0;  // within the cycle
    double durationUsec = 0;
    double chargeNc = 0;  // signed

    // Charge per geometric area of the electrode, uC/cm2, without its sign.
    double DensityUcPerCm2(double areaCm2) const;
    // log10(density in uC/cm2 per phase) + log10(charge in uC per phase) (Shannon 1992, doi:10.1109/10.126616).
    double K(double areaCm2) const;
};

struct CurrentFigures
{
    std::vector<CurrentPhase> phases;
    // The current never pauses or changes its sign: it has no phases, and its charge has no bound.
    bool endless = false;

    double periodUsec = 0;
    double currentUsec = 0;  // time with current per cycle
    double rmsUa = 0;        // over the cycle
    double meanUa = 0;       // the direct current: net charge over the period
    double nearestUsec =
        0;  // the shortest distance between the starts of two pulses; infinite without pulses
    std::size_t pulses = 0;  // per cycle; see below

    // Of the whole pattern; infinite where the current is endless.
    double LargestChargeNc() const;
    double LargestDensityUcPerCm2(double areaCm2) const;
    double LargestK(double areaCm2) const;  // minus infinity without current
    double DirectCurrentNa() const { return NaPerUa * meanUa; }

    double DutyPct() const { return periodUsec > 0 ? 100 * currentUsec / periodUsec : 0; }
    double CyclesPerSec() const { return 1e6 / periodUsec; }
    double NearestHz() const { return 1e6 / nearestUsec; }
};

// A pulse is a phase of current with what follows it in the other direction: a new pulse starts with each phase of the
// polarity that comes first in the cycle. repeats: another cycle follows this one.
CurrentFigures FiguresOf(const std::vector<unsigned int>& words, const playback::Scale& scale, bool repeats);

// An area with its unit: "2000um2", "0.06mm2", "2e-5cm2", in cm2; nothing for anything else.
std::optional<double> ReadAreaCm2(std::string_view text);

}  // namespace preview
