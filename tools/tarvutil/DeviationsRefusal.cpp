#include <stdexcept>

#include "Deviations.h"
#include "DeviationsReplay.h"
#include "Figures.h"

namespace {

// Follows the words of a list up to the phase that does not fit them.
void FindMeeting(const Stimulator& stimulator, const std::vector<phase>& phases, Refusal& refusal)
{
    WordReplay replay(stimulator.Scale(), nullptr);
    int meets = -1;
    int i = 0;
    double carriedUsec = 0;
    for (const phase& p : phases) {
        carriedUsec = replay.CarriedUsec();
        Placement at;
        if (i == refusal.failing) break;
        // Validation passes over what has no length; the writer may not.
        const bool passedOver = i < refusal.failing && p.len == 0;
        if (!passedOver && !replay.Take(p, false, at)) break;
        if (p.len > 0) meets = i;
        ++i;
    }
    if (refusal.failing < 0 && i < static_cast<int>(phases.size())) refusal.failing = i;
    if (refusal.failing != i || !(carriedUsec > 0)) return;
    refusal.meets = meets;
    refusal.carriedUsec = carriedUsec;
}

// The pattern holds the list, as Update offers it for repair.
void Adjust(const Stimulator& stimulator, const std::vector<phase>& phases, Refusal& refusal)
{
    AnyPattern made = MakePattern(stimulator);
    auto* pattern = std::get_if<LillyPattern>(&made);
    if (pattern == nullptr) return;
    pattern->ClearPhases();
    for (const phase& p : phases) pattern->AppendPhase(p.len, p.amp);
    refusal.adjusted = true;
    try {
        refusal.adjustedFits = pattern->Update();
    } catch (const std::out_of_range&) {
        // A list of fewer than five phases, which cannot be repaired.
    }
    refusal.adjustedPhases = pattern->Phases();
}

}  // namespace

Refusal RefusalOf(const Stimulator& stimulator, const Reading& reading)
{
    Refusal refusal;
    refusal.text = reading.failure;
    if (!reading.errors.empty() || reading.phases.empty()) return refusal;
    const StimPattern& pattern = Base(reading.pattern);
    const bool valid = pattern.PhasesValid(reading.phases, pattern.MaxCmds());
    const std::vector<phase> phases = valid ? pattern.Phases() : reading.phases;
    refusal.failing = FirstRefused(pattern, phases);
    if (refusal.failing >= 0 || valid) FindMeeting(stimulator, phases, refusal);
    Adjust(stimulator, phases, refusal);
    return refusal;
}

std::string PhaseListText(const std::vector<phase>& phases)
{
    std::string text;
    for (const phase& p : phases) {
        text += '(';
        AppendShortest(text, p.len);
        text += ',';
        AppendShortest(text, p.amp);
        text += ')';
    }
    return text;
}
