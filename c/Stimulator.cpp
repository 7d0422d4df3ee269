#include <cmath>
#include <optional>

#include "Handles.h"
#include "Json.h"
#include "NumberFormat.h"

using namespace capi;

namespace {

std::size_t Setting(std::string_view key)
{
    const std::optional<std::size_t> setting = preview::SettingNamed(key);
    if (!setting) throw Error{TARVUTIL_NOT_FOUND, "key: " + std::string(key) + " is not an option"};
    return *setting;
}

// The place of values that a caller sets.
constexpr const char* Argument = "argument";

std::int32_t Refused(const std::optional<preview::ProfileFault>& fault)
{
    if (fault) throw Error{TARVUTIL_REFUSED, fault->place + ": " + fault->text};
    return TARVUTIL_OK;
}

}  // namespace

tarvutil_stimulator* tarvutil_stimulator_new(char* reason, int32_t capacity)
{
    return New(reason, capacity, [] { return new tarvutil_stimulator(); });
}

int32_t tarvutil_stimulator_free(tarvutil_stimulator* stimulator)
{
    delete stimulator;
    return TARVUTIL_OK;
}

int32_t tarvutil_stimulator_error(const tarvutil_stimulator* stimulator, char* text, int32_t capacity)
{
    return PutError(stimulator, text, capacity);
}

int32_t tarvutil_stimulator_set(tarvutil_stimulator* stimulator, const char* key, int32_t length,
                                double value)
{
    return On(stimulator, [&](tarvutil_stimulator& s) {
        const std::size_t setting = Setting(Text(key, length, "key"));
        if (std::isnan(value) && s.profile.Clear(setting)) return TARVUTIL_OK;
        const std::string fault = preview::FaultOf(setting, value);
        if (!fault.empty()) throw Error{TARVUTIL_BAD_ARGUMENT, "value: " + fault};
        s.profile.Set(setting, value, Argument);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_stimulator_get(tarvutil_stimulator* stimulator, const char* key, int32_t length,
                                double* value)
{
    return On(stimulator, [&](tarvutil_stimulator& s) {
        Need(value, "value");
        const std::size_t setting = Setting(Text(key, length, "key"));
        // The largest amplitude has a default that depends on the amplitude step.
        *value = preview::SettingKinds()[setting].name == std::string_view("amp-max")
                     ? preview::ShortestDouble(s.profile.stimulator.AmpMaxUa())
                     : s.profile.Value(setting).value_or(std::nan(""));
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_stimulator_read_profile(tarvutil_stimulator* stimulator, const char* text, int32_t length,
                                         const char* name, int32_t name_length)
{
    return On(stimulator, [&](tarvutil_stimulator& s) {
        const std::string file(Text(name, name_length, "name"));
        return Refused(ReadProfile(Text(text, length), file, s.profile));
    });
}

int32_t tarvutil_stimulator_read_patterns(tarvutil_stimulator* stimulator, const char* text, int32_t length,
                                          const char* name, int32_t name_length)
{
    return On(stimulator, [&](tarvutil_stimulator& s) {
        const std::string place = std::string(Text(name, name_length, "name")) + ":1";
        preview::Profile patterns;
        Refused(ReadOptionLine(preview::FirstLine(Text(text, length)), place, patterns));
        s.profile = Merge({}, patterns, s.profile);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_stimulator_json(tarvutil_stimulator* stimulator, char* text, int32_t capacity)
{
    return On(stimulator,
              [&](tarvutil_stimulator& s) { return Put(ProfileJson(s.profile), text, capacity); });
}

int32_t tarvutil_version(char* text, int32_t capacity)
{
    std::string error;
    return Run(error, [&] { return Put(TARVUTIL_VERSION, text, capacity); });
}
