#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "StimPattern.h"

// The least work that an operation of the library has to do, without its rules: what its time is compared with.
namespace bench {

// The arithmetic of one pass over the phases: each is cut into whole time steps, and what it leaves of a step is
// the start of the next. The first phase lasts firstLen. Returns a number that depends on all of them.
//
// A leftover is kept or dropped: Selected takes either without a branch, so that each phase waits for the one
// before; Predicted jumps, so that a processor that guesses right starts the next phase at once.
float ChainSelected(const std::vector<phase>& phases, float timeStepUsec, float ampStepUa, float firstLen);
float ChainPredicted(const std::vector<phase>& phases, float timeStepUsec, float ampStepUa, float firstLen);

// How many phases meet time carried from the phase before.
int CarriedInto(const std::vector<phase>& phases, float timeStepUsec);

// The numbers of a text read and added.
double ReadNumbers(const std::vector<std::string_view>& numbers);

// The numbers printed one behind the other, the first replaced by first. Returns the end of what was printed.
char* PrintNumbers(const std::vector<float>& numbers, float first, char* out, char* end);

// As memcpy; a pattern's words and counters filled with zeros; memory of this size taken and given back.
void CopyWords(unsigned int* to, const unsigned int* from, int count);
void ClearPattern();
void Allocate(std::size_t bytes);

}  // namespace bench
