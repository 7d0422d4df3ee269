// Any text as a device file and as the first line of a pattern file, and any values from three sources: faults change
// nothing, what is read is in its range and reads back when it is written, and the stricter value of two files holds.

#include "Profile.h"

#include <algorithm>
#include <cmath>

#include "Fuzz.h"

using namespace preview;

namespace {

bool Same(std::size_t setting, const std::optional<double>& a, const std::optional<double>& b)
{
    if (!a || !b || SettingKinds()[setting].form != SettingForm::Area) return a == b;
    return std::fabs(*a - *b) <= 1e-15 * *a;  // a product with the unit is rounded
}

void RequireSame(const Profile& a, const Profile& b, const char* promise)
{
    for (std::size_t i = 0; i < SettingCount; ++i)
        Require(Same(i, a.Value(i), b.Value(i)) && a.places[i].empty() == b.places[i].empty(), promise);
}

bool Given(const Profile& profile, std::size_t setting)
{
    return !profile.places[setting].empty();
}

// A value as a device file has it, or without quotes, as an option line.
std::string Written(std::size_t setting, double value, bool quoted)
{
    const SettingForm form = SettingKinds()[setting].form;
    if (form == SettingForm::Switch) return value != 0 ? "true" : "false";
    char number[40];
    std::snprintf(number, sizeof number, "%.17g", value);
    std::string text = number;
    if (form == SettingForm::Kind) text = value != 0 ? "plain" : "lilly";
    if (form == SettingForm::Area) text += "cm2";
    const bool isText = form == SettingForm::Kind || form == SettingForm::Area;
    return quoted && isText ? '"' + text + '"' : text;
}

void CheckValues(const Profile& profile)
{
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const std::optional<double> value = profile.Value(i);
        Require(!value || FaultOf(i, *value).empty(), "a value is in its range");
        Require(value || !Given(profile, i), "what is given has a value");
    }
    Require(!profile.stimulator.Unusable(), "patterns can be made");
    for (const SettingInForce& setting : InForce(profile))
        Require(!SettingText(*setting.kind, setting.value).empty() && !setting.place.empty(),
                "a value is printed");
}

void CheckDevice(const std::string& text)
{
    const Profile none;
    Profile read;
    const std::optional<ProfileFault> fault = ReadProfile(text, "lab.toml", read);
    if (fault) {
        RequireSame(read, none, "a fault changes nothing");
        const int line = std::atoi(fault->place.c_str() + std::strlen("lab.toml:"));
        Require(line >= 1 && line <= 1 + std::count(text.begin(), text.end(), '\n'), "a fault has a line");
        Require(!fault->text.empty(), "a fault has a reason");
        return;
    }
    CheckValues(read);
    std::string written;
    for (const bool limits : {false, true}) {
        written += limits ? "[limits]\n" : "[stimulator]\n";
        for (std::size_t i = 0; i < SettingCount; ++i)
            if (Given(read, i) && SettingKinds()[i].isLimit == limits)
                written +=
                    std::string(SettingKinds()[i].name) + " = " + Written(i, *read.Value(i), true) + '\n';
    }
    Profile again;
    Require(!ReadProfile(written, "lab.toml", again), "a device file that is written is read");
    RequireSame(again, read, "a device file reads back");
}

void CheckOptionLine(const std::string& line)
{
    const Profile none;
    Profile read;
    if (ReadOptionLine(line, "-:1", read)) return RequireSame(read, none, "a fault changes nothing");
    CheckValues(read);
    std::string written = "#";
    for (std::size_t i = 0; i < SettingCount; ++i) {
        if (!Given(read, i)) continue;
        Require(!SettingKinds()[i].isLimit, "a pattern file gives no limits");
        written += " --" + std::string(SettingKinds()[i].name) + ' ' + Written(i, *read.Value(i), false);
    }
    Profile again;
    Require(!ReadOptionLine(written, "-:1", again), "an option line that is written is read");
    RequireSame(again, read, "an option line reads back");
}

Profile AnyProfile(FuzzedDataProvider& in, const char* place)
{
    Profile profile;
    for (std::size_t i = 0; i < SettingCount; ++i) {
        if (!in.ConsumeBool()) continue;
        const double value = std::fabs(static_cast<double>(in.ConsumeBool()   ? AnyFloat(in)
                                                           : in.ConsumeBool() ? 1.0f
                                                                              : 0.0f));
        if (FaultOf(i, value).empty()) profile.Set(i, value, place);
    }
    return profile;
}

bool Stricter(std::size_t setting, const Profile& a, const Profile& than)
{
    const SettingKind& kind = SettingKinds()[setting];
    if (!kind.stricter || !Given(a, setting)) return false;
    const double sign = kind.form == SettingForm::Switch ? -1 : 1;
    return sign * *a.Value(setting) < sign * *than.Value(setting);
}

void CheckMerged(const Profile& line, const Profile& file, const Profile& device)
{
    const Profile merged = Merge(line, file, device);
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const std::string& place = merged.places[i];
        const auto from = [&](const Profile& source) {
            return Given(source, i) && place == source.places[i] && merged.Value(i) == source.Value(i);
        };
        const bool onLine = Given(line, i);
        const bool inFiles = Given(file, i) || Given(device, i);
        Require(!onLine || from(line), "the command line holds");
        Require(onLine || !inFiles || from(file) || from(device), "a value is that of a file");
        Require(onLine || inFiles || (place.empty() && merged.Value(i) == Profile().Value(i)),
                "or the default");
        const bool looser = Given(merged, i) && (Stricter(i, file, merged) || Stricter(i, device, merged));
        Require(onLine || !looser, "the stricter file holds");
        Require(onLine || !Given(file, i) || from(file) || Stricter(i, device, file),
                "the pattern file holds, unless the device file is stricter");
        const auto& loosened = merged.limits.loosened;
        Require(looser == std::any_of(loosened.begin(), loosened.end(),
                                      [&](const Loosened& found) { return found.setting == i; }),
                "what the command line loosens is listed");
    }
}

std::vector<std::string> Pieces()
{
    std::vector<std::string> pieces{"[stimulator]\n",
                                    "[limits]\n",
                                    "# --",
                                    " --",
                                    " = ",
                                    "= true\n",
                                    "=",
                                    "\n",
                                    "\"",
                                    "plain",
                                    "lilly",
                                    "\"plain\"\n",
                                    "\"2000um2\"\n",
                                    "mm2",
                                    "20",
                                    "0.5\n",
                                    "inf",
                                    "nan"};
    for (const SettingKind& kind : SettingKinds()) pieces.emplace_back(kind.name);
    return pieces;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::vector<std::string> pieces = Pieces();
    FuzzedDataProvider in(data, size);
    switch (in.ConsumeIntegralInRange(0, 2)) {
        case 0:
            CheckDevice(AnyText(in, pieces, 500));
            break;
        case 1:
            CheckOptionLine(AnyText(in, pieces, 200));
            break;
        default: {
            const Profile line = AnyProfile(in, "--");
            const Profile file = AnyProfile(in, "file:1");
            CheckMerged(line, file, AnyProfile(in, "lab.toml:1"));
        }
    }
    return 0;
}
