#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "StimPattern.h"

// From the text of a specification string to phases and a duration. The text is read once, without a copy. Numbers that
// a stimulator cannot play as written are rounded, and each change is reported.
//
// The number at the start of a value is read, and the rest is ignored: labs write units there. Lengths become whole
// microseconds, like split points, and amplitudes become whole amplitude steps, as in words. An amplitude that is not 0
// keeps at least one step, so that no pulse disappears. The limit of StimAtom::MaxAmpSteps is applied to positive
// amplitudes only; packing applies it to both signs.
namespace TarvUtil::Internal {

// The phases of a field "(length,amplitude)(length,amplitude)...": see StimPattern::PhasesFromStr.
std::vector<phase> ReadPhases(std::string_view field, float ampStepUa, std::vector<std::string>& errors,
                              std::vector<std::string>& warnings);

// Milliseconds, from a field "name[value]": see StimPattern::DurationFromStr. LargestFloat is a train without end.
float ReadDuration(std::string_view field, std::vector<std::string>& errors);

// What the three fields of every specification string give.
struct Specification
{
    std::vector<phase> phases;
    float durationMsec = 0;
    std::string_view rest;  // of the text, after them
};

// False, with errors, for a text that no pattern can be set from.
bool ReadText(std::string_view text, float ampStepUa, std::vector<std::string>& errors,
              std::vector<std::string>& warnings, Specification& read);

}  // namespace TarvUtil::Internal
