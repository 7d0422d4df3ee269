#pragma once

#include <optional>
#include <string>
#include <vector>

#include "CurrentPhases.h"
#include "Encoding.h"
#include "Playback.h"

// The differences between what the words of a pattern play and what its text asks for, in numbers.
namespace preview {

// A difference is notable from this many microseconds on: half a microsecond, less the rounding of floats.
constexpr double NotableUsec = 0.4999;
// A difference of a charge, a rate or a train is notable from this part of what is asked on: a thousandth, less such
// roundings.
constexpr double NotablePart = 0.999999e-3;

// Why something is not played as the text asks.
enum class Cause
{
    LengthRead,     // the text reader rounds lengths to whole microseconds
    AmplitudeRead,  // and amplitudes to whole steps, positive ones to 100 at most
    Clamped,        // the largest amplitude
    Balanced,       // the balance mode rebuilt the phase, or the last phase changed to keep the period
    AmplitudeCut,  // words have whole steps: a part of one is cut, also when a float is just below a whole number
    AmplitudeCeiling,  // a word has at most 100 steps
    SplitLost,         // a split point above 31 us does not fit its five bits
    SplitCut,          // split points are whole microseconds
    LeftoversDropped,  // at most half a microsecond of a phase, no time step of its own
    CountsRoundedUp,   // a phase ends just before the end of a time step
    TailWord,          // the cycle is a whole number of time steps
    NextCurrent,       // a phase is played, in part or whole, at the current of the next
    CyclesRounded,     // the train is a whole number of cycles
    BalanceMode,       // the text asks for another mode than is set
    NotBalanced,       // a balance mode is set, but the charges of the two phases differ
    ForeignWords,      // the words are not those of the phases
};

const char* NameOf(Cause cause);  // "length-read", ...

// One deviation, or one that adds up along the list.
struct Finding
{
    Cause cause;
    int phase = -1;          // index; -1 for the pattern as a whole
    int phases = 1;          // how many have it, from that one on
    double usec = 0;         // how much longer, or later, what is played is; the sum for several phases
    double largestUsec = 0;  // of what has added up at any boundary, the largest in magnitude
    double ampUa = 0;        // how much more positive the current is

    // For a step that phases share, or that the last one does not fill:
    std::size_t word = 0;  // its index in the word array; 0 for other causes
    bool atEnd = false;    // it is the end of the phase that moves, not its start

    // From half a microsecond or one amplitude step on, and always for causes without such a number.
    bool Notable(const Stimulator& stimulator) const;
};

struct AskedPlayed
{
    double asked = 0;
    double played = 0;

    double Error() const { return played - asked; }
};

// The stages of a phase on its way from text to current.
struct PhaseDeviation
{
    AskedPhase asked;       // as written
    phase read{};           // rounded by the text reader
    phase clamped{};        // to the largest amplitude
    phase balanced{};       // by the balance mode, and what the pattern finally held
    AskedPhase played;      // by the words
    AskedPlayed startUsec;  // within the cycle
    double gainedUsec = 0;  // by counts rounded up, or (below 0) leftovers dropped

    // Whether the stage differs from the one before it.
    bool ReadChanges() const;
    bool ClampChanges() const;
    bool BalanceChanges() const;
    bool PlayChanges() const;
};

struct Deviations
{
    std::vector<PhaseDeviation> phases;
    AskedPlayed periodUsec;
    AskedPlayed frequencyHz;   // infinite for a period of 0
    AskedPlayed cycles;        // in the train; infinite when continuous
    AskedPlayed trainMsec;     // likewise
    playback::Charge askedNc;  // per cycle
    playback::Charge playedNc;
    AskedPlayed balanceMode;  // the text's, and the one that is set
    std::vector<Finding> findings;
    CurrentFigures current;         // of what is played
    std::optional<double> areaCm2;  // of the electrode, where it is known

    // The phase that starts farthest from where it was asked to, and how far; -1 and 0 without phases.
    int LargestError() const;
    double LargestErrorUsec() const;
    AskedPlayed TrainNetNc() const;  // infinite or not a number when continuous
};

// A difference of the pattern as a whole.
struct Total
{
    enum Item
    {
        Start,  // the phase that starts farthest from where it was asked to
        Period,
        Frequency,
        PositiveCharge,  // per cycle, as the two that follow
        NegativeCharge,
        NetCharge,
        Amplitude,  // of the phase whose amplitude is farthest from what was asked
    };
    Item item;
    int phase;  // of Start and Amplitude; -1 for others
    AskedPlayed value;
};

// The differences of at least half a microsecond, one amplitude step, or a thousandth of the charge of a polarity or of
// the rate.
std::vector<Total> NotableTotals(const Stimulator& stimulator, const Deviations& deviations);

// Fills deviations, and uses its memory. REQUIRES: the encoding of a stimulator's encoder that has words, and its trace.
void FindDeviations(const Stimulator& stimulator, const Encoding& encoding, Deviations& deviations);

// The same where the words plainly play each phase as it is asked, as those of most patterns do: then only the train can
// be notable. This needs no trace, and leaves all but the period, the cycles and the train empty or as it was. False for
// whatever needs a closer look; then deviations has nothing of use. REQUIRES: as FindDeviations, but for the trace.
bool FindDeviationsOfTrain(const Stimulator& stimulator, const Encoding& encoding, Deviations& deviations);

}  // namespace preview
