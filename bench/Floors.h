#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "StimPattern.h"

// The least work that an operation of the library must do, without its rules: the time to compare with.
namespace bench {

// The arithmetic of one pass over the phases: each is cut into whole time steps, and its leftover is added to the
// next. The first phase lasts firstLen. Returns a number that depends on all of them.
//
// A leftover is kept or dropped: Selected does so without a branch, so that each phase waits for the one before;
// Predicted branches, so that a processor that predicts it starts the next phase at once.
float ChainSelected(const std::vector<phase>& phases, float timeStepUsec, float ampStepUa, float firstLen);
float ChainPredicted(const std::vector<phase>& phases, float timeStepUsec, float ampStepUa, float firstLen);

// The number of phases that meet carried time.
int CarriedInto(const std::vector<phase>& phases, float timeStepUsec);

// The numbers of a text read and added.
double ReadNumbers(const std::vector<std::string_view>& numbers);

// Prints the numbers one after the other, first in place of the first one. Returns the end of the text.
char* PrintNumbers(const std::vector<float>& numbers, float first, char* out, char* end);

// As memcpy; fills a pattern's words and counters with zeros; allocates and frees memory of this size.
void CopyWords(unsigned int* to, const unsigned int* from, int count);
void ClearPattern();
void Allocate(std::size_t bytes);

}  // namespace bench
