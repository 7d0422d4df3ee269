#pragma once

#include <string>
#include <vector>

#include "Report.h"

// Suggestions in place of a refused text.
namespace preview {

// How a text is played with another time step.
struct StepRow
{
    float timeStepUsec = 0;
    std::size_t words = 0;  // 0 when it is refused; the other values are then 0, too
    double largestErrorUsec = 0;
    double periodErrorUsec = 0;
    double netChargeNc = 0;

    // The text is played, and no phase start and no period has a notable error.
    bool AsAsked() const;
};

// The text of the report with each of the time steps 1, 2, 4, 5, 8, 10, 16, 20, 25, 32 and 33.333332 us.
std::vector<StepRow> StepRows(const Report& report);

struct Advice
{
    int budget = 0;             // enough words; 0 when the budget is not the reason, or no budget is enough
    std::string text;           // of a list that plays; empty when there is none
    bool repair = false;        // text is the list after the repair of a Lilly pattern, in whole microseconds
    std::vector<phase> phases;  // of text
    std::vector<double>
        movedUsec;               // how much later than asked each of them is played, and the end of the cycle
    double netChargeNc = 0;      // how much more net charge than asked it has per cycle
    std::vector<StepRow> steps;  // of the list as asked; empty when no time step plays it
};

// Looks for a list that plays in place of the list that the report refuses. For a Lilly pattern that is the repaired
// list. If there is none, or it does not play, each boundary of a phase moves to one of the next whole time steps, so
// that the sum of the moves is smallest. No phase with a length gets a length of 0. Finds nothing without a list, for a
// length below 0, or when the budget is the reason. Without the rows of steps, each of which takes an encoding.
Advice NearestOn(const Report& report);

// The same with the rows of steps, unless no time step plays the list.
Advice AdviceOn(const Report& report);

}  // namespace preview
