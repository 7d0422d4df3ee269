#pragma once

#include <string>
#include <vector>

#include "Advice.h"
#include "Design.h"

// Designs and advice as sentences, made when they are printed.
namespace preview {

// "frequency: 3000 Hz is out of reach, at most 2000 Hz"
std::string Sentence(const OutOfReach& outOfReach);

// "phase 1: 166 us is played as 200 us"
std::string Sentence(const DesignChange& change);

// What is played otherwise than it is requested: the changes, and the notable totals as encode prints them.
std::vector<std::string> ChangeSentences(const Design& design);

// What would work in place of the refused text: none to three sentences.
std::vector<std::string> AdviceSentences(const Advice& advice);

}  // namespace preview
