#pragma once

#include <string>
#include <vector>

#include "Report.h"

// What would work in place of a text that is refused.
namespace preview {

// How a text is played with another time step.
struct StepRow
{
    float timeStepUsec = 0;
    std::size_t words = 0;  // 0 when it is refused; the other values are then 0, too
    double largestErrorUsec = 0;
    double periodErrorUsec = 0;
    double netChargeNc = 0;

    // It plays, and no phase and no cycle is off by more than half a microsecond.
    bool AsAsked() const;
};

// The text of the report with each of the time steps 1, 2, 4, 5, 8, 10, 16, 20, 25, 32 and 33.333332 us.
std::vector<StepRow> StepRows(const Report& report);

struct Advice
{
    int budget = 0;       // that would be enough; 0 when the budget is not the reason, or none is enough
    std::string text;     // of a list that plays; empty when there is none
    bool repair = false;  // it is what the repair of a Lilly pattern makes of the list, in whole microseconds
    std::vector<phase> phases;  // of text
    std::vector<double>
        movedUsec;               // how much later than asked each of them is played, and the end of the cycle
    std::vector<StepRow> steps;  // of the list as asked; empty when no time step plays it
};

// Looks for what plays in place of the list that the report refuses. For a Lilly pattern that is the repaired list.
// Otherwise, and where that does not play, the boundaries of phases move, each to one of the next whole time steps, so
// that they move least in sum. No phase that has a length loses it. Nothing is found without a list, for a length below
// 0, or when the budget is the reason. Without the rows of steps, which take an encoding each.
Advice NearestOn(const Report& report);

// With them, unless no time step plays the list.
Advice AdviceOn(const Report& report);

}  // namespace preview
