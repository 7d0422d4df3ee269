#include "Options.h"

#include <cmath>

#include "Fault.h"
#include "Sentences.h"

namespace {

// An empty name is a shell variable that is not set.
std::string NotEmpty(const std::string& path)
{
    return path.empty() ? "the name of the file is empty" : "";
}

}  // namespace

std::function<std::string(const std::string&)> FloatAbove(bool zeroToo)
{
    const std::string range = zeroToo ? "a finite number, 0 or above" : "a finite number above 0";
    return [zeroToo, range](const std::string& text) {
        float value = 0;
        const bool usable = CLI::detail::lexical_cast(text, value) && std::isfinite(value) &&
                            (value > 0 || (zeroToo && value == 0));
        return usable ? std::string() : "'" + text + "' is not " + range;
    };
}

void AddScaleOptions(CLI::App& command, preview::Stimulator& stimulator)
{
    command.add_option("--time-step", stimulator.timeStepUsec, "Time step, microseconds [33.333332]")
        ->option_text("USEC");
    command.add_option("--amp-step", stimulator.ampStepUa, "Amplitude step, microamperes [10]")
        ->option_text("UA");
}

void AddStimulatorOptions(CLI::App& command, preview::Stimulator& stimulator)
{
    command
        .add_option_function<std::string>(
            "--pattern",
            [&stimulator](const std::string& kind) {
                stimulator.pattern =
                    kind == "plain" ? preview::PatternKind::Plain : preview::PatternKind::Lilly;
            },
            "Kind of pattern: lilly or plain [lilly]")
        ->option_text("KIND")
        ->check(CLI::IsMember({"lilly", "plain"}));
    AddStimulatorValues(command, stimulator);
}

void AddStimulatorValues(CLI::App& command, preview::Stimulator& stimulator)
{
    AddScaleOptions(command, stimulator);
    command
        .add_option("--amp-max", stimulator.ampMaxUa, "Largest amplitude, microamperes [100 amplitude steps]")
        ->option_text("UA");
    command
        .add_option("--budget", stimulator.budget,
                    "Most words of a pattern, word 0 included, 1 to 1024 [101]")
        ->option_text("WORDS");
}

void NeedUsable(const preview::Stimulator& stimulator)
{
    if (const auto unusable = stimulator.Unusable()) throw Fault(Sentence(stimulator, *unusable));
}

void AddInputOptions(CLI::App& command, Input& input, const std::string& name)
{
    // "Extra" arguments in brackets would be cut at their commas; as ones still to come they stay whole.
    constexpr int AnyNumber = CLI::detail::expected_max_vector_size;
    command.add_option(name, input.arguments, "What to read, each argument one line")
        ->type_name("")
        ->expected(AnyNumber, AnyNumber)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command.add_option("-f,--file", input.file, "Read the lines of a file; - is standard input")
        ->option_text("PATH")
        ->check(NotEmpty);
}

void AddOutputOption(CLI::App& command, std::string& path, const std::string& name, const std::string& what)
{
    command.add_option("-o,--output", path, what)->option_text(name)->check(NotEmpty);
}

void AddFormatOption(CLI::App& command, std::string& format, const std::vector<std::string>& formats)
{
    command
        .add_option("--format", format,
                    "How to print: " + CLI::detail::join(formats, ", ") + " [" + format + "]")
        ->option_text("FORMAT")
        ->check(CLI::IsMember(formats));
}
