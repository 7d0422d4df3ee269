#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Report.h"

// The specification string of a biphasic pulse, from its parameters.
namespace preview {

struct DesignRequest
{
    float amplitudeUa = 0;  // of phase 1, without its sign
    float phase1Usec = 0;
    float ipiUsec = 0;
    float frequencyHz = 0;
    float trainMsec = 0;  // infinite for a train without end
    int balance = 1;      // mode, 0 off
    Stim::Polarity polarity = Stim::NegativeFirst;
    float offsetMsec = 0;
    float phase2Usec = 0;    // without a balance mode
    float amplitude2Ua = 0;  // likewise, without its sign
};

// A value that is not what was requested. Values are in the unit of the request.
struct DesignChange
{
    enum Item
    {
        Phase1,
        IPI,
        Balance,
        Amplitude,
        Phase2,
        Amplitude2,
        Offset,
        Frequency,
        Train,
        // By reading back the text, whose lengths are whole microseconds:
        ReadLength,
        ReadAmplitude,
        ReadTrain,
        ReadFrequency,
        ReadCycles,
    };
    Item item;
    int phase;  // of ReadLength and ReadAmplitude
    float asked;
    float got;
};

struct Design
{
    // A place for designs for that stimulator; its pattern kind is Lilly.
    explicit Design(const Stimulator& stimulator) : report(stimulator) {}

    bool repairable = true;  // false: the pattern cannot be repaired within the budget, and there is no text
    std::string text;        // empty when there is none
    std::vector<DesignChange> changes;
    Report report;  // on the text
};

// REQUIRES: report.stimulator is of the kind Lilly, and the values are finite (but for trainMsec) and 0 or above.
void MakeDesign(const DesignRequest& request, Design& design);

}  // namespace preview
