#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Limits.h"
#include "Stimulator.h"

// The values of a stimulator and of limits from each source: a device file, the first line of a pattern file, a command
// line. The rules of which value is in force are here.
namespace preview {

enum class SettingForm
{
    Number,
    Count,   // a whole number
    Switch,  // 0 or 1
    Kind,    // a PatternKind
    Area,    // of the electrode, cm2
};

// A value that a source may give. Its name is that of the program's long option without the hyphens.
struct SettingKind
{
    const char* name;  // "time-step", "max-error", ...
    const char* unit;  // "us"; empty without one
    const char* key;   // ends the key of its value in JSON: "_us"
    SettingForm form;
    bool isLimit;   // belongs in the table [limits] of a device file, otherwise in [stimulator]
    bool stricter;  // of two files the stricter value is in force: the smaller number, the switch that is on
};

constexpr std::size_t SettingCount = 20;
// The values of the stimulator, then those of limits.
const std::array<SettingKind, SettingCount>& SettingKinds();

// The index of the setting of that name.
std::optional<std::size_t> SettingNamed(std::string_view name);
// The fault of a value of a setting, in the form of SettingForm; empty without one.
std::string FaultOf(std::size_t setting, double value);

// Values, and where each comes from: "lab.toml:3".
struct Profile
{
    Stimulator stimulator;
    Limits limits;
    std::array<std::string, SettingCount>
        places;  // in the order of SettingKinds; empty for what is not given

    // The value of a setting, in the form of SettingForm; nothing when there is none: no limit, 100 amplitude steps.
    std::optional<double> Value(std::size_t setting) const;
    // Empty also for a name that no setting has.
    const std::string& PlaceOf(std::string_view name) const;
    // REQUIRES: FaultOf(setting, value) is empty.
    void Set(std::size_t setting, double value, const std::string& place);
    // Removes a limit, the area or the largest amplitude. False for other settings: they always have a value.
    bool Clear(std::size_t setting);
};

// A fault of a source, and its place.
struct ProfileFault
{
    std::string place;  // "lab.toml:3"
    std::string text;
};

// Reads a device file: TOML, whose tables [stimulator] and [limits] have the names of SettingKinds as keys. name is that
// of the file, for the places. Unknown keys, values of another type or out of range, and what is not TOML are faults: the
// first one is returned, and profile is not changed.
//
//     [stimulator]
//     time-step = 20          # us
//     [limits]
//     area = "2000um2"
//     max-phase-charge = 4    # nC
std::optional<ProfileFault> ReadProfile(std::string_view toml, const std::string& name, Profile& profile);

// A line without what other systems add: a byte order mark before the first line of a text, a carriage return after each.
inline std::string_view WithoutMarks(std::string_view line, bool first)
{
    constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
    if (first && line.substr(0, ByteOrderMark.size()) == ByteOrderMark)
        line.remove_prefix(ByteOrderMark.size());
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}
std::string_view FirstLine(std::string_view file);

// A comment that begins with a stimulator option.
bool IsOptionLine(std::string_view line);

// Reads the first line of a pattern file. A comment that begins with an option gives values of the stimulator, any other
// line gives none. Whatever is not such an option with its value is a fault, and profile is not changed.
//
//     # --pattern lilly --time-step 20 --amp-step 1
std::optional<ProfileFault> ReadOptionLine(std::string_view line, const std::string& place, Profile& profile);

// The values in force: those of the command line, otherwise those of the pattern file, otherwise those of the device
// file. For a setting with stricter, the stricter value of pattern file and device file is in force, and only the command
// line allows more; limits.loosened of the result lists the limits that it has loosened.
Profile Merge(const Profile& commandLine, const Profile& patternFile, const Profile& device);

struct SettingInForce
{
    const SettingKind* kind;
    double value;
    std::string place;  // "default" where no source gives one
};

// Every value of the stimulator, and the limits that are given.
std::vector<SettingInForce> InForce(const Profile& profile);

// A value as an option or a device file gives it, with the unit of an area: "20", "lilly", "true", "0.002mm2".
std::string SettingText(const SettingKind& kind, double value);
// The same with the unit: "20 us", "lilly".
std::string TextWithUnit(const SettingKind& kind, double value);

}  // namespace preview
