#include "Commands.h"
#include "Json.h"
#include "Messages.h"
#include "NumberFormat.h"
#include "PatternCommand.h"
#include "Table.h"
#include "Timeline.h"

using preview::Block;
using preview::Timeline;

namespace {

struct Options : PatternOptions
{
    std::string format = "table";
    preview::Host host;
};

std::string Totals(const Timeline& timeline)
{
    std::string text = "  total: " + std::to_string(timeline.cyclesSent) + " cycles in " +
                       std::to_string(timeline.blocks.size()) + " blocks, ";
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

bool PlayOne(const Options& options, Output& output, const Place& place, const preview::Report& report)
{
    const bool encoded = report.encoding.Encoded();
    const Timeline timeline =
        encoded ? TimelineOf(report.stimulator, report.encoding, options.host) : Timeline();
    if (options.format == "json")
        output.Write(TimelineJson(report, timeline, place.Text()) + '\n');
    else if (encoded)
        output.Write(TimelineTable(timeline, place.Text()));
    if (timeline.longestGapMsec > 0)
        PrintMessage(output, place,
                     "warning: polled every " + std::to_string(options.host.pollMsec) +
                         " ms a block comes up to " + preview::Rounded(timeline.longestGapMsec) +
                         " ms after the one before has ended");
    return encoded && timeline.Complete();
}

int Play(const Options& options)
{
    Output output;
    return ForEachReport(options, {}, output, [&](const Place& place, const preview::Report& report) {
        return PlayOne(options, output, place, report);
    });
}

}  // namespace

void AddPlay(CLI::App& program, int& exitStatus)
{
    constexpr int MaxPollMsec = 1000000000;
    constexpr int MaxBlocks = 1000000;
    const auto options = std::make_shared<Options>();
    CLI::App& command = AddPatternCommand(
        program, "play", "Print the blocks that a host sends for a long train", options, Play, exitStatus);
    command
        .add_option("--poll", options->host.pollMsec,
                    "How often the host looks at its clock, milliseconds [1]")
        ->option_text("MSEC")
        ->check(CLI::Range(1, MaxPollMsec));
    command
        .add_option("--blocks", options->host.blocks, "After how many blocks a continuous pattern stops [5]")
        ->option_text("N")
        ->check(CLI::Range(1, MaxBlocks));
    AddFormatOption(command, options->format, {"table", "json"});
}
