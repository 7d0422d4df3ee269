#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Report.h"
#include "Samples.h"
#include "Timeline.h"

// Trains on several channels, each from its own start: the commands that a host sends for them, and the current of all
// channels together. The memory grows with the number of trains, not with their duration; equal texts share their words.
namespace preview {

constexpr int MaxChannel = 1000000;
// The latest start: 31 years, or what the clock of the host holds.
inline std::int64_t MaxStartMsec()
{
    return Host::Clock(1000000000000);
}

// A line "channel TAB start TAB text" of a schedule: the channel is a whole number of 0 or above, the start one of
// milliseconds.
struct ScheduleLine
{
    int channel = 0;
    std::int64_t startMsec = 0;
    std::string_view text;
};

// Returns what is wrong with the line, or nothing.
std::string ReadScheduleLine(std::string_view line, ScheduleLine& read);

// A text of the schedule, read once.
struct ScheduledPattern
{
    std::string text;
    std::string head;
    AnyPattern pattern;
    std::vector<unsigned int> words;
    Train train;  // its cycles are not used
    std::int64_t periodSteps;
};

struct ScheduledTrain
{
    std::size_t number;  // the caller's number of the train
    int channel;
    std::int64_t startMsec;
    std::size_t pattern;  // index
    double endUsec;       // infinite for a train without end
};

// A block of cycles that the host sends.
struct ScheduledCommand
{
    std::int64_t sentMsec;
    std::int64_t dueMsec;
    int channel;
    int cycles;          // in word 0
    int cyclesLeft;      // of the train; -1 for one without end
    std::size_t number;  // of the train
    const std::vector<unsigned int>& words;
};

// Two trains of one channel, of which the later begins before the earlier has ended.
struct Overlap
{
    ScheduledTrain earlier;
    ScheduledTrain later;
};

struct Peak
{
    double ua = 0;
    double atMsec = 0;  // the first time at which it is reached
};

// The current of all channels together.
struct TotalCurrent
{
    Peak magnitude;  // the largest sum of the magnitudes, which the stimulator must supply
    Peak net;        // the sum of the largest magnitude, which returns through a common electrode
};

// Of one train of the pattern of the report, which has words, on a channel of its own. Times are from its start on.
TotalCurrent LargestCurrent(const Report& report);

// Why a schedule cannot have a train of the pattern of the report, which has words; or nothing.
std::string ScheduleFault(const Report& report);

class Schedule
{
 public:
    explicit Schedule(const Stimulator& stimulator) : m_stimulator(stimulator) {}

    // Adds a train of the pattern of the report, which has words and is for the stimulator of the schedule. REQUIRES: no
    // fault.
    void Add(std::size_t number, const ScheduleLine& line, const Report& report);

    // In the order of their starts.
    const std::vector<ScheduledTrain>& Trains();
    const ScheduledPattern& PatternOf(const ScheduledTrain& train) const { return m_patterns[train.pattern]; }
    bool Endless() const;
    std::optional<Overlap> FindOverlap();

    using Send = std::function<void(const ScheduledCommand&)>;

    // Sends what is due before untilMsec, in the order of the due times: those of a train's first block is its start. At
    // equal times starts come first, then continuations with fewer cycles left. Driven through the library's records of
    // continued plays, ordered as they order themselves. REQUIRES: no overlap, and untilMsec where there are trains
    // without end.
    void Play(const Host& host, std::optional<std::int64_t> untilMsec, const Send& send);

    // Before untilMsec, of trains without gaps from their starts, whatever the host's polls. Stretches of less than a
    // nanosecond do not count. REQUIRES: as Play.
    TotalCurrent Total(std::optional<std::int64_t> untilMsec);

 private:
    const Stimulator m_stimulator;
    std::deque<ScheduledPattern> m_patterns;  // of fixed address: records point to them
    std::map<std::string, std::size_t, std::less<>> m_byText;
    std::vector<ScheduledTrain> m_trains;
    bool m_sorted = true;
};

}  // namespace preview
