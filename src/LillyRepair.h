#pragma once

#include <vector>

#include "LillyPattern.h"

// The repair's walk: moves phase boundaries of a Lilly list that failed validation onto step boundaries.
//
// A list fails because a step would have to carry two currents, or one current in the middle of the step. Both go away
// when the active phase starts on a step boundary. The walk finds each active phase that would fail and moves it: by
// the IPI, or by the offset. The end phase gives or takes the time, so that the period stays. Validation has the last
// word: the caller validates the list that the walk leaves.
//
// Where this walk differs from the two others:
//   - A phase is active by its whole amplitude steps, as its words are. Validation and writer ask whether the amplitude
//     is not 0.
//   - A junction word is counted with carried time only, as the writer spends it.
//   - After a junction a phase is used up below IgnoreFrac, taken as microseconds, not below IgnoreUsec. Repaired lists
//     have always been cut so, and hosts keep patterns that were.
//   - Lengths may be negative here: an edit is repaired before it is validated.
namespace TarvUtil::Internal {

// The five phases of a Lilly pattern.
constexpr int OffsetIndex = 0;
constexpr int Phase1Index = LillyPattern::Phase1;
constexpr int IPIIndex = 2;
constexpr int Phase2Index = LillyPattern::Phase2;
constexpr int EndIndex = 4;
constexpr int LillyPhaseCount = 5;

// Repairs phases, a list for pattern, where it lies, and cuts off the phases for which none of maxCmds words is left.
// repairs are bits of LillyPattern::Adjust; from current, the list before the edit, the walk knows which phase the edit
// changed. False when a repair is refused or not allowed. REQUIRES: a time step that is TimeStepUsable.
bool RepairPhases(LillyPattern& pattern, int repairs, float timeStepUsec, float ampStepUa,
                  const std::vector<phase>& current, std::vector<phase>& phases, int maxCmds);

}  // namespace TarvUtil::Internal
