#pragma once

#include <string>
#include <vector>

#include "Advice.h"
#include "Design.h"
#include "Sequence.h"

// Designs and advice as sentences, made when they are printed.
namespace preview {

const char* NameOf(DesignItem item);  // "phase 1", "frequency", ...

// "frequency: 3000 Hz is out of reach, at most 2000 Hz"
std::string Sentence(const OutOfReach& outOfReach);

// "phase 1: 166 us is played as 200 us"
std::string Sentence(const DesignChange& change);

// The differences from the request: the changes, and the notable totals as encode prints them.
std::vector<std::string> ChangeSentences(const Design& design);

// "--pulses, --ramp-up and --ramp-down must be multiples of --burst": names of parameters with dashes in front.
std::string Sentence(SequenceFault fault, const std::string& dashes);

// The suggestions in place of the refused text: none to three sentences.
std::vector<std::string> AdviceSentences(const Advice& advice);

}  // namespace preview
