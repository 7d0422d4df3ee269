#pragma once

#include <optional>
#include <vector>

#include "Deviations.h"

// What a user lets pass.
namespace preview {

// The most that may be played otherwise than it is asked; what is not set has no limit.
struct Limits
{
    std::optional<double> netChargeNc;  // magnitude of the net charge played per cycle
    std::optional<double> errorUsec;    // magnitude of the error of the start of a phase
};

enum class Limit
{
    NetCharge,
    Error,
};

const char* NameOf(Limit limit);  // "max-net-charge", ...
const char* UnitOf(Limit limit);  // "nC", "us"

// A limit that a pattern exceeds.
struct Excess
{
    Limit limit;
    double value;  // signed; the limit is one of its magnitude
    double most;
};

void FindExcesses(const Limits& limits, const Deviations& deviations, std::vector<Excess>& excesses);

}  // namespace preview
