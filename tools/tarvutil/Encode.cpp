#include <CLI/CLI.hpp>
#include <memory>

#include "Commands.h"
#include "Exit.h"
#include "Output.h"
#include "Reading.h"

namespace {

struct Options
{
    Stimulator stimulator;
    Input input;
    std::string format = "table";
    std::string output;
};

void AppendHex(std::string& text, unsigned int word)
{
    static constexpr char Digits[] = "0123456789ABCDEF";
    char hex[10] = {'0', 'x'};
    for (int i = 9; i >= 2; --i, word >>= 4) hex[i] = Digits[word & 15U];
    text.append(hex, sizeof hex);
}

void PrintHex(std::string& text, const Reading& reading)
{
    for (const unsigned int word : reading.words) {
        AppendHex(text, word);
        text += ' ';
    }
    text.back() = '\n';
}

int Encode(const Options& options)
{
    Output output(options.output);
    Reader reader(options.stimulator);
    int status = ExitDone;
    ForEachText(
        options.input, [&output] { output.Flush(); },
        [&](const Place& place, std::string_view text) {
            const Reading& reading = reader.Read(place, text);
            SayMessages(output, reading);
            if (!reading.Encoded()) status = ExitFailed;
            if (!reading.Encoded()) return;
            PrintHex(output.Buffer(), reading);
            output.Written();
        });
    output.Finish();
    return status;
}

}  // namespace

void AddEncode(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand("encode", "Print the command words of specification strings");
    AddInputOptions(command, options->input, "SPEC");
    AddStimulatorOptions(command, options->stimulator);
    command.callback([options, &exitStatus] { exitStatus = Encode(*options); });
}
