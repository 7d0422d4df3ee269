#include "Events.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "NumberFormat.h"
#include "Units.h"
#include "Utf8.h"

namespace preview {
namespace {

constexpr int Decimals = 6;
constexpr const char* Unknown = "n/a";

// A cell has no tab and no line end in it, and is not empty.
std::string Cell(std::string_view text)
{
    return text.empty() ? Unknown : ShownText(text, std::numeric_limits<std::size_t>::max());
}

std::string Seconds(double seconds)
{
    return std::isfinite(seconds) ? Rounded(seconds, Decimals) : Unknown;
}

}  // namespace

std::string EventsHeader()
{
    return "onset\tduration\tchannel\tstimulus\tspecification_string\n";
}

void AppendEvent(std::string& table, const Event& event)
{
    table += Seconds(event.onsetSec) + '\t' + Seconds(event.durationSec) + '\t' +
             (event.channel ? std::to_string(*event.channel) : Unknown) + '\t' + Cell(event.head) + '\t' +
             Cell(event.text) + '\n';
}

std::string EventsOf(Schedule& schedule, std::optional<std::int64_t> untilMsec)
{
    std::string table = EventsHeader();
    for (const ScheduledTrain& train : schedule.Trains()) {
        const auto startMsec = static_cast<double>(train.startMsec);
        double endMsec = train.endUsec / UsecPerMsec;
        if (untilMsec) endMsec = std::min(endMsec, static_cast<double>(*untilMsec));
        if (endMsec <= startMsec) continue;
        const ScheduledPattern& pattern = schedule.PatternOf(train);
        AppendEvent(table, {startMsec / MsecPerSecond, (endMsec - startMsec) / MsecPerSecond, train.channel,
                            pattern.head, pattern.text});
    }
    return table;
}

std::string EventsDescription()
{
    const nlohmann::ordered_json description{
        {"onset", {{"Description", "When the train is scheduled to start"}, {"Units", "s"}}},
        {"duration",
         {{"Description",
           "How long the train is scheduled to last: as its command words play it, or until the end of the "
           "schedule; n/a without end"},
          {"Units", "s"}}},
        {"channel", {{"Description", "Stimulator channel; n/a where the schedule has none"}}},
        {"stimulus", {{"Description", "Name of the pattern that is scheduled"}}},
        {"specification_string",
         {{"Description",
           "Specification string of the pattern: lengths in microseconds, currents in microamperes"}}}};
    constexpr int Indent = 4;
    return description.dump(Indent) + '\n';
}

}  // namespace preview
