#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Asked.h"
#include "Refusal.h"
#include "Stimulator.h"
#include "Trace.h"

// A specification string, and the words that the library makes of it.
namespace preview {

struct Encoding
{
    // A place for the encodings of that stimulator, of which no value is unusable.
    explicit Encoding(const Stimulator& stimulator) : pattern(MakePattern(stimulator)) {}

    Asked asked;

    // The library's messages, without line ends; only the first of equal ones in a row.
    std::vector<std::string> errors;
    std::vector<std::string> warnings;

    // What was encoded, after clamping and balancing; when it is refused, no phases or those that could not be written.
    AnyPattern pattern;
    std::vector<unsigned int> words;  // word 0 first; empty when refused
    Trace trace;                      // of the words to the phases; ReportOn fills it
    std::optional<Refusal> refusal;   // why there are no words

    bool Encoded() const { return !words.empty(); }
};

// How a text is read.
enum class Reading
{
    Strict,   // irregular texts are refused
    Lenient,  // as the library reads
};

// Reads a text into a fresh pattern and encodes it. Uses the memory of encoding, a place of the same stimulator.
void Encode(const Stimulator& stimulator, std::string_view text, Reading reading, Encoding& encoding);

// Encodes a copy of the pattern, which is for the same stimulator. Its present phases, train and balance mode are what is
// asked.
void Encode(const Stimulator& stimulator, const AnyPattern& pattern, Encoding& encoding);

// The phases as the library's reader makes them of the text: lengths whole microseconds, amplitudes whole steps; not
// yet clamped or balanced. Empty when the reader refuses them.
std::vector<phase> PhasesRead(const Stimulator& stimulator, const Encoding& encoding);

}  // namespace preview
