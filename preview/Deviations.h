#pragma once

#include <optional>
#include <string>
#include <vector>

#include "CurrentPhases.h"
#include "Encoding.h"
#include "Playback.h"

// How far what the words of a pattern play is from what its text asks for, in numbers.
namespace preview {

// From so many microseconds on a difference is notable: half a microsecond, less what floats may take from it.
constexpr double NotableUsec = 0.4999;

// Why something is played otherwise than the text asks.
enum class Cause
{
    LengthRead,     // the text reader rounds lengths to whole microseconds
    AmplitudeRead,  // and amplitudes to whole steps, positive ones to 100 at most
    Clamped,        // the largest amplitude
    Balanced,       // the balance mode rebuilt the phase, or the period took up the difference
    AmplitudeCut,  // words hold whole steps: a part of one is cut, also where a float lacks a hair to the whole
    AmplitudeCeiling,  // a word holds at most 100 steps
    SplitLost,         // a split point above 31 us does not fit its five bits
    SplitCut,          // split points are whole microseconds
    LeftoversDropped,  // at most half a microsecond of a phase, no time step of its own
    CountsRoundedUp,   // a phase lacks a little to whole time steps
    TailWord,          // the cycle is a whole number of time steps
    NextCurrent,       // a phase is played, in part or whole, at the current of the next
    CyclesRounded,     // the train is a whole number of cycles
    BalanceMode,       // the text asks for another mode than is set
    NotBalanced,       // a balance mode is set, and the charges of the two phases differ all the same
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

    // Of a step that phases share, or that the last one does not fill:
    std::size_t word = 0;  // its index in the word array; 0 for other causes
    bool atEnd = false;    // it is the end of the phase that moves, not its start

    // From half a microsecond or one amplitude step on, and what is no small number of either.
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

// What a pattern comes to as a whole, played otherwise than it is asked.
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

// Those from half a microsecond, one amplitude step, or a thousandth of the charge of a polarity or of the rate on.
std::vector<Total> NotableTotals(const Stimulator& stimulator, const Deviations& deviations);

// Fills deviations, in the memory that it holds. REQUIRES: the encoding of a stimulator's encoder that has words.
void FindDeviations(const Stimulator& stimulator, const Encoding& encoding, Deviations& deviations);

}  // namespace preview
