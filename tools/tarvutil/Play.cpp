#include "Commands.h"
#include "ContinuedItemPlay.h"
#include "Json.h"
#include "PatternCommand.h"
#include "Playback.h"
#include "Table.h"

namespace {

struct Options : PatternOptions
{
    std::string format = "table";
    int pollMsec = 1;
    int blocks = 5;
};

struct Block
{
    std::int64_t sentMsec;
    std::int64_t dueMsec;
    int cycles;      // in word 0
    int cyclesLeft;  // to be commanded after it
};

// What a host sends for one pattern, and when.
struct Timeline
{
    bool continuous = false;
    int cyclesAsked = 0;
    std::int64_t cyclesSent = 0;
    double longestGapMsec = 0;  // between the end of a block and the sending of the next
    std::vector<Block> blocks;

    bool Complete() const { return continuous || cyclesSent == cyclesAsked; }
};

// A host: sends the first block at time 0 and polls its record of the play from then on. Of the polls only
// those are made at which a block can be due.
class Host
{
 public:
    Host(const Options& options, StimPattern& pattern, const std::vector<unsigned int>& words)
        : m_options(options),
          m_pattern(&pattern),
          m_words(words),
          m_cycleMsec(playback::PeriodUsec(words, options.stimulator.Scale()) * 1e-3)
    {
        m_timeline.continuous = pattern.IsContinuous();
        m_timeline.cyclesAsked = pattern.CycleCount();
    }

    Timeline Play()
    {
        const int first = playback::CyclesOf(m_words[0]);
        ContinuedItemPlay play({0, &m_pattern}, first, 0);
        Send({0, 0, first, play.RemCycles()});
        while (play.RemCycles() > 0 && !Stopped()) {
            const std::int64_t due = play.m_nextMsec;
            const std::int64_t now = FirstPollAfter(due + 2);
            if (!play.ReadyToContinue(now)) break;
            if (play.ContinueCmds(now, reinterpret_cast<unsigned char*>(m_words.data())) < 1) break;
            Send({now, due, playback::CyclesOf(m_words[0]), play.RemCycles()});
        }
        return m_timeline;
    }

 private:
    bool Stopped() const
    {
        return m_timeline.continuous &&
               m_timeline.blocks.size() >= static_cast<std::size_t>(m_options.blocks);
    }

    std::int64_t FirstPollAfter(std::int64_t msec) const
    {
        return (msec / m_options.pollMsec + 1) * m_options.pollMsec;
    }

    void Send(const Block& block)
    {
        const auto sent = static_cast<double>(block.sentMsec);
        m_timeline.longestGapMsec = std::max(m_timeline.longestGapMsec, sent - m_endMsec);
        m_endMsec = std::max(m_endMsec, sent) + block.cycles * m_cycleMsec;
        m_timeline.cyclesSent += block.cycles;
        m_timeline.blocks.push_back(block);
    }

    const Options& m_options;
    StimPattern* m_pattern;
    std::vector<unsigned int> m_words;
    const double m_cycleMsec;  // as the words play it
    double m_endMsec = 0;      // when what was sent has been played
    Timeline m_timeline;
};

std::string Totals(const Timeline& timeline)
{
    std::string text = "  total: " + std::to_string(timeline.cyclesSent) + " cycles in " +
                       std::to_string(timeline.blocks.size()) + " blocks, ";
    if (timeline.continuous) return text + "continuous: stopped here";
    text += std::to_string(timeline.cyclesAsked) + " asked: ";
    return text + (timeline.Complete() ? "complete" : "NOT complete");
}

void PrintTable(Output& output, const Place& place, const Timeline& timeline)
{
    Table table({"block", "sent ms", "due ms", "cycles", "cycles left"});
    for (const Block& block : timeline.blocks)
        table.Add({std::to_string(table.Size() + 1), std::to_string(block.sentMsec),
                   std::to_string(block.dueMsec), std::to_string(block.cycles),
                   timeline.continuous ? "continuous" : std::to_string(block.cyclesLeft)});
    std::string text = place.Text() + ":\n";
    table.Print(text);
    output.Write(text + Totals(timeline) + "\n");
}

void PrintJson(Output& output, Json json, const Timeline& timeline)
{
    if (timeline.continuous)
        json["continuous"] = true;
    else
        json["cycles"] = timeline.cyclesAsked;
    json["blocks"] = Json::array();
    for (const Block& block : timeline.blocks) {
        Json entry{{"sent_ms", block.sentMsec}, {"due_ms", block.dueMsec}, {"cycles", block.cycles}};
        if (!timeline.continuous) entry["cycles_left"] = block.cyclesLeft;
        json["blocks"].push_back(std::move(entry));
    }
    json["cycles_sent"] = timeline.cyclesSent;
    json["complete"] = timeline.Complete();
    json["longest_gap_ms"] = timeline.longestGapMsec;
    PrintLine(output, json);
}

bool PlayOne(const Options& options, Output& output, const Reading& reading)
{
    const bool json = options.format == "json";
    if (!reading.Encoded()) {
        if (json) PrintLine(output, JsonOf(reading));
        return false;
    }
    AnyPattern pattern = reading.pattern;
    const Timeline timeline = Host(options, Base(pattern), reading.words).Play();
    if (json)
        PrintJson(output, JsonOf(reading), timeline);
    else
        PrintTable(output, reading.place, timeline);
    if (timeline.longestGapMsec > 0)
        Say(output, reading.place,
            "warning: polled every " + std::to_string(options.pollMsec) + " ms a block comes up to " +
                Rounded(timeline.longestGapMsec) + " ms after the one before has ended");
    return timeline.Complete();
}

int Play(const Options& options)
{
    Output output;
    return ForEachReading(options, output,
                          [&](const Reading& reading) { return PlayOne(options, output, reading); });
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
        .add_option("--poll", options->pollMsec, "How often the host looks at its clock, milliseconds [1]")
        ->option_text("MSEC")
        ->check(CLI::Range(1, MaxPollMsec));
    command.add_option("--blocks", options->blocks, "After how many blocks a continuous pattern stops [5]")
        ->option_text("N")
        ->check(CLI::Range(1, MaxBlocks));
    AddFormatOption(command, options->format, {"table", "json"});
}
