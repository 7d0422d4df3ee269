#include "Refusal.h"

#include <limits>
#include <stdexcept>

#include "CommandWriter.h"
#include "Numbers.h"
#include "WordCounter.h"

namespace preview {
namespace {

using namespace TarvUtil::Internal;

// Counts the words of the writer without a limit.
class CountingSink
{
 public:
    bool Put(const CommandWord& /*word*/, WordRole /*role*/)
    {
        ++m_count;
        return true;
    }
    long long Count() const { return m_count; }

 private:
    long long m_count = 0;
};

// The phase that began the time step which is not finished, as a walk goes along the list.
class StepOwner
{
 public:
    int Index() const { return m_index; }

    // Phase i had this much of a step before it and leaves that much, and finished steps or did not.
    void Follow(int i, float carriedBefore, float carriedAfter, bool finishedSteps)
    {
        if (!(carriedAfter > 0))
            m_index = -1;
        else if (finishedSteps || !(carriedBefore > 0))
            m_index = i;
    }

 private:
    int m_index = -1;
};

RefusalReason ReasonOf(Meeting meeting)
{
    switch (meeting) {
        case Meeting::NegativeLength:
            return RefusalReason::NegativeLength;
        case Meeting::MeetsActive:
            return RefusalReason::MeetsCurrent;
        default:
            return RefusalReason::EndsInStep;
    }
}

void SetFailing(Refusal& refusal, RefusalReason reason, int failing, const StepOwner& owner,
                float carriedUsec)
{
    refusal.reason = reason;
    refusal.failing = failing;
    refusal.meets = owner.Index();
    refusal.carriedUsec = static_cast<double>(carriedUsec);
}

// False when validation refuses a phase.
bool Validate(const Stimulator& s, Refusal& refusal)
{
    WordCounter counter(s.timeStepUsec, s.ampStepUa);
    StepOwner owner;
    int i = 0;
    for (const phase& p : refusal.phases) {
        const float carried = counter.State().carriedUsec;
        const int words = counter.Words();
        const Meeting meeting = counter.Count(p, &p == &refusal.phases.back());
        if (meeting != Meeting::Fits) {
            SetFailing(refusal, ReasonOf(meeting), i, owner, carried);
            return false;
        }
        owner.Follow(i, carried, counter.State().carriedUsec, counter.Words() != words);
        ++i;
    }
    refusal.validationWords = counter.Words();
    return true;
}

// False when the writer refuses a phase.
bool Write(const Stimulator& s, Refusal& refusal)
{
    CountingSink sink;
    CommandWriter<CountingSink> writer(s.timeStepUsec, s.ampStepUa, sink);
    StepOwner owner;
    int i = 0;
    for (const phase& p : refusal.phases) {
        const float carried = writer.State().carriedUsec;
        const long long words = sink.Count();
        if (!writer.Write(p, i == 0, &p == &refusal.phases.back())) {
            SetFailing(refusal, RefusalReason::NotFinished, i, owner, carried);
            return false;
        }
        owner.Follow(i, carried, writer.State().carriedUsec, sink.Count() != words);
        ++i;
    }
    refusal.writtenWords = sink.Count();
    return true;
}

// The pattern holds the list, as Update offers it for repair.
void Repair(const Stimulator& stimulator, Refusal& refusal)
{
    AnyPattern made = MakePattern(stimulator);
    auto* pattern = std::get_if<LillyPattern>(&made);
    if (pattern == nullptr) return;
    pattern->ClearPhases();
    for (const phase& p : refusal.phases) pattern->AppendPhase(p.len, p.amp);
    refusal.repairs = true;
    try {
        refusal.repairFits = pattern->Update();
    } catch (const std::out_of_range&) {
        // A list of fewer than five phases, which cannot be repaired.
    }
    refusal.repaired = pattern->Phases();
}

}  // namespace

Refusal RefusalOf(const Stimulator& stimulator, const std::vector<phase>& phases)
{
    Refusal refusal;
    refusal.phases = phases;
    refusal.budgetWords = stimulator.budget - 1;
    if (Validate(stimulator, refusal) && Write(stimulator, refusal))
        refusal.reason = refusal.validationWords > refusal.budgetWords ? RefusalReason::OverBudget
                                                                       : RefusalReason::WordsOverBudget;
    else if (refusal.reason == RefusalReason::NotFinished && refusal.validationWords > refusal.budgetWords)
        refusal.reason = RefusalReason::OverBudget;
    Repair(stimulator, refusal);
    return refusal;
}

}  // namespace preview
