#pragma once

#include <vector>

#include "LillyPattern.h"

// The repair's walk: moves phase boundaries of a Lilly list that failed validation onto step boundaries.
//
// A list fails because a step would need two currents, or one current in the middle of the step. Neither happens when
// the active phase starts on a step boundary. The walk finds each active phase that would fail and moves it: by the
// IPI, or by the offset. The end phase changes by the same time, so that the period stays. Validation decides: the
// caller validates the list after the walk.
//
// Where this walk differs from the two others:
//   - A phase is active when its whole amplitude steps are not 0, as in its words. For validation and writer it is active
//     when its amplitude is not 0.
//   - A junction word is counted with carried time only, as in the writer.
//   - After a junction a phase is used up below IgnoreFrac microseconds, not below IgnoreUsec. Repaired lists have always
//     been cut like this, and hosts keep such patterns.
//   - Lengths may be negative here: an edit is repaired before it is validated.
namespace TarvUtil::Internal {

// The five phases of a Lilly pattern.
constexpr int OffsetIndex = 0;
constexpr int Phase1Index = LillyPattern::Phase1;
constexpr int IPIIndex = 2;
constexpr int Phase2Index = LillyPattern::Phase2;
constexpr int EndIndex = 4;
constexpr int LillyPhaseCount = 5;

// Repairs phases, a list for pattern, in place, and cuts off the phases after the first maxCmds words. repairs are bits
// of LillyPattern::Adjust. current is the list before the edit: the difference shows which phase the edit changed. False
// when a repair is refused or not allowed. REQUIRES: a time step that is TimeStepUsable.
bool RepairPhases(LillyPattern& pattern, int repairs, float timeStepUsec, float ampStepUa,
                  const std::vector<phase>& current, std::vector<phase>& phases, int maxCmds);

}  // namespace TarvUtil::Internal
