#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Report.h"

// The specification string of a biphasic pulse, or of a burst of them, from its parameters.
namespace preview {

struct DesignRequest
{
    std::string name = "Lilly";  // the head of the text
    double amplitudeUa = 0;      // of phase 1, without its sign
    double phase1Usec = 0;
    double ipiUsec = 0;
    double frequencyHz = 0;   // of pulses, or of bursts
    double trainMsec = 0;     // infinite for a train without end; not used when pulses is above 0
    std::int64_t pulses = 0;  // in the train; a multiple of burst
    int balance = 1;          // mode, 0 off
    Stim::Polarity polarity = Stim::NegativeFirst;
    double offsetMsec = 0;
    double phase2Usec = 0;    // without a balance mode
    double amplitude2Ua = 0;  // likewise, without its sign
    int burst = 1;            // pulses in a burst; above 1 the text is that of a plain pattern
    double burstHz = 0;       // pulse rate within the burst
    double pauseMsec = 0;     // above 0: a time without current, and nothing else of the request counts
};

// What a request asks for.
enum class DesignItem
{
    Offset,
    Phase1,
    IPI,
    Phase2,
    Amplitude,
    Amplitude2,
    Gap,  // between the pulses of a burst, and after the last
    Frequency,
    BurstRate,
    Cycles,  // asked: how often the period goes into the train
    Train,
};

// An amplitude, a length from half a microsecond on, or a train that is played otherwise than it is requested, in the
// unit of the request.
struct DesignChange
{
    DesignItem item;
    double asked;
    double got;
};

// A request that nothing plays, and what is nearest to it.
struct OutOfReach
{
    DesignItem item;
    double asked;
    double reachable;
};

struct Design
{
    // A place for designs for that stimulator; the kind of its pattern is that of the texts: see KindOf.
    explicit Design(const Stimulator& stimulator) : report(stimulator) {}

    std::optional<OutOfReach> outOfReach;
    std::string text;       // empty when there is none: it is out of reach, or report says why it is refused
    bool adjusted = false;  // the list requested is refused, and one near it is used
    Report report;          // on the text

    // What the words play beside what the request asks for, its numbers unrounded; when there is a text.
    Deviations deviations;          // without findings: the causes are those of report
    std::vector<DesignItem> items;  // what each phase is
    std::vector<Excess> excesses;   // of the limits
    std::vector<DesignChange> changes;
};

// Plain for bursts, Lilly for a single pulse.
PatternKind KindOf(const DesignRequest& request);

// How often the period goes into the train, as a number and as the library counts: the whole number within a
// hundredth, or else rounded down, at least 1. Both are infinite for a train without end.
double PeriodsOf(const DesignRequest& request);
double CyclesOf(const DesignRequest& request);

// Lengths in the text are whole microseconds, and its duration is one with which the library counts the cycles that
// CyclesOf gives. The limits are those of what is played against what is requested. REQUIRES: report.stimulator is of
// the kind that KindOf gives; values are finite (but for trainMsec) and 0 or above, rates above 0.
void MakeDesign(const DesignRequest& request, Design& design, const Limits& limits = {});

}  // namespace preview
