#include "Play.h"

#include <cmath>

#include "Commands.h"
#include "Fault.h"
#include "Json.h"
#include "Messages.h"
#include "NumberFormat.h"
#include "Sentences.h"
#include "Table.h"
#include "Units.h"

using preview::Block;
using preview::Timeline;

namespace {

std::string Totals(const Timeline& timeline)
{
    std::string text = "  total: " + std::to_string(timeline.cyclesSent) + " cycles in " +
                       std::to_string(timeline.blocks.size()) +
                       (timeline.blocks.size() == 1 ? " block, " : " blocks, ");
    if (timeline.continuous) return text + "continuous: stopped here";
    text += std::to_string(timeline.cyclesAsked) + " asked: ";
    return text + (timeline.Complete() ? "complete" : "NOT complete");
}

std::string TimelineTable(const Timeline& timeline, const std::string& place)
{
    Table table({"block", "sent ms", "due ms", "cycles", "cycles left"});
    for (const Block& block : timeline.blocks)
        table.Add({std::to_string(table.Size() + 1), std::to_string(block.sentMsec),
                   std::to_string(block.dueMsec), std::to_string(block.cycles),
                   timeline.continuous ? "continuous" : std::to_string(block.cyclesLeft)});
    std::string text = place + ":\n";
    table.Print(text);
    return text + Totals(timeline) + "\n";
}

// Plays the patterns as one channel does: one after the other, each for its train, from the first whole millisecond at
// which the one before has ended.
class Channel
{
 public:
    explicit Channel(const PlayOptions& options) : m_options(options), m_events(preview::EventsHeader()) {}

    int Run()
    {
        const int status =
            ForEachReport(m_options, m_options.profile.limits, preview::Purpose::Everything, Jobs{1},
                          m_output, [this](Output&, const Place& place, const preview::Report& report) {
                              return Play(place, report);
                          });
        if (m_options.format == "events" && status == ExitDone) WriteEvents(m_options.output, m_events);
        return status;
    }

 private:
    bool Play(const Place& place, const preview::Report& report)
    {
        if (!report.encoding.Encoded()) {
            if (m_options.format == "json") m_output.Write(TimelineJson(report, {}, place.Text()) + '\n');
            return false;
        }
        if (!report.WithinLimits()) {
            RefuseExcesses(m_output, m_options.format == "json", place, report);
            return false;
        }
        if (!WithinTotal(place, report)) return false;
        if (m_endless) {
            PrintMessage(m_output, place, "is never played: the train before it has no end");
            return false;
        }
        const double trainMsec = report.deviations.trainMsec.played;
        const bool played =
            m_options.format == "events" ? AddEvent(report, trainMsec) : PrintTimeline(place, report);
        m_endless = std::isinf(trainMsec);
        if (!m_endless) m_startMsec = preview::NextMsec(m_startMsec, trainMsec);
        return played;
    }

    bool WithinTotal(const Place& place, const preview::Report& report)
    {
        const std::optional<double>& mostUa = m_options.profile.limits.maxTotalUa;
        const preview::TotalCurrent total = LargestCurrent(report);
        if (!mostUa || total.magnitude.ua <= *mostUa) return true;
        const std::string error = Sentence(total, *mostUa);
        if (m_options.format == "json") m_output.Write(preview::ErrorJson({error}, place.Text()) + '\n');
        PrintMessage(m_output, place, error);
        return false;
    }

    bool PrintTimeline(const Place& place, const preview::Report& report)
    {
        const Timeline timeline = TimelineOf(report.stimulator, report.encoding, m_options.host, m_startMsec);
        if (m_options.format == "json")
            m_output.Write(TimelineJson(report, timeline, place.Text()) + '\n');
        else
            m_output.Write(TimelineTable(timeline, place.Text()));
        if (timeline.longestGapMsec > 0)
            PrintWarning(m_output, place, LateBlockSentence(timeline, m_options.host));
        return timeline.Complete();
    }

    bool AddEvent(const preview::Report& report, double trainMsec)
    {
        const preview::Asked& asked = report.encoding.asked;
        preview::AppendEvent(
            m_events, {static_cast<double>(m_startMsec) / preview::MsecPerSecond,
                       trainMsec / preview::MsecPerSecond, std::nullopt, asked.At(asked.head), asked.text});
        return true;
    }

    const PlayOptions& m_options;
    Output m_output;
    std::string m_events;
    std::int64_t m_startMsec = 0;  // of the next train
    bool m_endless = false;        // no other train follows
};

constexpr std::string_view EventsEnd = "_events.tsv";

bool NamesEvents(const std::string& path)
{
    return path.size() > EventsEnd.size() &&
           path.compare(path.size() - EventsEnd.size(), EventsEnd.size(), EventsEnd) == 0;
}

int Play(const PlayOptions& options)
{
    if ((options.format == "events") != NamesEvents(options.output))
        throw Fault("--format events needs --output NAME_events.tsv, another format takes no --output");
    const bool scheduled = !options.schedule.empty();
    if (!scheduled && options.untilMsec) throw Fault("--until needs --schedule");
    if (scheduled && !(options.input.file.empty() && options.input.arguments.empty()))
        throw Fault("--schedule has its texts in its file: give no --file and no arguments");
    return scheduled ? PlaySchedule(options) : Channel(options).Run();
}

void AddScheduleOptions(CLI::App& command, PlayOptions& options)
{
    constexpr std::int64_t MaxUntilMsec = 1000000000000;
    command
        .add_option("--schedule", options.schedule,
                    "Play a file of trains on several channels: lines of channel, start in milliseconds and "
                    "specification string, with tabs between them")
        ->option_text("PATH")
        ->check([](const std::string& path) { return path.empty() ? "the name of the file is empty" : ""; });
    command
        .add_option("--until", options.untilMsec,
                    "End of the schedule, milliseconds; required for trains without end")
        ->option_text("MSEC")
        ->check(CLI::Range(std::int64_t{1}, MaxUntilMsec));
    AddTotalCurrentOption(command, options.profile.limits);
}

}  // namespace

void WriteEvents(const std::string& path, const std::string& events)
{
    std::string description = path;
    description.replace(description.size() - 3, 3, "json");
    Output table(path);
    table.Write(events);
    Output columns(description);
    columns.Write(preview::EventsDescription());
    table.Finish();
    columns.Finish();
}

void AddPlay(CLI::App& program, int& exitStatus)
{
    constexpr int MaxPollMsec = 1000000000;
    constexpr int MaxBlocks = 1000000;
    const auto options = std::make_shared<PlayOptions>();
    CLI::App& command =
        AddPatternCommand(program, "play", "Print the blocks that a host sends for long trains, in sequence",
                          options, Play, exitStatus);
    command
        .add_option("--poll", options->host.pollMsec, "Interval at which the host polls, milliseconds [1]")
        ->option_text("MSEC")
        ->check(CLI::Range(1, MaxPollMsec));
    command.add_option("--blocks", options->host.blocks, "Blocks after which a continuous pattern stops [5]")
        ->option_text("N")
        ->check(CLI::Range(1, MaxBlocks));
    AddScheduleOptions(command, *options);
    AddLimitOptions(command, options->profile.limits);
    AddFormatOption(command, options->format, {"table", "json", "events"});
    AddOutputOption(command, options->output, "NAME_events.tsv",
                    "With events: the table, with NAME_events.json beside it");
}
