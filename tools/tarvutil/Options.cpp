#include "Options.h"

#include <algorithm>
#include <cctype>
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

namespace {

// Whether the text is a number at all: the stimulator checks its range.
template <typename T>
CLI::Option* AddNumber(CLI::App& command, const char* name, T& value, const char* what)
{
    return command.add_option(name, value, what)->check([](const std::string& text) {
        std::conditional_t<std::is_integral_v<T>, T, float> read{};
        const std::string kind = std::is_integral_v<T> ? "' is not a whole number" : "' is not a number";
        return CLI::detail::lexical_cast(text, read) ? std::string() : "'" + text + kind;
    });
}

}  // namespace

void AddScaleOptions(CLI::App& command, preview::Stimulator& stimulator)
{
    AddNumber(command, "--time-step", stimulator.timeStepUsec, "Time step, microseconds [33.333332]")
        ->option_text("USEC");
    AddNumber(command, "--amp-step", stimulator.ampStepUa, "Amplitude step, microamperes [10]")
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
    AddNumber(command, "--amp-max", stimulator.ampMaxUa,
              "Largest amplitude, microamperes [100 amplitude steps]")
        ->option_text("UA");
    AddNumber(command, "--budget", stimulator.budget,
              "Most words of a pattern, word 0 included, 1 to 1024 [101]")
        ->option_text("WORDS");
}

namespace {

// "us" -> "USEC", "nC" -> "NC"
std::string Placeholder(std::string unit)
{
    if (unit == "us") return "USEC";
    if (unit == "uC/cm2") return "UC_PER_CM2";
    if (unit == "%") return "PCT";
    if (unit.empty()) return "K";
    std::transform(unit.begin(), unit.end(), unit.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return unit;
}

void AddLimit(CLI::App& command, const preview::LimitKind& kind, preview::Limits& limits)
{
    std::optional<double>& most = limits[kind.limit];
    const std::string option = std::string("--") + kind.name;
    if (kind.limit == preview::Limit::WholeCycles) {
        command.add_flag_function(
            option,
            [&most](std::int64_t times) { most = times > 0 ? std::optional<double>(0) : std::nullopt; },
            "Exit with 1 when the number of cycles played is not exactly the number asked");
        return;
    }
    // A density, k, time or rate has no sign.
    const bool eitherSign = kind.limit != preview::Limit::Density && kind.limit != preview::Limit::K &&
                            kind.limit != preview::Limit::Duty && kind.limit != preview::Limit::Rate;
    const char* const either = eitherSign ? ", of either sign [no limit]" : " [no limit]";
    command
        .add_option(option, most, std::string("Exit with 1 when the ") + kind.what + " is larger" + either)
        ->option_text(Placeholder(kind.unit))
        ->check([isSigned = kind.isSigned](const std::string& text) {
            double value = 0;
            const bool usable =
                CLI::detail::lexical_cast(text, value) && (isSigned ? !std::isnan(value) : value >= 0);
            return usable ? std::string()
                          : "'" + text + "' is not a number" + (isSigned ? "" : " of 0 or above");
        });
}

// A larger file is not a device file.
constexpr std::size_t MaxDeviceFile = std::size_t{1} << 20;

preview::Profile ReadDevice(const std::string& path)
{
    FileReader file(path);
    const std::string_view text = file.NextBytes(MaxDeviceFile);
    if (text.size() == MaxDeviceFile)
        throw Fault(path + " is not a device file: it has " + std::to_string(MaxDeviceFile) +
                    " bytes or more");
    preview::Profile profile;
    if (const auto fault = ReadProfile(text, path, profile)) throw Fault(fault->place + ": " + fault->text);
    return profile;
}

constexpr const char* CommandLine = "command line";

void NeedArea(const preview::Profile& profile)
{
    const preview::LimitKind* kind = LimitWithoutArea(profile.limits);
    if (kind == nullptr) return;
    const std::string prefix =
        IsOfOption(profile, kind->name) ? std::string("--") : profile.PlaceOf(kind->name) + ": ";
    throw Fault(prefix + kind->name + " needs the area of the electrode: --area, as in --area 0.06mm2");
}

}  // namespace

void AddLimitOptions(CLI::App& command, preview::Limits& limits)
{
    for (const preview::LimitKind& kind : preview::LimitKinds()) AddLimit(command, kind, limits);
    command
        .add_option_function<std::string>(
            "--area", [&limits](const std::string& text) { limits.areaCm2 = preview::ReadAreaCm2(text); },
            "Geometric area of the electrode with its unit, um2, mm2 or cm2: for charge density and k")
        ->option_text("AREA")
        ->check([](const std::string& text) {
            return preview::ReadAreaCm2(text)
                       ? std::string()
                       : "'" + text + "' is not an area above 0 with its unit um2, mm2 or cm2, as 0.06mm2";
        });
    command.add_flag(
        "--exact", limits.exact,
        "Exit with 1 when anything except the net charge is not as asked, to the rounding of floats");
}

void AddTotalCurrentOption(CLI::App& command, preview::Limits& limits)
{
    command
        .add_option("--max-total-current", limits.maxTotalUa,
                    "Exit with 1, without commands, when the sum of the magnitudes of the currents of all "
                    "channels is larger at any time, microamperes; without --schedule there is one channel "
                    "[no limit]")
        ->option_text("UA")
        ->check(FloatAbove(true));
}

void AddDeviceOption(CLI::App& command, std::string& device)
{
    command
        .add_option("--device", device, "Read a device file: values of the stimulator, and limits, as TOML")
        ->option_text("PATH")
        ->check(NotEmpty);
}

bool IsOfOption(const preview::Profile& profile, std::string_view name)
{
    return profile.PlaceOf(name) == CommandLine;
}

void Settle(const CLI::App& command, const std::string& device, FileReader* patternFile,
            preview::Profile& profile)
{
    for (std::size_t i = 0; i < preview::SettingCount; ++i) {
        const CLI::Option* option =
            command.get_option_no_throw(std::string("--") + preview::SettingKinds()[i].name);
        if (option != nullptr && option->count() != 0) profile.places[i] = CommandLine;
    }
    if (patternFile != nullptr && patternFile->Where().path == device && device == "-")
        throw Fault("standard input is one file: give a path to --device or to --file");
    preview::Profile inPatterns;
    if (patternFile != nullptr) {
        const std::string place = Place{patternFile->Where().path, 1}.Text();
        if (const auto fault = ReadOptionLine(PeekFirstLine(*patternFile), place, inPatterns))
            throw Fault(fault->place + ": " + fault->text);
        patternFile->OptionsInFirstLine();
    }
    profile = Merge(profile, inPatterns, device.empty() ? preview::Profile() : ReadDevice(device));
    if (const auto unusable = profile.stimulator.Unusable())
        throw Fault(Sentence(profile.stimulator, *unusable));
    NeedArea(profile);
}

void AddInputOptions(CLI::App& command, Input& input, const std::string& name)
{
    // "Extra" arguments in brackets would be cut at their commas; as ones still to come they stay whole.
    constexpr int AnyNumber = CLI::detail::expected_max_vector_size;
    command.add_option(name, input.arguments, "Input, one line per argument")
        ->type_name("")
        ->expected(AnyNumber, AnyNumber)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddFileOption(command, input.file, "Read the lines of a file; - is standard input");
}

void AddFileOption(CLI::App& command, std::string& path, const std::string& what)
{
    command.add_option("-f,--file", path, what)->option_text("PATH")->check(NotEmpty);
}

void AddOutputOption(CLI::App& command, std::string& path, const std::string& name, const std::string& what)
{
    command.add_option("-o,--output", path, what)->option_text(name)->check(NotEmpty);
}

void AddJobsOption(CLI::App& command, Jobs& jobs)
{
    constexpr int Most = 1024;
    command
        .add_option("--jobs", jobs.count,
                    "Threads for the lines of a file, 1 to 1024; the output is the same [one per processor]")
        ->option_text("N")
        ->check(CLI::Range(1, Most));
}

void AddFormatOption(CLI::App& command, std::string& format, const std::vector<std::string>& formats)
{
    command
        .add_option("--format", format,
                    "Format of the output: " + CLI::detail::join(formats, ", ") + " [" + format + "]")
        ->option_text("FORMAT")
        ->check(CLI::IsMember(formats));
}
