#include "Profile.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Asked.h"
#include "NumberFormat.h"
#include "NumberText.h"
#include "Units.h"

// The switches of the parser: faults as values, nothing printed.
#define TOML_EXCEPTIONS 0         // NOLINT(cppcoreguidelines-macro-usage)
#define TOML_ENABLE_FORMATTERS 0  // NOLINT(cppcoreguidelines-macro-usage)
#include <toml++/toml.h>

namespace preview {
namespace {

// The order of SettingKinds: the values of the stimulator, the limits of LimitKinds, and these.
enum Setting : std::size_t
{
    Pattern,
    TimeStep,
    AmpStep,
    AmpMax,
    Budget,
    FirstLimit,
    Exact = FirstLimit + LimitCount,
    Area,
    MaxTotalCurrent,
    EndOfSettings,
};
static_assert(EndOfSettings == SettingCount);

constexpr const char* StimulatorTable = "stimulator";
constexpr const char* LimitsTable = "limits";

std::array<SettingKind, SettingCount> MakeKinds()
{
    std::array<SettingKind, SettingCount> kinds{};
    kinds[Pattern] = {"pattern", "", "", SettingForm::Kind, false, false};
    kinds[TimeStep] = {"time-step", "us", "_us", SettingForm::Number, false, false};
    kinds[AmpStep] = {"amp-step", "uA", "_ua", SettingForm::Number, false, false};
    kinds[AmpMax] = {"amp-max", "uA", "_ua", SettingForm::Number, false, true};
    kinds[Budget] = {"budget", "words", "_words", SettingForm::Count, false, false};
    for (std::size_t i = 0; i < LimitCount; ++i) {
        const LimitKind& limit = LimitKinds()[i];
        const bool isSwitch = limit.limit == Limit::WholeCycles;
        kinds[FirstLimit + i] = {limit.name,
                                 isSwitch || limit.limit == Limit::K ? "" : limit.unit,
                                 isSwitch ? "" : limit.key,
                                 isSwitch ? SettingForm::Switch : SettingForm::Number,
                                 true,
                                 true};
    }
    kinds[Exact] = {"exact", "", "", SettingForm::Switch, true, true};
    kinds[Area] = {"area", "", "", SettingForm::Area, true, false};
    kinds[MaxTotalCurrent] = {"max-total-current", "uA", "_ua", SettingForm::Number, true, true};
    return kinds;
}

// --- Values ---

bool IsFloat(double value)
{
    return std::isfinite(static_cast<float>(value));
}

// What values a setting takes.
std::string RangeOf(std::size_t setting)
{
    switch (SettingKinds()[setting].form) {
        case SettingForm::Kind:
            return "lilly or plain";
        case SettingForm::Switch:
            return "true or false";
        case SettingForm::Area:
            return "an area above 0 with its unit, as 0.06mm2";
        case SettingForm::Count:
            return "a whole number of 1 to " + std::to_string(StimPattern::MaxWords);
        default:
            break;
    }
    if (setting == TimeStep || setting == AmpStep) return "a finite number above 0";
    if (setting == AmpMax) return "a finite number, 0 or above";
    return setting == FirstLimit + static_cast<std::size_t>(Limit::K) ? "a number" : "a number of 0 or above";
}

bool IsInRange(std::size_t setting, double value)
{
    switch (setting) {
        case TimeStep:
        case AmpStep:
            return static_cast<float>(value) > 0 && IsFloat(value);
        case AmpMax:
            return value >= 0 && IsFloat(value);
        case Budget:
            return value >= 1 && value <= StimPattern::MaxWords && value == std::floor(value);
        case FirstLimit + static_cast<std::size_t>(Limit::K):
            return !std::isnan(value);
        default:
            return value >= 0;
    }
}

std::optional<double> KindNamed(std::string_view name)
{
    if (name == "lilly") return static_cast<double>(PatternKind::Lilly);
    if (name == "plain") return static_cast<double>(PatternKind::Plain);
    return std::nullopt;
}

// The stricter of two values that are there.
bool IsStricter(const SettingKind& kind, double value, double than)
{
    return kind.form == SettingForm::Switch ? value > than : value < than;
}

}  // namespace

const std::array<SettingKind, SettingCount>& SettingKinds()
{
    static const std::array<SettingKind, SettingCount> kinds = MakeKinds();
    return kinds;
}

std::optional<std::size_t> SettingNamed(std::string_view name)
{
    const auto& kinds = SettingKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const SettingKind& kind) { return kind.name == name; });
    if (found == kinds.end()) return std::nullopt;
    return static_cast<std::size_t>(found - kinds.begin());
}

std::string FaultOf(std::size_t setting, double value)
{
    const SettingForm form = SettingKinds()[setting].form;
    const bool isSwitch = form == SettingForm::Switch || form == SettingForm::Kind;
    bool usable = IsInRange(setting, value) && (!isSwitch || value == 0 || value == 1);
    if (form == SettingForm::Area) usable = std::isfinite(value) && value > 0;
    return usable ? std::string() : std::string(SettingKinds()[setting].name) + " is not " + RangeOf(setting);
}

std::optional<double> Profile::Value(std::size_t setting) const
{
    switch (setting) {
        case Pattern:
            return static_cast<double>(stimulator.pattern);
        case TimeStep:
            return ShortestDouble(stimulator.timeStepUsec);
        case AmpStep:
            return ShortestDouble(stimulator.ampStepUa);
        case AmpMax:
            if (!stimulator.ampMaxUa) return std::nullopt;
            return ShortestDouble(*stimulator.ampMaxUa);
        case Budget:
            return stimulator.budget;
        case Exact:
            return limits.exact;
        case Area:
            return limits.areaCm2;
        case MaxTotalCurrent:
            return limits.maxTotalUa;
        default: {
            const std::optional<double>& most = limits.most[setting - FirstLimit];
            if (SettingKinds()[setting].form == SettingForm::Switch) return most.has_value();
            return most;
        }
    }
}

const std::string& Profile::PlaceOf(std::string_view name) const
{
    static const std::string none;
    const std::optional<std::size_t> setting = SettingNamed(name);
    return setting ? places[*setting] : none;
}

void Profile::Set(std::size_t setting, double value, const std::string& place)
{
    places[setting] = place;
    switch (setting) {
        case Pattern:
            stimulator.pattern = static_cast<PatternKind>(static_cast<int>(value));
            break;
        case TimeStep:
            stimulator.timeStepUsec = static_cast<float>(value);
            break;
        case AmpStep:
            stimulator.ampStepUa = static_cast<float>(value);
            break;
        case AmpMax:
            stimulator.ampMaxUa = static_cast<float>(value);
            break;
        case Budget:
            stimulator.budget = static_cast<int>(value);
            break;
        case Exact:
            limits.exact = value != 0;
            break;
        case Area:
            limits.areaCm2 = value;
            break;
        case MaxTotalCurrent:
            limits.maxTotalUa = value;
            break;
        default: {
            std::optional<double>& most = limits.most[setting - FirstLimit];
            most = value;
            if (SettingKinds()[setting].form == SettingForm::Switch)
                most = value != 0 ? std::optional<double>(0) : std::nullopt;
        }
    }
}

bool Profile::Clear(std::size_t setting)
{
    if (setting == AmpMax)
        stimulator.ampMaxUa.reset();
    else if (setting == Exact)
        limits.exact = false;
    else if (setting == Area)
        limits.areaCm2.reset();
    else if (setting == MaxTotalCurrent)
        limits.maxTotalUa.reset();
    else if (setting >= FirstLimit)
        limits.most[setting - FirstLimit].reset();
    else
        return false;
    places[setting].clear();
    return true;
}

std::string SettingText(const SettingKind& kind, double value)
{
    constexpr int Decimals = 9;
    switch (kind.form) {
        case SettingForm::Kind:
            return static_cast<PatternKind>(static_cast<int>(value)) == PatternKind::Plain ? "plain"
                                                                                           : "lilly";
        case SettingForm::Switch:
            return value != 0 ? "true" : "false";
        case SettingForm::Area:
            return Shortest(static_cast<float>(value * Mm2PerCm2)) + "mm2";
        default:
            return Rounded(value, Decimals);
    }
}

std::string TextWithUnit(const SettingKind& kind, double value)
{
    const std::string text = SettingText(kind, value);
    return kind.unit[0] == '\0' ? text : text + " " + kind.unit;
}

// --- Device files ---

namespace {

std::optional<double> ValueOf(SettingForm form, const toml::node& node)
{
    switch (form) {
        case SettingForm::Kind:
        case SettingForm::Area: {
            const auto text = node.value_exact<std::string_view>();
            if (!text) return std::nullopt;
            return form == SettingForm::Kind ? KindNamed(*text) : ReadAreaCm2(*text);
        }
        case SettingForm::Switch:
            return node.value_exact<bool>();
        case SettingForm::Count:
            return node.value_exact<std::int64_t>();
        default:
            return node.is_number() ? node.value<double>() : std::nullopt;
    }
}

class DeviceReader
{
 public:
    DeviceReader(const std::string& name, const Profile& profile) : m_name(name), m_profile(profile) {}

    void Read(std::string_view text)
    {
        const toml::parse_result parsed = toml::parse(text);
        if (!parsed) return Fail(parsed.error().source(), std::string(parsed.error().description()));
        for (const auto& [key, node] : parsed.table()) {
            const bool isLimit = key.str() == LimitsTable;
            if (!isLimit && key.str() != StimulatorTable)
                Fail(key.source(),
                     "unknown key " + std::string(key.str()) + ": values stand in [stimulator] and [limits]");
            else if (const toml::table* table = node.as_table())
                ReadTable(isLimit, *table);
            else
                Fail(key.source(), std::string(key.str()) + " is not a table");
        }
    }

    const std::optional<ProfileFault>& Fault() const { return m_fault; }
    const Profile& Read() const { return m_profile; }

 private:
    void ReadTable(bool isLimit, const toml::table& table)
    {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            const std::optional<std::size_t> setting = SettingNamed(name);
            if (!setting || SettingKinds()[*setting].isLimit != isLimit) {
                Fail(key.source(), "unknown key " + name + " in [" +
                                       (isLimit ? LimitsTable : StimulatorTable) + "]" +
                                       (setting ? ": it belongs to the other table" : ""));
                continue;
            }
            const std::optional<double> value = ValueOf(SettingKinds()[*setting].form, node);
            if (value && IsInRange(*setting, *value))
                m_profile.Set(*setting, *value, Place(key.source()));
            else
                Fail(key.source(), name + " is not " + RangeOf(*setting));
        }
    }

    std::string Place(const toml::source_region& source) const
    {
        return m_name + ":" + std::to_string(source.begin.line);
    }

    // Tables have their keys in the order of the alphabet: the fault of the first line is the one to report.
    void Fail(const toml::source_region& source, const std::string& text)
    {
        if (m_fault && m_line <= source.begin.line) return;
        m_line = source.begin.line;
        m_fault = ProfileFault{Place(source), text};
    }

    const std::string& m_name;
    Profile m_profile;
    std::optional<ProfileFault> m_fault;
    toml::source_index m_line = 0;
};

}  // namespace

std::optional<ProfileFault> ReadProfile(std::string_view toml, const std::string& name, Profile& profile)
{
    DeviceReader reader(name, profile);
    reader.Read(toml);
    if (!reader.Fault()) profile = reader.Read();
    return reader.Fault();
}

// --- Pattern files ---

namespace {

constexpr std::string_view Blanks = " \t\r";

// The next word of text, which is shortened by it; empty at the end.
std::string_view NextWord(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(Blanks), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(Blanks));
    text.remove_prefix(word.size());
    return word;
}

std::optional<double> ValueOf(SettingForm form, std::string_view word)
{
    if (form == SettingForm::Kind) return KindNamed(word);
    if (!IsDecimal(word)) return std::nullopt;
    return TarvUtil::Internal::ReadNumber(word);
}

bool BeginsOption(std::string_view word)
{
    return word.size() > 2 && word.substr(0, 2) == "--" && word[2] >= 'a' && word[2] <= 'z';
}

}  // namespace

std::optional<ProfileFault> ReadOptionLine(std::string_view line, const std::string& place, Profile& profile)
{
    line.remove_prefix(std::min(line.find_first_not_of(Blanks), line.size()));
    if (line.empty() || line[0] != '#') return std::nullopt;
    line.remove_prefix(1);
    std::string_view word = NextWord(line);
    if (!BeginsOption(word)) return std::nullopt;
    Profile read = profile;
    for (; !word.empty(); word = NextWord(line)) {
        const std::size_t equals = std::min(word.find('='), word.size());
        const std::string option(word.substr(0, equals));
        const std::optional<std::size_t> setting =
            BeginsOption(option) ? SettingNamed(std::string_view(option).substr(2)) : std::nullopt;
        if (!setting || SettingKinds()[*setting].isLimit)
            return ProfileFault{place, option + " is not a stimulator option"};
        const std::string_view text = equals == word.size() ? NextWord(line) : word.substr(equals + 1);
        const std::optional<double> value = ValueOf(SettingKinds()[*setting].form, text);
        if (!value || !IsInRange(*setting, *value))
            return ProfileFault{place, option + ": '" + std::string(text) + "' is not " + RangeOf(*setting)};
        read.Set(*setting, *value, place);
    }
    profile = read;
    return std::nullopt;
}

// --- What is in force ---

Profile Merge(const Profile& commandLine, const Profile& patternFile, const Profile& device)
{
    Profile merged;
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingKind& kind = SettingKinds()[i];
        const Profile* files = nullptr;  // the file whose value holds
        for (const Profile* source : {&patternFile, &device}) {
            if (source->places[i].empty()) continue;
            if (files == nullptr || (kind.stricter && IsStricter(kind, *source->Value(i), *files->Value(i))))
                files = source;
        }
        const bool onCommandLine = !commandLine.places[i].empty();
        const Profile* holds = onCommandLine ? &commandLine : files;
        if (holds == nullptr) continue;
        merged.Set(i, *holds->Value(i), holds->places[i]);
        if (onCommandLine && files != nullptr && kind.stricter &&
            IsStricter(kind, *files->Value(i), *commandLine.Value(i)))
            merged.limits.loosened.push_back({i, *commandLine.Value(i), *files->Value(i), files->places[i]});
    }
    return merged;
}

std::vector<SettingInForce> InForce(const Profile& profile)
{
    std::vector<SettingInForce> settings;
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingKind& kind = SettingKinds()[i];
        std::optional<double> value = profile.Value(i);
        if (i == AmpMax && !value) value = ShortestDouble(profile.stimulator.AmpMaxUa());
        const std::string& place = profile.places[i];
        if (value && (!kind.isLimit || !place.empty()))
            settings.push_back({&kind, *value, place.empty() ? "default" : place});
    }
    return settings;
}

}  // namespace preview
