#include <CLI/CLI.hpp>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "Commands.h"
#include "Exit.h"
#include "Json.h"
#include "Output.h"
#include "Playback.h"
#include "Table.h"
#include "WordText.h"

namespace {

struct Options
{
    Stimulator stimulator;
    bool timeStepGiven = false;
    bool ampStepGiven = false;
    Input input;
    std::string format = "table";
};

// One word array as it was read, and what its words are for.
struct Record
{
    std::vector<unsigned int> words;
    float timeStepUsec = 0;
    float ampStepUa = 0;

    playback::Scale Scale() const
    {
        return {static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)};
    }
};

void PrintTable(Output& output, const Place& place, const Record& record)
{
    Table table({"start us", "duration us", "current uA", "kind", "word"});
    for (const playback::Segment& segment : playback::Segments(record.words, record.Scale()))
        table.Add({Rounded(segment.startUsec), Rounded(segment.durationUsec), Rounded(segment.currentUa),
                   playback::NameOf(segment.kind), std::to_string(segment.word)});
    std::string text = place.Text() + ": cycles: " + std::to_string(playback::CyclesOf(record.words[0])) +
                       ", period: " + Rounded(playback::PeriodUsec(record.words, record.Scale())) + " us\n";
    table.Print(text);
    output.Write(text);
}

void PrintJson(Output& output, const Place& place, const Record& record)
{
    Json json{{"place", place.Text()},
              {"cycles", playback::CyclesOf(record.words[0])},
              {"period_us", playback::PeriodUsec(record.words, record.Scale())},
              {"time_step_us", JsonNumber(record.timeStepUsec)},
              {"amp_step_ua", JsonNumber(record.ampStepUa)},
              {"segments", Json::array()}};
    for (const playback::Segment& segment : playback::Segments(record.words, record.Scale()))
        json["segments"].push_back({{"start_us", segment.startUsec},
                                    {"duration_us", segment.durationUsec},
                                    {"current_ua", segment.currentUa},
                                    {"kind", playback::NameOf(segment.kind)},
                                    {"word", segment.word}});
    PrintLine(output, json);
}

// Reads word arrays as encode writes them, and prints what they play.
class Decoder
{
 public:
    Decoder(const Options& options, Output& output) : m_options(options), m_output(output) {}

    int Run()
    {
        NeedInput(m_options.input);
        for (std::size_t i = 0; i < m_options.input.arguments.size(); ++i)
            DecodeLine({{}, i + 1}, m_options.input.arguments[i]);
        if (!m_options.input.file.empty()) DecodeFile();
        m_output.Finish();
        return m_status;
    }

 private:
    void DecodeFile()
    {
        FileReader file(m_options.input.file, [this] { m_output.Flush(); });
        // Word 0 leaves two of its four bytes at 0, which no text holds.
        if (file.Peek(sizeof(unsigned int)).find('\0') != std::string_view::npos)
            DecodeBinary(file);
        else
            ForEachLine(file, [this](const Place& place, std::string_view line) { DecodeLine(place, line); });
    }

    void DecodeLine(const Place& place, std::string_view line)
    {
        Record record{{}, m_options.stimulator.timeStepUsec, m_options.stimulator.ampStepUa};
        const bool json =
            line.substr(std::min(line.find_first_not_of(" \t"), line.size())).substr(0, 1) == "{";
        const std::string fault = json ? ReadJson(line, record) : ReadHex(line, record);
        if (fault.empty())
            Print(place, record);
        else
            Refuse(place, fault);
    }

    static std::string ReadHex(std::string_view line, Record& record)
    {
        const std::string_view fault = ReadWords(line, record.words);
        return fault.empty() ? std::string() : "no word such as 0x0006A01E: " + std::string(fault);
    }

    std::string ReadJson(std::string_view line, Record& record) const
    {
        // Nothing that is looked for lies deeper; what does is left out, so that it costs no memory.
        constexpr int Depth = 2;
        const auto keep = [](int depth, Json::parse_event_t, const Json&) { return depth <= Depth; };
        const Json json = Json::parse(line, keep, false);
        if (!json.is_object()) return "no JSON object: " + std::string(line);
        const auto words = json.find("words");
        if (json.contains("errors")) return "the pattern was not encoded and has no words";
        if (words == json.end() || !words->is_array()) return "the JSON object holds no array \"words\"";
        for (const Json& word : *words) {
            if (!word.is_number_unsigned() ||
                word.get<std::uint64_t>() > std::numeric_limits<unsigned int>::max())
                return "no 32-bit word: " + word.dump(-1, ' ', false, Json::error_handler_t::replace);
            record.words.push_back(word.get<unsigned int>());
        }
        std::string fault = TakeStep(json, "time_step_us", m_options.timeStepGiven, record.timeStepUsec);
        if (fault.empty()) fault = TakeStep(json, "amp_step_ua", m_options.ampStepGiven, record.ampStepUa);
        return fault;
    }

    // The steps that the words were made for go with them: an option may say the same, nothing else.
    static std::string TakeStep(const Json& json, const char* key, bool given, float& step)
    {
        const auto found = json.find(key);
        if (found == json.end()) return {};
        const float value = found->is_number() ? found->get<float>() : 0;
        if (!(value > 0) || !std::isfinite(value))
            return std::string(key) + " is not a finite number above 0";
        if (given && value != step)
            return std::string(key) + " is " + Shortest(value) + ", the option says " + Shortest(step);
        step = value;
        return {};
    }

    // The place of words in binary is the number of their pattern in the file.
    void DecodeBinary(FileReader& file)
    {
        Place place{m_options.input.file, 1};
        Record record{{}, m_options.stimulator.timeStepUsec, m_options.stimulator.ampStepUa};
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
        const std::string refusal = playback::Refusal(record.words);
        if (!refusal.empty())
            Refuse(place, refusal);
        else if (m_options.format == "json")
            PrintJson(m_output, place, record);
        else
            PrintTable(m_output, place, record);
    }

    void Refuse(const Place& place, const std::string& fault)
    {
        m_status = ExitFailed;
        if (m_options.format == "json") PrintLine(m_output, JsonOf(place, fault));
        Say(m_output, place, fault);
    }

    const Options& m_options;
    Output& m_output;
    int m_status = ExitDone;
};

}  // namespace

void AddDecode(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand("decode", "Print the current over time that words play");
    AddInputOptions(command, options->input, "WORDS");
    AddScaleOptions(command, options->stimulator);
    AddFormatOption(command, options->format, {"table", "json"});
    command.callback([options, &command, &exitStatus] {
        options->timeStepGiven = command.count("--time-step") != 0;
        options->ampStepGiven = command.count("--amp-step") != 0;
        Output output;
        exitStatus = Decoder(*options, output).Run();
    });
}
