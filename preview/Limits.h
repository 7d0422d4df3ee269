#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Deviations.h"

// The limits that a user sets to differences between played and asked, and to what is played.
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

// The properties of one limit.
struct LimitKind
{
    Limit limit;
    const char* name;                    // "max-error", ...
    const char* what;                    // it limits: "error of a phase start", ...
    const char* unit;                    // "us", ...; empty for k
    const char* key;                     // ends the keys of its values in JSON: "_us", ...
    double (*value)(const Deviations&);  // signed; the limit is one of its magnitude
    // Up to this value the difference is a rounding of single precision; null when exact does not apply to the limit.
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

// The largest values allowed; a value that is not set has no limit.
struct Limits
{
    std::array<std::optional<double>, LimitCount> most;
    bool exact = false;                // nothing above the roundings
    std::optional<double> areaCm2;     // of the electrode
    std::optional<double> maxTotalUa;  // of all channels of a schedule: see TotalCurrent
    std::vector<Loosened> loosened;

    std::optional<double>& operator[](Limit limit) { return most[static_cast<std::size_t>(limit)]; }
    const std::optional<double>& Most(Limit limit) const { return most[static_cast<std::size_t>(limit)]; }
    // Whether a pattern can exceed one.
    bool Any() const
    {
        return exact ||
               std::any_of(most.begin(), most.end(), [](const auto& value) { return value.has_value(); });
    }
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

// The largest value allowed of one kind: the limit that is set, and with exact at most the rounding. REQUIRES: deviations
// are of a pattern for that stimulator.
std::optional<double> MostOf(const LimitKind& kind, const Stimulator& stimulator, const Limits& limits,
                             const Deviations& deviations);

void FindExcesses(const Stimulator& stimulator, const Limits& limits, const Deviations& deviations,
                  std::vector<Excess>& excesses);

}  // namespace preview
