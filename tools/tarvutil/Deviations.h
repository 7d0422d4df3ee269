#pragma once

#include <string>
#include <vector>

#include "Playback.h"
#include "Reading.h"
#include "Stimulator.h"

class Output;

// Why something is played otherwise than it was asked.
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
    std::string text;        // says it in a sentence

    // From half a microsecond or one amplitude step on: what a user is warned of unasked.
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
    AskedPhase asked{};     // as written
    phase read{};           // rounded by the text reader
    phase clamped{};        // to the largest amplitude
    phase balanced{};       // by the balance mode, and what the pattern finally held
    AskedPhase played{};    // by the words
    AskedPlayed startUsec;  // within the cycle
    double gainedUsec = 0;  // by counts rounded up, or (below 0) leftovers dropped

    // Whether the stage differs from the one before it.
    bool ReadChanges() const;
    bool ClampChanges() const;
    bool BalanceChanges() const;
    bool PlayChanges() const;
};

// How far what the words of one pattern play is from what its text asked for.
struct Deviations
{
    std::vector<PhaseDeviation> phases;
    AskedPlayed periodUsec;
    AskedPlayed frequencyHz;   // infinite for a period of 0
    AskedPlayed cycles;        // in the train; infinite when continuous
    AskedPlayed trainMsec;     // likewise
    playback::Charge askedNc;  // of one cycle
    playback::Charge playedNc;
    std::vector<Finding> findings;

    // A phase starts, or the cycle ends, half a microsecond or more from where it was asked to.
    bool Notable() const;
    // The phase that starts farthest from where it was asked to, and how far; -1 and 0 without phases.
    int LargestError() const;
    double LargestErrorUsec() const;
    AskedPlayed TrainNetNc() const;  // infinite or not a number when continuous
};

// REQUIRES: reading.Encoded().
Deviations DeviationsOf(const Stimulator& stimulator, const Reading& reading);

// False only when DeviationsOf would find nothing that is notable; decided from the phases and the words,
// without an allocation.
bool MayDeviate(const Stimulator& stimulator, const Reading& reading);

// Warns of each notable deviation at the place of the reading, and where only several small ones together are
// notable, of what they come to. The text reader has told its own.
void SayDeviations(Output& output, const Stimulator& stimulator, const Reading& reading);

// Why a list of phases gives no words, and what a pattern that repairs makes of it.
struct Refusal
{
    std::string text;
    int failing = -1;        // index of the phase that cannot be played; -1 when it is not one phase
    int meets = -1;          // of the one that began the time step which it meets; -1 without
    double carriedUsec = 0;  // what that one leaves of the step

    bool adjusted = false;  // a Lilly pattern was given the list to repair:
    bool adjustedFits = false;
    std::vector<phase> adjustedPhases;
};

// REQUIRES: not reading.Encoded().
Refusal RefusalOf(const Stimulator& stimulator, const Reading& reading);

// "(200,-60)(100,0)", each number the shortest text of its float.
std::string PhaseListText(const std::vector<phase>& phases);
