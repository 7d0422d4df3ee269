#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Deviations.h"

// What a user lets pass of what is played otherwise than it is asked.
namespace preview {

enum class Limit
{
    Error,
    PeriodError,
    AmplitudeError,
    ChargeError,
    NetCharge,
    WholeCycles,
    // Of what is played, whatever was asked:
    PhaseCharge,
    Density,
    K,
    Duty,
    Rate,
    DirectCurrent,
};

// All that one limit is.
struct LimitKind
{
    Limit limit;
    const char* name;                    // "max-error", ...
    const char* what;                    // it limits: "error of a phase start", ...
    const char* unit;                    // "us", ...
    const char* key;                     // ends the keys of its values in JSON: "_us", ...
    double (*value)(const Deviations&);  // signed; the limit is one of its magnitude
    // Up to here the value is a rounding of single precision; null where what is asked may have any value.
    double (*rounding)(const Stimulator&, const Deviations&);
    bool isSigned = false;   // the limit is one of the value itself
    bool needsArea = false;  // without one the value is not a number
};

constexpr std::size_t LimitCount = 12;
// In the order of Limit.
const std::array<LimitKind, LimitCount>& LimitKinds();

inline const LimitKind& KindOf(Limit limit)
{
    return LimitKinds()[static_cast<std::size_t>(limit)];
}

// A value of a file that the command line has made less strict.
struct Loosened
{
    std::size_t setting;  // index in SettingKinds, of Profile.h
    double value;
    double strict;      // the one of the file
    std::string place;  // of that: "lab.toml:7"
};

// The most that may be played otherwise than it is asked; what is not set has no limit.
struct Limits
{
    std::array<std::optional<double>, LimitCount> most;
    bool exact = false;                // nothing above the roundings
    std::optional<double> areaCm2;     // of the electrode
    std::optional<double> maxTotalUa;  // of all channels of a schedule: see TotalCurrent
    std::vector<Loosened> loosened;

    std::optional<double>& operator[](Limit limit) { return most[static_cast<std::size_t>(limit)]; }
    const std::optional<double>& Most(Limit limit) const { return most[static_cast<std::size_t>(limit)]; }
};

// The first limit that is set and needs the area of the electrode, which is not; null when there is none.
const LimitKind* LimitWithoutArea(const Limits& limits);

// A limit that a pattern exceeds.
struct Excess
{
    Limit limit;
    double value;  // signed
    double most;
};

// The most that is let pass of one kind: what is set, and for an exact play at most the rounding. REQUIRES: deviations are
// of a pattern for that stimulator.
std::optional<double> MostOf(const LimitKind& kind, const Stimulator& stimulator, const Limits& limits,
                             const Deviations& deviations);

void FindExcesses(const Stimulator& stimulator, const Limits& limits, const Deviations& deviations,
                  std::vector<Excess>& excesses);

}  // namespace preview
