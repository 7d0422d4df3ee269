#pragma once

#include <string_view>

#include "Advice.h"
#include "Input.h"
#include "Output.h"
#include "Report.h"

// Prints a message for the user on standard error, in its order among what output collects: the place, a colon and
// the text, control characters as \xNN and a long text shortened in its middle.
void PrintMessage(Output& output, const Place& place, std::string_view text);
// For messages without a place: the name of the program stands there.
void PrintMessage(std::string_view text);

// What keeps the text of the report from its words, and what AdviceOn(report) advises, or else what the library and the
// balance mode changed.
void PrintMessages(Output& output, const Place& place, const preview::Report& report,
                   const preview::Advice& advice);
void PrintMessages(Output& output, const Place& place, const preview::Report& report);

// Warns of each notable deviation that PrintMessages leaves out, and of what all of them come to.
void PrintDeviations(Output& output, const Place& place, const preview::Report& report);
