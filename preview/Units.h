#pragma once

#include <limits>

namespace preview {

// Factors between the units of this room: microseconds, microamperes and nanocoulombs, and what a text or a report gives.
constexpr double NsecPerUsec = 1000;
constexpr double UsecPerMsec = 1000;
constexpr double UsecPerSecond = 1e6;
constexpr double MsecPerSecond = 1000;
constexpr double NcPerUaUsec = 1e-3;
constexpr double UcPerNc = 1e-3;
constexpr double NaPerUa = 1000;
constexpr double Mm2PerCm2 = 1e2;
constexpr double Um2PerCm2 = 1e8;

// A train without end, a distance to nothing.
constexpr double Infinite = std::numeric_limits<double>::infinity();

}  // namespace preview
