#pragma once

#include <string>
#include <string_view>

#include "Advice.h"
#include "Design.h"
#include "Picture.h"
#include "Profile.h"
#include "Report.h"
#include "Schedule.h"
#include "Summary.h"
#include "Timeline.h"

// The values of this room as JSON: an object of one line each, without the line's end. docs/program.md describes the
// keys. Numbers that are infinite or unknown are null; bytes that are not UTF-8 become the replacement character. place
// is the place of the text, under the first key; an empty place is left out.
namespace preview {

// With what AdviceOn(report) advises, and with the rows of steps under a key of their own; an empty one of either is
// left out.
std::string ReportJson(const Report& report, std::string_view place, const Advice& advice,
                       const std::vector<StepRow>& steps = {});
std::string ReportJson(const Report& report, std::string_view place);

// Each limit, whether it is set or not: the value that it limits, the most that is let pass, and whether it is exceeded.
// The values are null without words, the most also without a limit. REQUIRES: report was made with these limits.
std::string LimitsJson(const Report& report, const Limits& limits);

// The words and their fields; only the errors when there are no words.
std::string WordsJson(const Report& report, std::string_view place);

std::string TimelineJson(const Report& report, const Timeline& timeline, std::string_view place);

// A command of a schedule, with the place of its train; and the totals of the commands.
std::string CommandJson(const ScheduledCommand& command, std::string_view place);
std::string TotalJson(std::size_t commands, const TotalCurrent& total);

// A schedule as one object: its trains, the commands that play them and their totals. REQUIRES: as Schedule::Play.
std::string ScheduleJson(Schedule& schedule, const Host& host, std::optional<std::int64_t> untilMsec);

// A design by its name: its text and its differences from the request; or the reason for having none.
std::string DesignJson(const Design& design, const std::string& name);

// How usual time steps play a text: what "steps" is in ReportJson.
std::string StepsJson(const std::vector<StepRow>& rows);

// Curves are arrays of [at, current], ticks of [at, label], breaks of [from, to, label].
std::string PictureJson(const Picture& picture);

// The current that words of any source play, and the remarks on them. words begin with word 0.
std::string SegmentsJson(float timeStepUsec, float ampStepUa, const std::vector<unsigned int>& words,
                         std::string_view place);

// The values that are in force, and where each comes from.
std::string ProfileJson(const Profile& profile);

// The results of several patterns together.
std::string SummaryJson(const Summary& summary);

// Errors and nothing else.
std::string ErrorJson(const std::vector<std::string>& errors, std::string_view place);

}  // namespace preview
