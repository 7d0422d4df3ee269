#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Schedule.h"

// What was scheduled, as a table of events in the form of BIDS (the Brain Imaging Data Structure, Gorgolewski 2016,
// doi:10.1038/sdata.2016.44): a line per train, with tabs between the columns, and a JSON file that describes them.
// The table does not describe what was delivered: the program cannot see the electrode.
namespace preview {

struct Event
{
    double onsetSec = 0;
    double durationSec = 0;      // infinite for a train without end
    std::optional<int> channel;  // unknown without
    std::string_view head;       // of the specification string
    std::string_view text;
};

// The line of the names of the columns.
std::string EventsHeader();
// To the microsecond; "n/a" for what is unknown or infinite.
void AppendEvent(std::string& table, const Event& event);
// The table of a schedule; trains are cut at untilMsec, and those that start later are left out.
std::string EventsOf(Schedule& schedule, std::optional<std::int64_t> untilMsec);
// The description of the columns: JSON of several lines.
std::string EventsDescription();

}  // namespace preview
