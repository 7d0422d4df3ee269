#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Events.h"
#include "PatternCommand.h"
#include "Timeline.h"

struct PlayOptions : PatternOptions
{
    std::string format = "table";
    preview::Host host;
    std::string schedule;  // empty: the input is one channel
    std::optional<std::int64_t> untilMsec;
    std::string output;  // for events

    const std::string& PatternFile() const { return schedule.empty() ? input.file : schedule; }
};

// Plays the trains of options.schedule. Returns the exit status.
int PlaySchedule(const PlayOptions& options);

// Writes a table of events and, beside it, the description of its columns. path ends in "_events.tsv".
void WriteEvents(const std::string& path, const std::string& events);
