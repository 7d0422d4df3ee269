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

// A difference from the request, in its unit: of an amplitude, of a length by half a microsecond or more, or of a train.
struct DesignChange
{
    DesignItem item;
    double asked;
    double got;
};

// A request that no words play, and the nearest value that is possible.
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
    std::string text;       // empty when the request is out of reach or refused; report then has the reason
    bool adjusted = false;  // the list requested is refused, and a similar one is used
    Report report;          // on the text

    // What the words play, compared with the request and its unrounded numbers; when there is a text.
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

// Lengths in the text are whole microseconds. From its duration the library counts the cycles of CyclesOf. The limits
// apply to what is played minus what is requested. REQUIRES: report.stimulator is of the kind of KindOf; values are
// finite (except trainMsec) and 0 or above, rates above 0.
void MakeDesign(const DesignRequest& request, Design& design, const Limits& limits = {});

}  // namespace preview
