#include "Commands.h"
#include "Fault.h"
#include "Json.h"
#include "Messages.h"
#include "NumberFormat.h"
#include "PatternCommand.h"
#include "Sentences.h"
#include "Table.h"
#include "WordRows.h"
#include "WordText.h"

using namespace preview;

namespace {

struct EncodeOptions : PatternOptions
{
    Jobs jobs;
    std::string format = "table";
    std::string output;
};

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

std::string WordTable(const Report& report, std::string_view place)
{
    Table table({"#", "word", "kind", "steps", "us", "uA", "split us", "flags"});
    for (const WordRow& row : RowsOf(report.stimulator.Scale(), report.encoding.words)) {
        std::vector<std::string> cells{std::to_string(table.Size()), WordText(row.bits),
                                       playback::NameOf(row.kind)};
        if (row.kind == playback::Kind::Cycles)
            cells.push_back(std::to_string(playback::CyclesOf(row.bits)));
        else
            cells.insert(cells.end(),
                         {std::to_string(row.word.timeSteps), Rounded(row.durationUsec),
                          Rounded(row.currentUa), std::to_string(row.word.splitUsec), Flags(row.word)});
        table.Add(cells);
    }
    std::string text = std::string(place) + ": " + std::to_string(report.encoding.words.size()) + " of " +
                       std::to_string(report.stimulator.budget) + " words, " +
                       CyclesText(Base(report.encoding.pattern)) + "\n";
    table.Print(text);
    return text;
}

void PrintBinary(Output& output, const std::vector<unsigned int>& words)
{
    output.Write({reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]});
}

void Print(Output& output, const std::string& format, const Place& place, const Report& report)
{
    if (format == "json") return output.Write(WordsJson(report, place.Text()) + '\n');
    const std::vector<unsigned int>& words = report.encoding.words;
    if (words.empty()) return;
    if (format == "hex") {
        AppendWords(output.Buffer(), words);
        output.Written();
    } else if (format == "binary") {
        PrintBinary(output, words);
    } else {
        output.Write(WordTable(report, place.Text()));
    }
}

int Encode(const EncodeOptions& options)
{
    NeedInput(options.input);
    Output output(options.output);
    if (options.format == "binary" && output.IsTerminal())
        throw Fault("binary words go to a file or a pipe, not to a terminal: give --output PATH");
    const auto print = [&options](Output& printed, const Place& place, const Report& report) {
        if (report.encoding.Encoded()) {
            PrintDeviations(printed, place, report);
            const std::string first = FirstCommandSentence(report.encoding);
            if (!first.empty()) PrintWarning(printed, place, first);
        }
        if (report.excesses.empty())
            Print(printed, options.format, place, report);
        else
            RefuseExcesses(printed, options.format == "json", place, report);
        return report.WithinLimits();
    };
    return ForEachReport(options, options.profile.limits, Purpose::Warnings, options.jobs, output, print);
}

}  // namespace

void AddEncode(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<EncodeOptions>();
    CLI::App& command = AddPatternCommand(
        program, "encode", "Print the command words of specification strings", options, Encode, exitStatus);
    AddLimitOptions(command, options->profile.limits);
    AddFormatOption(command, options->format, {"table", "hex", "json", "binary"});
    AddJobsOption(command, options->jobs);
    AddOutputOption(command, options->output, "PATH",
                    "Write to a file, which appears when it is complete; - is standard output");
}
