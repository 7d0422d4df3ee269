#include "Report.h"

#include <cmath>
#include <memory>

#include "Handles.h"
#include "Json.h"
#include "Picture.h"
#include "Sentences.h"
#include "Svg.h"

using namespace capi;

namespace {

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
        throw Error{TARVUTIL_NOT_FOUND, "path: the report has no " + std::string(path)};
    }
}

preview::Picture PictureOf(const tarvutil_report& r, int32_t drawn)
{
    NeedWords(r.report);
    Check(drawn == TARVUTIL_CYCLE || drawn == TARVUTIL_TRAIN,
          "drawn: neither TARVUTIL_CYCLE nor TARVUTIL_TRAIN");
    if (drawn == TARVUTIL_CYCLE) return PictureOf(r.report, preview::Drawn::Cycle);
    const preview::AskedPlayed& train = r.report.deviations.trainMsec;
    Check(std::isfinite(train.asked) && std::isfinite(train.played), "drawn: the train has no end");
    return PictureOf(r.report, preview::Drawn::Train);
}

// As the pattern stands: its amplitude step may have been edited.
preview::Stimulator StimulatorOf(const tarvutil_pattern& pattern)
{
    preview::Stimulator stimulator = pattern.shared->stimulator;
    stimulator.ampStepUa = pattern.Pattern().AmpStepSize();
    stimulator.ampMaxUa = pattern.Pattern().AmpMax();
    return stimulator;
}

}  // namespace

namespace capi {

void CheckArea(const preview::Limits& limits)
{
    if (const preview::LimitKind* kind = LimitWithoutArea(limits))
        throw Error{TARVUTIL_BAD_ARGUMENT, std::string(kind->name) + " needs the area of the electrode"};
}

std::unique_ptr<tarvutil_report> ReportHandle(const tarvutil_stimulator& stimulator, std::string_view text,
                                              preview::Reading reading)
{
    CheckArea(stimulator.profile.limits);
    auto handle = std::make_unique<tarvutil_report>(stimulator.profile.stimulator);
    handle->limits = stimulator.profile.limits;
    ReportOn(text, handle->limits, reading, handle->report);
    return handle;
}

void NeedWords(const preview::Report& report)
{
    if (report.encoding.Encoded()) return;
    const std::vector<std::string> sentences = RefusalSentences(report);
    throw Error{TARVUTIL_REFUSED, sentences.empty() ? "the text has no words" : sentences.front()};
}

void RefuseWords(const tarvutil_pattern& pattern)
{
    preview::Report report(StimulatorOf(pattern));
    ReportOn(pattern.shared->pattern, {}, report);
    NeedWords(report);
    throw Error{TARVUTIL_REFUSED, "the phases do not fit the time steps or the budget: no words"};
}

}  // namespace capi

tarvutil_report* tarvutil_report_new(const tarvutil_stimulator* stimulator, const char* text, int32_t length,
                                     int32_t lenient, char* reason, int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (stimulator == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the stimulator is null"};
        return ReportHandle(*stimulator, Text(text, length),
                            lenient != 0 ? preview::Reading::Lenient : preview::Reading::Strict)
            .release();
    });
}

tarvutil_report* tarvutil_pattern_report_new(const tarvutil_pattern* pattern,
                                             const tarvutil_stimulator* limits, char* reason,
                                             int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (pattern == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the pattern is null"};
        const preview::Limits most = limits == nullptr ? preview::Limits() : limits->profile.limits;
        CheckArea(most);
        auto handle = std::make_unique<tarvutil_report>(StimulatorOf(*pattern));
        handle->limits = most;
        ReportOn(pattern->shared->pattern, most, handle->report);
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
        NeedWords(r.report);
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
        const nlohmann::json& figure = Figure(r, Text(path, length, "path"));
        if (figure.is_boolean())
            *value = figure.get<bool>() ? 1 : 0;
        else if (figure.is_number())
            *value = figure.get<double>();
        else if (figure.is_null())
            *value = std::nan("");
        else
            throw Error{TARVUTIL_NOT_FOUND, "path: the value there is not a number"};
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_report_text(tarvutil_report* report, const char* path, int32_t length, char* text,
                             int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        const nlohmann::json& found = Figure(r, Text(path, length, "path"));
        if (!found.is_string()) throw Error{TARVUTIL_NOT_FOUND, "path: the value there is not a text"};
        return Put(found.get_ref<const std::string&>(), text, capacity);
    });
}

int32_t tarvutil_report_steps(tarvutil_report* report, char* text, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        if (r.steps.empty()) r.steps = StepsJson(StepRows(r.report));
        return Put(r.steps, text, capacity);
    });
}

int32_t tarvutil_report_word_phases(tarvutil_report* report, int32_t* first, int32_t* last, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        NeedWords(r.report);
        const std::vector<preview::WordPhases>& words = r.report.encoding.trace.words;
        const std::size_t count = words.size() + 1;
        const bool firsts = Fits(count, first, capacity);
        if (!Fits(count, last, capacity) || !firsts) return Count(count);
        first[0] = last[0] = -1;
        for (std::size_t i = 0; i < words.size(); ++i) {
            first[i + 1] = words[i].first;
            last[i + 1] = words[i].last;
        }
        return Count(count);
    });
}

int32_t tarvutil_report_limits(tarvutil_report* report, char* text, int32_t capacity)
{
    return On(report,
              [&](tarvutil_report& r) { return Put(LimitsJson(r.report, r.limits), text, capacity); });
}

int32_t tarvutil_report_word_rows(tarvutil_report* report, char* text, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) { return Put(WordsJson(r.report, {}), text, capacity); });
}

int32_t tarvutil_report_svg(tarvutil_report* report, int32_t drawn, char* text, int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) { return Put(SvgOf(PictureOf(r, drawn)), text, capacity); });
}

int32_t tarvutil_report_picture(tarvutil_report* report, int32_t drawn, char* text, int32_t capacity)
{
    return On(report,
              [&](tarvutil_report& r) { return Put(PictureJson(PictureOf(r, drawn)), text, capacity); });
}

int32_t tarvutil_report_time_axis(tarvutil_report* report, double* times_us, double* places_us,
                                  int32_t capacity)
{
    return On(report, [&](tarvutil_report& r) {
        NeedWords(r.report);
        const std::vector<preview::TimeKnot> knots = TimeAxisOf(r.report);
        const bool times = Fits(knots.size(), times_us, capacity);
        const bool places = Fits(knots.size(), places_us, capacity);
        for (std::size_t i = 0; times && places && i < knots.size(); ++i) {
            times_us[i] = knots[i].usec;
            places_us[i] = knots[i].at;
        }
        return Count(knots.size());
    });
}
