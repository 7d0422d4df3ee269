#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Stimulator.h"

// What a specification string asks for, read once: the numbers as they are written, before any rounding, and all
// places that the library would read in another way than they are written.
namespace preview {

// A piece of a text, by its place, so that texts can be copied with what was found in them.
struct Span
{
    std::size_t begin = 0;
    std::size_t size = 0;
};

struct AskedPhase
{
    double lenUsec = 0;
    double ampUa = 0;
};

// Why a text, or a part of it, may differ from what its writer meant. The library reads most of these without a message.
enum class Irregular
{
    HeadMissing,       // the text begins with its phases
    FieldMissing,      // no phases, or no train
    FieldEmpty,        // two colons in a row, or one at an end
    FieldExtra,        // a field after the last that is known
    FieldName,         // a field of another name
    FieldForm,         // not name=[value]
    BalanceNotTaken,   // a balance mode for a plain pattern
    BalanceMode,       // not 0, 1, 2, 3 or 4
    PhaseCount,        // not the five of a Lilly pattern
    PhaseForm,         // not (length,amplitude)
    BlankAfterPhases,  // after the last ")"
    Number,            // not a number in decimal or exponent form, from its first character to its last
    NotFinite,         // a number beyond the range of single precision
    ControlCharacter,  // other than a tab
    HeadNotUtf8,
};

struct Irregularity
{
    Irregular kind;
    int field = 0;       // from 1; 0 for the text as a whole
    int phase = -1;      // index; -1 outside the phases
    bool isAmp = false;  // of the phase: its amplitude, not its length
    Span item;           // what stands there
};

struct Asked
{
    std::string text;
    Span head, phaseField, durationField, balanceField;  // empty where the text has none

    std::vector<AskedPhase> phases;
    double trainMsec = 0;  // infinite for a train without end
    int balanceMode = 0;   // as written; 0 where there is none

    static constexpr std::size_t MaxIrregularities = 5;
    std::vector<Irregularity> irregularities;  // the first of them, in the order of the text
    std::size_t irregular = 0;                 // how many there are

    std::string_view At(const Span& span) const
    {
        return std::string_view(text).substr(span.begin, span.size);
    }
};

// Whether all of text is one number in decimal or exponent form: "200", "-0.5", "2e3", ".5", "5.".
bool IsDecimal(std::string_view text);

// Reads text, for a pattern of that kind, into asked. Uses the memory of asked.
void ReadAsked(std::string_view text, PatternKind kind, Asked& asked);

}  // namespace preview
