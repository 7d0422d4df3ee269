#include "SentencesOfDesign.h"

#include <algorithm>
#include <cmath>

#include "NumberFormat.h"
#include "Sentences.h"

namespace preview {
const char* NameOf(DesignItem item)
{
    switch (item) {
        case DesignItem::Offset:
            return "offset";
        case DesignItem::Phase1:
            return "phase 1";
        case DesignItem::IPI:
            return "interphase interval";
        case DesignItem::Phase2:
            return "phase 2";
        case DesignItem::Amplitude:
            return "amplitude";
        case DesignItem::Amplitude2:
            return "amplitude of phase 2";
        case DesignItem::Gap:
            return "the pause after the pulse";
        case DesignItem::Frequency:
            return "frequency";
        case DesignItem::BurstRate:
            return "pulse rate in the burst";
        case DesignItem::Cycles:
            return "cycles";
        case DesignItem::Train:
            break;
    }
    return "train";
}

namespace {

const char* UnitOf(DesignItem item)
{
    switch (item) {
        case DesignItem::Amplitude:
        case DesignItem::Amplitude2:
            return " uA";
        case DesignItem::Frequency:
        case DesignItem::BurstRate:
            return " Hz";
        case DesignItem::Cycles:
            return "";
        case DesignItem::Train:
            return " ms";
        default:
            return " us";
    }
}

// A value as it was given, which may be small or large.
std::string Given(DesignItem item, double value)
{
    return Shortest(static_cast<float>(value)) + UnitOf(item);
}

std::string Count(double value)
{
    constexpr double MostDigits = 1e15;
    return value < MostDigits ? Rounded(value) : Shortest(static_cast<float>(value));
}

// "phase 2 starts 6.667 us later"
std::string MoveSentence(std::size_t boundary, std::size_t phases, double usec)
{
    const std::string what =
        boundary == phases ? "the cycle ends " : "phase " + std::to_string(boundary) + " starts ";
    return what + Rounded(std::fabs(usec)) + " us " + (usec < 0 ? "earlier" : "later");
}

// How the list differs from the one that was asked.
std::string MovesSentence(const Advice& advice)
{
    constexpr double LeastPrinted = 0.0005;  // what is not 0 when it is printed
    constexpr int MostPrinted = 6;
    std::string text;
    int moves = 0;
    for (std::size_t i = 0; i < advice.movedUsec.size(); ++i) {
        if (std::fabs(advice.movedUsec[i]) < LeastPrinted || ++moves > MostPrinted) continue;
        text += (moves == 1 ? "" : ", ") + MoveSentence(i, advice.phases.size(), advice.movedUsec[i]);
    }
    if (moves > MostPrinted) text += ", and " + std::to_string(moves - MostPrinted) + " more";
    if (std::fabs(advice.netChargeNc) >= LeastPrinted)
        text += (moves == 0 ? "" : "; ") +
                ("the net charge per cycle changes by " + Rounded(advice.netChargeNc) + " nC");
    return text;
}

std::string StepsSentence(const std::vector<StepRow>& rows)
{
    std::string steps;
    for (const StepRow& row : rows)
        if (row.AsAsked()) steps += (steps.empty() ? "" : ", ") + Shortest(row.timeStepUsec);
    if (steps.empty()) return "none of the usual time steps plays it within 0.5 us without a change";
    return "without a change it plays within 0.5 us with a time step of " + steps + " us";
}

}  // namespace

std::string Sentence(const OutOfReach& outOfReach)
{
    const DesignItem item = outOfReach.item;
    if (item == DesignItem::Cycles)
        return "no duration gives " + Count(outOfReach.asked) + " cycles; the nearest number is " +
               Count(outOfReach.reachable);
    return std::string(NameOf(item)) + ": " + Given(item, outOfReach.asked) + " is out of reach, at " +
           (outOfReach.reachable < outOfReach.asked ? "most " : "least ") + Given(item, outOfReach.reachable);
}

std::string Sentence(const DesignChange& change)
{
    const DesignItem item = change.item;
    if (item == DesignItem::Cycles)
        return "the train is " + Rounded(change.asked) + " periods long; " + Count(change.got) +
               (change.got == 1 ? " is played" : " are played");
    return std::string(NameOf(item)) + ": " + Rounded(change.asked) + UnitOf(item) + " is played as " +
           Rounded(change.got) + UnitOf(item);
}

std::vector<std::string> ChangeSentences(const Design& design)
{
    std::vector<std::string> sentences;
    for (const DesignChange& change : design.changes) sentences.push_back(Sentence(change));
    const std::vector<Total> totals = NotableTotals(design.report.stimulator, design.deviations);
    if (totals.empty()) return sentences;
    std::vector<std::string> names;
    for (const DesignItem item : design.items) names.emplace_back(NameOf(item));
    sentences.push_back(Sentence(totals, names));
    return sentences;
}

std::string Sentence(SequenceFault fault, const std::string& dashes)
{
    const std::string& d = dashes;
    switch (fault) {
        case SequenceFault::TooLong:
            return "more than " + std::to_string(MaxDesigns) + " lines";
        case SequenceFault::PartBurst:
            return d + "pulses, " + d + "ramp-up and " + d + "ramp-down must be multiples of " + d + "burst";
        case SequenceFault::RampTooLong:
            return "the ramps have more pulses than the train";
        case SequenceFault::FineSweep:
            return "the steps of a sweep of " + d + "amplitude must not be smaller than " + d + "amp-step";
        case SequenceFault::Endless:
            break;
    }
    return "a train without end has no " + d + "ramp-down and no " + d + "times";
}

std::vector<std::string> AdviceSentences(const Advice& advice)
{
    std::vector<std::string> sentences;
    if (advice.budget != 0)
        sentences.push_back("a budget of " + std::to_string(advice.budget) + " words is enough");
    if (!advice.text.empty()) {
        const std::string moves = MovesSentence(advice);
        sentences.push_back((advice.repair ? "a repaired text that plays: " : "a similar text that plays: ") +
                            advice.text + (moves.empty() ? "" : " (" + moves + ")"));
    }
    const bool asAsked = std::any_of(advice.steps.begin(), advice.steps.end(),
                                     [](const StepRow& row) { return row.AsAsked(); });
    if (!advice.steps.empty() && (asAsked || advice.budget == 0))
        sentences.push_back(StepsSentence(advice.steps));
    return sentences;
}

}  // namespace preview
