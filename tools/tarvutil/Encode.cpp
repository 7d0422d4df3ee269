#include "Commands.h"
#include "Deviations.h"
#include "Json.h"
#include "PatternCommand.h"
#include "Playback.h"
#include "Table.h"
#include "WordText.h"

namespace {

struct Options : PatternOptions
{
    std::string format = "table";
    std::string output;
};

// One word and what it says, in the units of the user.
struct Row
{
    unsigned int bits;
    playback::Kind kind;
    playback::Word word;
    double durationUsec;
    double currentUa;
};

std::vector<Row> RowsOf(const Stimulator& stimulator, const std::vector<unsigned int>& words)
{
    const playback::Scale scale = stimulator.Scale();
    std::vector<Row> rows{{words.front(), playback::Kind::Cycles, {}, 0, 0}};
    for (std::size_t i = 1; i < words.size(); ++i) {
        const playback::Word word = playback::Unpack(words[i]);
        rows.push_back({words[i], playback::KindOf(word), word, word.timeSteps * scale.timeStepUsec,
                        word.ampSteps * scale.ampStepUa});
    }
    return rows;
}

std::string Flags(const playback::Word& word)
{
    std::string flags;
    if (word.inPulse) flags += "in-pulse ";
    if (word.flag14) flags += "flag-14 ";
    if (word.ampAfterSplit) flags += "after-split ";
    return flags;
}

std::string CyclesText(const StimPattern& pattern)
{
    return pattern.IsContinuous() ? "continuous" : "cycles: " + std::to_string(pattern.CycleCount());
}

void PrintTable(Output& output, const Options& options, const Reading& reading)
{
    Table table({"#", "word", "kind", "steps", "us", "uA", "split us", "flags"});
    for (const Row& row : RowsOf(options.stimulator, reading.words)) {
        std::vector<std::string> cells{std::to_string(table.Size()), WordText(row.bits),
                                       playback::NameOf(row.kind)};
        if (row.kind == playback::Kind::Cycles)
            cells.push_back(std::to_string(playback::CyclesOf(row.bits)));
        else
            cells.insert(cells.end(),
                         {std::to_string(row.word.timeSteps), Rounded(row.durationUsec),
                          Rounded(row.currentUa), std::to_string(row.word.splitUsec), Flags(row.word)});
        table.Add(std::move(cells));
    }
    std::string text = reading.place.Text() + ": " + std::to_string(reading.words.size()) + " of " +
                       std::to_string(options.stimulator.budget) + " words, " +
                       CyclesText(Base(reading.pattern)) + "\n";
    table.Print(text);
    output.Write(text);
}

Json JsonOf(const Row& row)
{
    if (row.kind == playback::Kind::Cycles)
        return {{"kind", NameOf(row.kind)}, {"cycles", playback::CyclesOf(row.bits)}};
    return {{"kind", NameOf(row.kind)},        {"duration_steps", row.word.timeSteps},
            {"duration_us", row.durationUsec}, {"current_ua", row.currentUa},
            {"split_us", row.word.splitUsec},  {"in_pulse", row.word.inPulse},
            {"flag_14", row.word.flag14},      {"after_split", row.word.ampAfterSplit}};
}

void PrintJson(Output& output, const Options& options, const Reading& reading)
{
    Json json = JsonOf(reading);
    if (reading.Encoded()) {
        const StimPattern& pattern = Base(reading.pattern);
        if (pattern.IsContinuous())
            json["continuous"] = true;
        else
            json["cycles"] = pattern.CycleCount();
        json["time_step_us"] = JsonNumber(options.stimulator.timeStepUsec);
        json["amp_step_ua"] = JsonNumber(options.stimulator.ampStepUa);
        json["words"] = reading.words;
        for (const Row& row : RowsOf(options.stimulator, reading.words))
            json["content"].push_back(JsonOf(row));
    }
    PrintLine(output, json);
}

void PrintBinary(Output& output, const std::vector<unsigned int>& words)
{
    output.Write({reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]});
}

void Print(Output& output, const Options& options, const Reading& reading)
{
    if (options.format == "json") return PrintJson(output, options, reading);
    if (!reading.Encoded()) return;
    if (options.format == "hex") {
        AppendWords(output.Buffer(), reading.words);
        output.Written();
    } else if (options.format == "binary") {
        PrintBinary(output, reading.words);
    } else {
        PrintTable(output, options, reading);
    }
}

int Encode(const Options& options)
{
    NeedInput(options.input);
    Output output(options.output);
    if (options.format == "binary" && output.IsTerminal())
        throw Fault("binary words go to a file or a pipe, not to a terminal: give --output PATH");
    return ForEachReading(options, output, [&](const Reading& reading) {
        if (reading.Encoded() && MayDeviate(options.stimulator, reading))
            SayDeviations(output, options.stimulator, reading);
        Print(output, options, reading);
        return reading.Encoded();
    });
}

}  // namespace

void AddEncode(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command = AddPatternCommand(
        program, "encode", "Print the command words of specification strings", options, Encode, exitStatus);
    AddFormatOption(command, options->format, {"table", "hex", "json", "binary"});
    AddOutputOption(command, options->output, "PATH",
                    "Write to a file, which appears when it is complete; - is standard output");
}
