#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Sequence.h"

// The parameters of a design, or of several in a row, by their names: the options of the program, the keys of the other
// front ends.
namespace preview {

// A value, or a sweep of it: "20", "20:100:10".
struct Swept
{
    double single = 0;
    std::optional<Range> range;
};

// What was set; the rest is absent.
struct DesignParameters
{
    std::optional<Swept> amplitudeUa, phase1Usec, frequencyHz;  // needed
    std::optional<double> ipiUsec, offsetMsec, trainMsec, onSec, offSec, phase2Usec, amplitude2Ua, burstHz;
    std::optional<std::int64_t> pulses, burst, balance, rampUp, rampDown, times;
    std::optional<Stim::Polarity> polarity;
    std::optional<std::string> name;

    // Which values are missing, or exclude each other, as a sentence; else nothing. Names are printed with dashes in
    // front.
    std::string Inconsistent(const std::string& dashes = "") const;

    // REQUIRES: consistent.
    SequenceRequest Request() const;
};

// The properties of one parameter.
struct DesignParameter
{
    const char* name;  // "ramp-up", ...
    const char* unit;  // of its value, or what stands in its place, for a help text
    const char* what;
    // Sets it. Returns the fault of the text, and sets nothing then; or returns nothing.
    std::string (*set)(DesignParameters& parameters, const std::string& text);
    bool needed = false;
};

// In the order of a help text.
const std::vector<DesignParameter>& AllDesignParameters();

// The parameter of that name, or null.
const DesignParameter* FindDesignParameter(std::string_view name);

}  // namespace preview
