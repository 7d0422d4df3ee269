#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>

#include "Commands.h"
#include "ExitStatus.h"
#include "Fault.h"
#include "Json.h"
#include "Messages.h"
#include "NumberFormat.h"
#include "Options.h"
#include "Output.h"
#include "Samples.h"
#include "Table.h"
#include "WordText.h"

using preview::Rounded;
using preview::Shortest;

namespace {

struct DecodeOptions
{
    preview::Profile profile;  // what is in force
    std::string device;
    Input input;
    Jobs jobs;
    std::string format = "table";
    bool train = false;
    std::optional<double> sampleRateHz;
};

// One word array as it was read, and the steps that its words are for.
struct Record
{
    std::vector<unsigned int> words;
    float timeStepUsec = 0;
    float ampStepUa = 0;
    std::optional<long long> cycles;  // of the whole train; without, those of word 0
    bool continuous = false;

    playback::Scale Scale() const
    {
        return {static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)};
    }
};

// table: of earlier records, or new.
void PrintTable(Output& output, Table& table, const Place& place, const Record& record)
{
    table.Clear();
    for (const playback::Segment& segment : playback::Segments(record.words, record.Scale())) {
        for (const double number : {segment.startUsec, segment.durationUsec, segment.currentUa}) {
            preview::AppendRounded(table.Cell(), number);
            table.EndCell();
        }
        table.Cell() += playback::NameOf(segment.kind);
        table.EndCell();
        table.Cell() += std::to_string(segment.word);
        table.EndCell();
        table.EndRow();
    }
    std::string& text = output.Buffer();
    text += place.Text();
    text.append(": cycles: ").append(std::to_string(playback::CyclesOf(record.words[0])));
    text.append(", period: ").append(Rounded(playback::PeriodUsec(record.words, record.Scale())));
    text += " us\n";
    table.Print(text);
    output.Written();
}

void AppendNumbers(std::string& text, std::initializer_list<double> numbers)
{
    char digits[32];
    for (const double number : numbers) {
        text.append(digits, std::to_chars(digits, digits + sizeof digits, number + 0.0).ptr);
        text += ',';
    }
    text.back() = '\n';
}

// The train of the record, or one cycle of it, a line after the other.
void PrintCsv(Output& output, const DecodeOptions& options, const Record& record)
{
    const long long cycles = options.train ? record.cycles.value_or(playback::CyclesOf(record.words[0])) : 1;
    const preview::Train train = preview::TrainOf(record.words, record.Scale(), cycles);
    if (options.sampleRateHz) {
        output.Write("time_us,current_ua\n");
        ForEachSample(train, *options.sampleRateHz, [&](double timeUsec, double currentUa) {
            AppendNumbers(output.Buffer(), {timeUsec, currentUa});
            output.Written();
        });
        return;
    }
    output.Write("start_us,duration_us,current_ua\n");
    ForEachStretch(train, [&](double startUsec, double durationUsec, double currentUa) {
        AppendNumbers(output.Buffer(), {startUsec, durationUsec, currentUa});
        output.Written();
    });
}

// Reads word arrays as encode writes them, and prints what they play.
class Decoder
{
 public:
    Decoder(const DecodeOptions& options, Output& output) : m_options(options), m_output(&output) {}

    int Run()
    {
        NeedInput(m_options.input);
        DecodeArguments(m_options.input.arguments);
        if (!m_options.input.file.empty()) DecodeFile();
        if (!m_read) {
            PrintMessage(m_options.input.file + ": no words");
            return ExitFailed;
        }
        m_output->Finish();
        return m_status;
    }

 private:
    // One argument is an array. So is each of several with a blank in it; else their words are those of one array.
    void DecodeArguments(const std::vector<std::string>& arguments)
    {
        const auto single =
            std::count_if(arguments.begin(), arguments.end(), [](const std::string& argument) {
                return argument.find_first_of(" \t{") == std::string::npos && !argument.empty();
            });
        if (arguments.size() < 2 || single == 0) {
            for (std::size_t i = 0; i < arguments.size(); ++i) DecodeLine({{}, i + 1}, arguments[i]);
            return;
        }
        if (single != static_cast<std::ptrdiff_t>(arguments.size()))
            throw Fault(
                "arguments of one word each are the words of one array, an argument with blanks is an array: "
                "give only one of the two kinds");
        preview::WordLine line;
        for (std::size_t i = 0; i < arguments.size(); ++i)
            if (const std::string fault = ReadWordLine(arguments[i], line); !fault.empty())
                return Refuse({{}, i + 1}, fault);
        Record record = EmptyRecord();
        record.words = std::move(line.words);
        Print({{}, 1}, record);
    }

    void DecodeFile()
    {
        FileReader file(m_options.input.file);
        file.BeforeReading([this] { m_output->Flush(); });
        // Word 0 leaves two of its four bytes at 0, which no text holds.
        if (file.Peek(sizeof(unsigned int)).find('\0') != std::string_view::npos)
            DecodeBinary(file);
        else if (m_options.format == "csv")  // takes one pattern
            ForEachLine(file, [this](const Place& place, std::string_view line) { DecodeLine(place, line); });
        else
            DecodeInJobs(file);
    }

    void DecodeInJobs(FileReader& file)
    {
        const auto makeVisit = [this] {
            return [decoder = std::make_shared<Decoder>(m_options, *m_output)](
                       Output& printed, const Place& place, std::string_view line) {
                decoder->m_output = &printed;
                decoder->m_status = ExitDone;
                decoder->DecodeLine(place, line);
                return decoder->m_status;
            };
        };
        ForEachLineInJobs<int>(file, m_options.jobs, *m_output, makeVisit, [this](const Place&, int status) {
            m_read = true;
            m_status = std::max(m_status, status);
        });
    }

    void DecodeLine(const Place& place, std::string_view text)
    {
        m_read = true;
        preview::WordLine line;
        Record record = EmptyRecord();
        std::string fault = ReadWordLine(text, line);
        if (fault.empty())
            fault = SetStep("time_step_us", line.timeStepUsec, "time-step", record.timeStepUsec);
        if (fault.empty()) fault = SetStep("amp_step_ua", line.ampStepUa, "amp-step", record.ampStepUa);
        record.words = std::move(line.words);
        record.cycles = line.cycles;
        record.continuous = line.continuous;
        if (fault.empty())
            Print(place, record);
        else
            Refuse(place, fault);
    }

    Record EmptyRecord() const
    {
        Record record;
        record.timeStepUsec = m_options.profile.stimulator.timeStepUsec;
        record.ampStepUa = m_options.profile.stimulator.ampStepUa;
        return record;
    }

    // JSON words have their steps. An option or a device file may have the same steps, but no others.
    std::string SetStep(const char* key, const std::optional<float>& read, const char* option,
                        float& step) const
    {
        if (!read) return {};
        const std::string& place = m_options.profile.PlaceOf(option);
        if (!place.empty() && *read != step)
            return std::string(key) + " is " + Shortest(*read) + ", " +
                   (IsOfOption(m_options.profile, option) ? "the option" : place) + " has " + Shortest(step);
        step = *read;
        return {};
    }

    // The place of words in binary is the number of their pattern in the file.
    void DecodeBinary(FileReader& file)
    {
        Place place{m_options.input.file, 1};
        Record record = EmptyRecord();
        for (;;) {
            const std::string_view bytes = file.NextBytes(sizeof(unsigned int));
            if (!bytes.empty() && bytes.size() != sizeof(unsigned int))
                return Refuse(place, "the file ends within a word");
            unsigned int word = 0;
            std::memcpy(&word, bytes.data(), bytes.size());
            if (!record.words.empty() && (bytes.empty() || playback::IsCycleWord(word))) {
                Print(place, record);
                record.words.clear();
                ++place.number;
            }
            if (bytes.empty()) return;
            // One word too many is enough to refuse them.
            if (record.words.size() <= StimPattern::MaxWords) record.words.push_back(word);
        }
    }

    void Print(const Place& place, const Record& record)
    {
        m_read = true;
        const std::string refusal = playback::Refusal(record.words);
        if (!refusal.empty()) return Refuse(place, refusal);
        if (m_options.format == "csv")
            PrintOnlyCsv(place, record);
        else if (m_options.format == "json")
            m_output->Write(
                preview::SegmentsJson(record.timeStepUsec, record.ampStepUa, record.words, place.Text()) +
                '\n');
        else
            PrintTable(*m_output, m_table, place, record);
        for (const std::string& remark : playback::Remarks(record.words, record.Scale()))
            PrintWarning(*m_output, place, remark);
    }

    // A table of one train has no column that would tell it from the next.
    void PrintOnlyCsv(const Place& place, const Record& record)
    {
        if (m_printed) return Refuse(place, "--format csv takes one pattern; its table was printed");
        if (m_options.train && record.continuous) return Refuse(place, "--train: the train has no end");
        PrintCsv(*m_output, m_options, record);
        m_printed = true;
    }

    void Refuse(const Place& place, const std::string& fault)
    {
        m_read = true;
        m_status = ExitFailed;
        if (m_options.format == "json") m_output->Write(preview::ErrorJson({fault}, place.Text()) + '\n');
        PrintMessage(*m_output, place, fault);
    }

    const DecodeOptions& m_options;
    Output* m_output;
    Table m_table{"start us", "duration us", "current uA", "kind", "word"};
    bool m_read = false;  // an array
    int m_status = ExitDone;
    bool m_printed = false;
};

// Refuses a rate of more than one sample per picosecond, or less than one per year.
std::string SampleRate(const std::string& text)
{
    constexpr double Least = 1e-8;
    constexpr double Most = 1e12;
    double value = 0;
    const bool usable = CLI::detail::lexical_cast(text, value) && value >= Least && value <= Most;
    return usable ? std::string() : "'" + text + "' is not a sample rate of 1e-8 to 1e12 Hz";
}

}  // namespace

void AddDecode(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<DecodeOptions>();
    CLI::App& command = *program.add_subcommand("decode", "Print the current over time that words play");
    AddInputOptions(command, options->input, "WORDS");
    AddScaleOptions(command, options->profile.stimulator);
    AddDeviceOption(command, options->device);
    AddFormatOption(command, options->format, {"table", "json", "csv"});
    AddJobsOption(command, options->jobs);
    command.add_flag("--train", options->train, "With csv: every cycle of the train, not one");
    command
        .add_option("--sample-rate", options->sampleRateHz,
                    "With csv: the current averaged over samples of this rate, hertz")
        ->option_text("HZ")
        ->check(SampleRate);
    command.callback([options, &command, &exitStatus] {
        if (options->format != "csv" && (options->train || options->sampleRateHz))
            throw CLI::ValidationError("--train and --sample-rate need --format csv");
        Settle(command, options->device, nullptr, options->profile);
        Output output;
        exitStatus = Decoder(*options, output).Run();
    });
}
