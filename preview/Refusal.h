#pragma once

#include <vector>

#include "Stimulator.h"

// Why a list of phases has no words, in numbers.
namespace preview {

enum class RefusalReason
{
    Irregular,        // the text is ambiguous (Asked::irregularities)
    NotRead,          // the library's reader refused the text (Encoding::errors)
    NoPhases,         // the list is empty
    NegativeLength,   // phase has a length below 0
    MeetsCurrent,     // phase carries current within the time step in which the current of phase meets ends
    EndsInStep,       // phase carries current and ends before the time step does that phase meets began
    OverBudget,       // validation counts more words than the budget leaves
    NotFinished,      // valid, but the writer finds phase too short to finish the step that phase meets began
    WordsOverBudget,  // valid, but the writer needs more words than the budget leaves
    NotBalanced,      // the balance mode needs phases that the list does not have
};

struct Refusal
{
    RefusalReason reason = RefusalReason::NotRead;
    std::vector<phase> phases;  // the list that was refused, as read

    int failing = -1;        // index of the phase that cannot be played; -1 when it is not one phase
    int meets = -1;          // of the one that began the time step which it meets; -1 without
    double carriedUsec = 0;  // how much of the step is taken when the failing phase starts

    int budgetWords = 0;          // words that the budget leaves besides word 0
    int validationWords = -1;     // that validation counts; -1 when no budget is enough
    long long writtenWords = -1;  // that the writer would write; -1 when it refuses the list

    bool repairs = false;  // the list was offered to a Lilly pattern for repair:
    bool repairFits = false;
    std::vector<phase> repaired;
};

// Why a pattern of that stimulator refuses or cannot encode the list, and the list after a repair. REQUIRES: the list is
// not empty, and the pattern refuses it.
Refusal RefusalOf(const Stimulator& stimulator, const std::vector<phase>& phases);

}  // namespace preview
