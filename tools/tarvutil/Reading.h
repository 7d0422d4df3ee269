#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Input.h"
#include "Stimulator.h"

// The fields of a specification string, empty ones not counted; empty when there is none.
struct TextFields
{
    std::string_view head, phases, duration, balance;
};

// What became of one specification string: values first, for each command to print its own way.
struct Reading
{
    Place place;
    std::string_view text;
    TextFields fields;

    std::vector<phase> phases;          // as read: lengths whole, amplitudes whole steps; not yet clamped
    std::vector<std::string> errors;    // what the text reader refused, each said once
    std::vector<std::string> warnings;  // what it changed
    // Why there are no words; empty when there are. The last of the errors when there are errors.
    std::string failure;

    // What was encoded, after clamping and balancing; when refused, what the text had set until then.
    AnyPattern pattern;
    std::vector<unsigned int> words;  // word 0 first; empty when refused

    bool Encoded() const { return !words.empty(); }
    // The errors, and the failure where it is none of them.
    std::vector<std::string> Faults() const;
};

// Reads specification strings one after the other, each into a fresh pattern, and encodes them.
class Reader
{
 public:
    explicit Reader(const Stimulator& stimulator);

    // Valid until the next call.
    const Reading& Read(const Place& place, std::string_view text);

 private:
    bool TakePhases();
    bool TakeText();
    void Encode();

    const Stimulator m_stimulator;
    Reading m_reading;
};

// What a specification string asks for: the numbers as written, before any rounding. Only for a text that the
// text reader accepts: a Reading without errors.
struct AskedPhase
{
    double lenUsec;
    double ampUa;
};

struct Asked
{
    std::vector<AskedPhase> phases;
    double trainMsec = 0;  // infinite for a continuous train
};

Asked AskedBy(const TextFields& fields);
double AskedTrainMsec(const TextFields& fields);  // trainMsec alone

// The first phase that validation refuses, whatever the budget; -1 when it refuses none.
int FirstRefused(const StimPattern& pattern, const std::vector<phase>& phases);

// Why pattern cannot take or encode phases, in one sentence that names the phase or the budget.
std::string WhyNotValid(const StimPattern& pattern, const std::vector<phase>& phases);
std::string WhyNotWritten(const Stimulator& stimulator, const std::vector<phase>& phases);

// "phase 2 (50 us, -30 uA)"
std::string NameOfPhase(const std::vector<phase>& phases, std::size_t index);

// Prints faults and warnings at the place of the reading.
class Output;
void SayMessages(Output& output, const Reading& reading);
