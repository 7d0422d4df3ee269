#pragma once

#include <string_view>

#include "Advice.h"
#include "Input.h"
#include "Output.h"
#include "Report.h"

// Prints a message for the user on standard error: the place, a colon and the text, with control characters as \xNN and a
// long text shortened in its middle. The message keeps its order among the results that output collects.
void PrintMessage(Output& output, const Place& place, std::string_view text);
void PrintWarning(Output& output, const Place& place, std::string_view text);
// For messages without a place: they have the name of the program instead.
void PrintMessage(std::string_view text);

// The reasons why the text of the report has no words and the advice of AdviceOn(report), or the changes by the library
// and the balance mode.
void PrintMessages(Output& output, const Place& place, const preview::Report& report,
                   const preview::Advice& advice);
void PrintMessages(Output& output, const Place& place, const preview::Report& report);

// Warns of each notable deviation that PrintMessages leaves out, and of the totals.
void PrintDeviations(Output& output, const Place& place, const preview::Report& report);
