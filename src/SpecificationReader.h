#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "StimPattern.h"

// From the text of a specification string to phases and a duration. The text is read where it lies, once; what a
// stimulator cannot play as written is rounded, and each change is reported.
//
// A number is what stands at the start of a value, and what follows it is ignored: labs write units there. Lengths
// become whole microseconds, as split points are, and amplitudes whole amplitude steps, as words have them. An
// amplitude that is not 0 keeps at least one step, so that no pulse disappears. The limit of StimAtom::MaxAmpSteps is
// applied to positive amplitudes only; packing applies it to both signs.
namespace TarvUtil::Internal {

// The phases of a field "(length,amplitude)(length,amplitude)...", as StimPattern::PhasesFromStr says.
std::vector<phase> ReadPhases(std::string_view field, float ampStepUa, std::vector<std::string>& errors,
                              std::vector<std::string>& warnings);

// Milliseconds, from a field "name[value]", as StimPattern::DurationFromStr says. LargestFloat is a train without end.
float ReadDuration(std::string_view field, std::vector<std::string>& errors);

}  // namespace TarvUtil::Internal
