#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LillyPattern.h"
#include "PlainPattern.h"

// The patterns that are measured.
namespace bench {

constexpr float TimeStepUsec = 33.333332f;
constexpr float AmpStepUa = 10;

LillyPattern DefaultLilly(float ampStepUa = AmpStepUa);
PlainPattern PlainOf(const std::vector<phase>& phases);

struct Subject
{
    std::string name;
    bool lilly;
    std::vector<phase> phases;

    // The default Lilly pattern, or a plain one of these phases; 1 s long.
    std::unique_ptr<StimPattern> Make() const;
};

// The default Lilly pattern; plain patterns of 5, 50 and 500 phases on the grid of time steps, and off it: every
// phase but the first then meets time carried from the one before.
std::vector<Subject> Subjects();
Subject Lilly();
Subject Plain(int phases, bool onGrid);

// The pattern's own list, to be changed without an edit.
std::vector<phase>& PhasesOf(StimPattern& pattern);

}  // namespace bench
