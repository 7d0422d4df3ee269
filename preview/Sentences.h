#pragma once

#include <string>
#include <vector>

#include "Report.h"
#include "Schedule.h"
#include "Summary.h"

// The values of this room as sentences. They are made only when a report is printed.
namespace preview {

// "time step: 0 us is not a finite number above 0"
std::string Sentence(const Stimulator& stimulator, StimulatorValue unusable);

// An ambiguous place of a text: "phase 1: "2OO": not a number".
std::string Sentence(const Asked& asked, const Irregularity& irregularity);

// "phase 4: 2880 us is played as 2881 us", of report.deviations.
std::string Sentence(const Report& report, const Finding& finding);

// "as a whole: the period is 1133.333 us, not 1111; the rate is 882.353 Hz, not 900.09". REQUIRES: at least one total.
// names has the names of the phases; "phase 3" without it.
std::string Sentence(const std::vector<Total>& totals, const std::vector<std::string>& names = {});

// The warnings of encode: each notable finding that WarningSentences and the library leave out, and the totals.
// largestFirst: findings by their size, for a place that has no room for all.
std::vector<std::string> DeviationSentences(const Report& report, bool largestFirst = false);

// The caveat that goes with every k.
const char* KSentence();

// "max-error exceeded: 0.667 us, the limit is 0.5 us"
std::string Sentence(const Excess& excess);

// One for each, and the caveat after one of k.
std::vector<std::string> ExcessSentences(const std::vector<Excess>& excesses);

// "max-total-current exceeded: 60 uA at 5 ms, the limit is 50 uA"
std::string Sentence(const TotalCurrent& total, double mostUa);

// "max-error 1 us is less strict than the 0.5 us of lab.toml:7"
std::string Sentence(const Loosened& loosened);

// Everything that keeps a text from its words, a sentence each, the library's own messages first. Empty when the text
// has words.
std::vector<std::string> RefusalSentences(const Report& report);

// "3 patterns, 2 within the limits, 1 refused; largest error of a phase start: 0.667 us (FILE:3), ..."
std::string Sentence(const Summary& summary);

// "channel 3 still plays the train of line 2 until 10 ms, when that of line 4 starts at 8 ms": numbered is the name of
// the trains' numbers, "line".
std::string Sentence(const Overlap& overlap, const char* numbered);

// The ambiguous places of a text that was read in spite of them.
std::vector<std::string> IrregularityWarnings(const Report& report);

// The warnings besides those of the library: these, and a requested balance that the pattern does not have.
std::vector<std::string> WarningSentences(const Report& report);

// "phase 3 meets 10 us of a time step that phase 1 has begun": empty for another reason of a refusal.
std::string MeetingSentence(const Refusal& refusal);

// Word 0 counts the cycles of the first of several commands: empty when it counts them all.
std::string FirstCommandSentence(const Encoding& encoding);

// A block comes after the one before it has ended. REQUIRES: timeline.longestGapMsec is above 0.
std::string LateBlockSentence(const Timeline& timeline, const Host& host);

// What the end of a schedule does to a train: empty for one that ends before it. The words of a train that is cut play on.
std::string CutSentence(const ScheduledTrain& train, std::int64_t untilMsec);

// The refused list after a repair: empty when nothing was repaired.
std::string RepairSentence(const Refusal& refusal);

// "(200,-60)(100,0)", each number the shortest text of its float.
std::string PhaseListText(const std::vector<phase>& phases);

// "phase 2 (50 us, -30 uA)"
std::string NameOfPhase(const std::vector<phase>& phases, int index);

}  // namespace preview
