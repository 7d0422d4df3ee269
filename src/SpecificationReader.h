#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "SpecificationText.h"
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

// What the three fields of every text give.
struct PatternText
{
    std::vector<phase> phases;
    float durationMsec = 0;
    std::string_view rest;  // of the text, after them
};

// False, with errors, for a text that no pattern can be set from.
inline bool ReadText(std::string_view text, float ampStepUa, std::vector<std::string>& errors,
                     std::vector<std::string>& warnings, PatternText& read)
{
    const Fields<3> fields(text, ':');
    if (fields.count < 3) {
        errors.push_back(Quoting("Invalid pattern specification string: [", text, "]"));
        return false;
    }
    const std::size_t errorsBefore = errors.size();
    read.phases = ReadPhases(fields.field[1], ampStepUa, errors, warnings);
    read.durationMsec = ReadDuration(fields.field[2], errors);
    read.rest = fields.rest;
    return errors.size() == errorsBefore && !read.phases.empty() && read.durationMsec > 0;
}

}  // namespace TarvUtil::Internal
