#include "Report.h"

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>

#include "Calls.h"
#include "Json.h"
#include "Picture.h"
#include "Playback.h"
#include "Sentences.h"
#include "Svg.h"

using namespace capi;

struct tarvutil_stimulator
{
    preview::Stimulator stimulator;
    preview::Limits limits;
    std::string error;
};

struct tarvutil_report
{
    preview::Report report;
    std::string json;                         // made when it is first asked for
    std::unique_ptr<nlohmann::json> figures;  // likewise
    std::string error;
};

namespace {

std::optional<double>* LimitOf(preview::Limits& limits, std::string_view key)
{
    for (const preview::LimitKind& kind : preview::LimitKinds())
        if (key == kind.name) return &limits[kind.limit];
    return nullptr;
}

void SetOption(tarvutil_stimulator& s, std::string_view key, double value)
{
    preview::Stimulator stimulator = s.stimulator;
    if (std::optional<double>* limit = LimitOf(s.limits, key)) {
        Check(std::isnan(value) || value >= 0, "value: a limit is 0 or above");
        *limit = std::isnan(value) ? std::nullopt : std::optional<double>(value);
        return;
    }
    if (key == "pattern") {
        Check(value == 0 || value == 1, "value: neither Lilly nor plain");
        const auto kind = static_cast<std::int32_t>(value);
        stimulator.pattern =
            kind == TARVUTIL_PLAIN ? preview::PatternKind::Plain : preview::PatternKind::Lilly;
    } else if (key == "time-step") {
        stimulator.timeStepUsec = static_cast<float>(value);
    } else if (key == "amp-step") {
        stimulator.ampStepUa = static_cast<float>(value);
    } else if (key == "amp-max") {
        stimulator.ampMaxUa = static_cast<float>(value);
    } else if (key == "budget") {
        Check(value == std::floor(value) && std::fabs(value) < 1e9,
              "value: the budget is not a whole number");
        stimulator.budget = static_cast<int>(value);
    } else {
        throw Error{TARVUTIL_NOT_FOUND, "there is no option " + std::string(key)};
    }
    if (const auto unusable = stimulator.Unusable())
        throw Error{TARVUTIL_BAD_ARGUMENT, Sentence(stimulator, *unusable)};
    s.stimulator = stimulator;
}

double Option(tarvutil_stimulator& s, std::string_view key)
{
    if (const std::optional<double>* limit = LimitOf(s.limits, key)) return limit->value_or(std::nan(""));
    if (key == "pattern")
        return s.stimulator.pattern == preview::PatternKind::Plain ? TARVUTIL_PLAIN : TARVUTIL_LILLY;
    if (key == "time-step") return static_cast<double>(s.stimulator.timeStepUsec);
    if (key == "amp-step") return static_cast<double>(s.stimulator.ampStepUa);
    if (key == "amp-max") return static_cast<double>(s.stimulator.AmpMaxUa());
    if (key == "budget") return s.stimulator.budget;
    throw Error{TARVUTIL_NOT_FOUND, "there is no option " + std::string(key)};
}

const std::string& JsonOf(tarvutil_report& r)
{
    if (r.json.empty()) r.json = ReportJson(r.report, {});
    return r.json;
}

const nlohmann::json& Figure(tarvutil_report& r, std::string_view path)
{
    if (r.figures == nullptr) r.figures = std::make_unique<nlohmann::json>(nlohmann::json::parse(JsonOf(r)));
    try {
        return r.figures->at(nlohmann::json::json_pointer(std::string(path)));
    } catch (const nlohmann::json::exception&) {
        throw Error{TARVUTIL_NOT_FOUND, "the report has no " + std::string(path)};
    }
}

void NeedWords(const tarvutil_report& r)
{
    if (r.report.encoding.Encoded()) return;
    const std::vector<std::string> sentences = RefusalSentences(r.report);
    throw Error{TARVUTIL_REFUSED, sentences.empty() ? "the text has no words" : sentences.front()};
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
        SetOption(s, Text(key, length), value);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_stimulator_get(tarvutil_stimulator* stimulator, const char* key, int32_t length,
                                double* value)
{
    return On(stimulator, [&](tarvutil_stimulator& s) {
        Need(value, "value");
        *value = Option(s, Text(key, length));
        return TARVUTIL_OK;
    });
}

tarvutil_report* tarvutil_report_new(const tarvutil_stimulator* stimulator, const char* text, int32_t length,
                                     int32_t lenient, char* reason, int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (stimulator == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the stimulator is null"};
        const std::string_view spec = Text(text, length);
        auto handle = std::unique_ptr<tarvutil_report>(
            new tarvutil_report{preview::Report(stimulator->stimulator), {}, {}, {}});
        ReportOn(spec, stimulator->limits,
                 lenient != 0 ? preview::Reading::Lenient : preview::Reading::Strict, handle->report);
        return handle.release();
    });
}

int32_t tarvutil_report_free(tarvutil_report* report)
{
    delete report;
    return TARVUTIL_OK;
}

int32_t tarvutil_report_error(const tarvutil_report* report, char* text, int32_t capacity)
{
    return PutError(report, text, capacity);
}

int32_t tarvutil_report_within_limits(tarvutil_report* report)
{
    return On(report, [](tarvutil_report& r) { return r.report.WithinLimits() ? 1 : 0; });
}

int32_t tarvutil_report_words(tarvutil_report* report, uint32_t* words, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        NeedWords(r);
        const std::vector<unsigned int>& made = r.report.encoding.words;
        if (Fits(made.size(), words, capacity)) std::copy(made.begin(), made.end(), words);
        return Count(made.size());
    });
}

int32_t tarvutil_report_json(tarvutil_report* report, char* text, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) { return Put(JsonOf(r), text, capacity); });
}

int32_t tarvutil_report_figure(tarvutil_report* report, const char* path, int32_t length, double* value)
{
    return On(report, [&](tarvutil_report& r) {
        Need(value, "value");
        const nlohmann::json& figure = Figure(r, Text(path, length));
        if (figure.is_boolean())
            *value = figure.get<bool>() ? 1 : 0;
        else if (figure.is_number())
            *value = figure.get<double>();
        else if (figure.is_null())
            *value = std::nan("");
        else
            throw Error{TARVUTIL_NOT_FOUND, "this is not a number"};
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_report_text(tarvutil_report* report, const char* path, int32_t length, char* text,
                             int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        const nlohmann::json& found = Figure(r, Text(path, length));
        if (!found.is_string()) throw Error{TARVUTIL_NOT_FOUND, "this is not a text"};
        return Put(found.get_ref<const std::string&>(), text, capacity);
    });
}

int32_t tarvutil_report_svg(tarvutil_report* report, char* text, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        NeedWords(r);
        return Put(SvgOf(PictureOf(r.report)), text, capacity);
    });
}

int32_t tarvutil_segments(const uint32_t* words, int32_t count, float time_step_us, float amp_step_ua,
                          double* starts_us, double* durations_us, double* currents_ua, int32_t* word_indices,
                          int32_t capacity)
{
    std::string error;
    return Run(error, [&] {
        Check(count > 0, "count is not above 0");
        Need(words, "words");
        Check(std::isfinite(time_step_us) && time_step_us > 0, "time_step_us: not a finite number above 0");
        Check(std::isfinite(amp_step_ua) && amp_step_ua > 0, "amp_step_ua: not a finite number above 0");
        const std::vector<unsigned int> array(words, words + count);
        if (!playback::Refusal(array).empty()) throw Error{TARVUTIL_REFUSED, playback::Refusal(array)};
        const auto segments =
            playback::Segments(array, {static_cast<double>(time_step_us), static_cast<double>(amp_step_ua)});
        const bool fits =
            Fits(segments.size(), starts_us, capacity) && Fits(segments.size(), durations_us, capacity) &&
            Fits(segments.size(), currents_ua, capacity) && Fits(segments.size(), word_indices, capacity);
        for (std::size_t i = 0; fits && i < segments.size(); ++i) {
            starts_us[i] = segments[i].startUsec;
            durations_us[i] = segments[i].durationUsec;
            currents_ua[i] = segments[i].currentUa;
            word_indices[i] = Count(segments[i].word);
        }
        return Count(segments.size());
    });
}

int32_t tarvutil_version(char* text, int32_t capacity)
{
    std::string error;
    return Run(error, [&] { return Put(TARVUTIL_VERSION, text, capacity); });
}
