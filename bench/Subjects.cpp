#include "Subjects.h"

#include <cstddef>
#include <stdexcept>

#include "Floors.h"

namespace bench {
namespace {

constexpr int LillyBudget = 101;

// Pulses of alternating direction with pauses between.
float AmpOf(int index)
{
    if (index % 2 == 0) return 0;
    return index % 4 == 1 ? -3 * AmpStepUa : 3 * AmpStepUa;
}

// Whole microseconds, so that a text has the same phases. 100 us are three time steps; off the grid the leftovers
// of the phases are 10 us and 17 us in turn.
float LenOf(int index, bool onGrid)
{
    const int shift = index == 0 ? 10 : index % 2 == 1 ? 7 : -7;
    return static_cast<float>(100 * (1 + index * 7 % 5) + (onGrid ? 0 : shift));
}

struct Access : StimPattern
{
    static std::vector<phase>& PhasesOf(StimPattern& pattern) { return pattern.*&Access::m_phases; }
};

}  // namespace

LillyPattern DefaultLilly(float ampStepUa)
{
    return {LillyBudget, TimeStepUsec, 0, 0, ampStepUa, 0, 1000};
}

PlainPattern PlainOf(const std::vector<phase>& phases)
{
    PlainPattern pattern(StimPattern::MaxWords, TimeStepUsec, AmpStepUa, 1000);
    pattern.SetPhases(phases);
    pattern.SetTrainLength(1000);
    return pattern;
}

std::unique_ptr<StimPattern> Subject::Make() const
{
    if (lilly) return std::make_unique<LillyPattern>(DefaultLilly());
    return std::make_unique<PlainPattern>(PlainOf(phases));
}

Subject Lilly()
{
    return {"Lilly", true, DefaultLilly().Phases()};
}

Subject Plain(int phases, bool onGrid)
{
    Subject subject{std::to_string(phases) + (onGrid ? " on the grid" : " off the grid"), false, {}};
    for (int i = 0; i < phases; ++i) subject.phases.push_back({LenOf(i, onGrid), AmpOf(i)});
    if (CarriedInto(subject.phases, TimeStepUsec) != (onGrid ? 0 : phases - 1))
        throw std::logic_error(subject.name + ": the phases do not lie there");
    if (subject.Make()->PhaseCount() != phases) throw std::logic_error(subject.name + ": not valid");
    return subject;
}

std::vector<Subject> Subjects()
{
    std::vector<Subject> subjects{Lilly()};
    for (const bool onGrid : {true, false})
        for (const int phases : {5, 50, 500}) subjects.push_back(Plain(phases, onGrid));
    return subjects;
}

std::vector<phase>& PhasesOf(StimPattern& pattern)
{
    return Access::PhasesOf(pattern);
}

}  // namespace bench
