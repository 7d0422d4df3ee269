// Any calls of the C interface, in any order: a text and its size agree, nothing is written beyond a capacity, a failure
// has a code and a reason, and what is said to be JSON is JSON.

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numeric>

#include "Fuzz.h"
#include "tarvutil.h"

namespace {

std::int32_t Checked(std::int32_t result)
{
    Require(result >= TARVUTIL_FAILED && result != TARVUTIL_NO_MEMORY, "a failure has a code");
    return result;
}

// The elements that a function writes: it is asked for their number, then with too small a buffer, then with room.
template <typename T, typename Call>
std::vector<T> Fetched(std::size_t more, Call call)
{
    const std::int32_t count = Checked(call(nullptr, 0));
    if (count < 0) return {};
    const auto size = static_cast<std::size_t>(count) + more;
    std::vector<T> untouched(size + 1, T{77});
    std::vector<T> buffer = untouched;
    if (size > 0)
        Require(call(buffer.data(), static_cast<std::int32_t>(size) - 1) == count &&
                    (size == 1 || buffer == untouched),
                "too small a buffer is left as it is");
    Require(call(buffer.data(), static_cast<std::int32_t>(size)) == count, "the size is that of the content");
    Require(buffer.back() == T{77}, "nothing is written beyond the capacity");
    buffer.resize(static_cast<std::size_t>(count));
    return buffer;
}

template <typename Call>
std::string Text(Call call)
{
    const std::vector<char> text = Fetched<char>(1, call);
    Require(std::find(text.begin(), text.end(), '\0') == text.end(), "a text ends with its only NUL");
    return std::string(text.begin(), text.end());
}

template <typename Call>
void RequireJson(Call call)
{
    const std::string text = Text(call);
    Require(text.empty() || nlohmann::json::accept(text), "JSON is JSON");
}

// A handle that is freed when another takes its place.
template <typename T, std::int32_t (*Free)(T*), std::int32_t (*ErrorOf)(const T*, char*, std::int32_t)>
struct Handle
{
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { Free(handle); }

    template <typename Make>
    void Renew(Make make)
    {
        char reason[200] = "";
        T* made = make(reason, static_cast<std::int32_t>(sizeof reason));
        Require((made != nullptr) == (reason[0] == '\0'), "a handle or a reason");
        Require(std::memchr(reason, '\0', sizeof reason) != nullptr, "a reason is cut to its capacity");
        if (made == nullptr) return;
        Free(handle);
        handle = made;
    }
    // The result of a function of the handle.
    std::int32_t Try(std::int32_t result) const
    {
        const auto error = [&](char* text, std::int32_t capacity) { return ErrorOf(handle, text, capacity); };
        Require(Checked(result) >= 0 || result == TARVUTIL_NULL_HANDLE || !Text(error).empty(),
                "a failure has a reason");
        return result;
    }

    T* handle = nullptr;
};

struct Calls
{
    explicit Calls(FuzzedDataProvider& input) : in(input)
    {
        stimulator.Renew(tarvutil_stimulator_new);
        pattern.Renew([&](char* reason, std::int32_t capacity) {
            return tarvutil_pattern_new(in.ConsumeBool() ? 1 : 0, in.ConsumeBool() ? AnyFloat(in) : 20, 10,
                                        1000, Small(), reason, capacity);
        });
        schedule.Renew([&](char* reason, std::int32_t capacity) {
            return tarvutil_schedule_new(stimulator.handle, reason, capacity);
        });
    }

    std::int32_t AnyCycles() { return in.ConsumeBool() ? Small() : in.ConsumeIntegral<std::int32_t>(); }
    std::int32_t Small() { return in.ConsumeIntegralInRange(-2, 40); }
    double Number() { return static_cast<double>(AnyFloat(in)); }
    std::string Piece() { return AnyText(in, pieces, 300); }
    // Sometimes up to the NUL, sometimes of a length that is none.
    std::int32_t LengthOf(const std::string& text)
    {
        const int kind = in.ConsumeIntegralInRange(0, 15);
        return kind < 2 ? -1 - kind : static_cast<std::int32_t>(text.size());
    }

    void Patterns();
    void Edits();
    void Plays();
    void Stimulators();
    void Reports();
    void Drawings();
    void Designs();
    void Schedules();
    void Words();

    static const std::vector<std::string> pieces;
    FuzzedDataProvider& in;
    Handle<tarvutil_stimulator, tarvutil_stimulator_free, tarvutil_stimulator_error> stimulator;
    Handle<tarvutil_pattern, tarvutil_pattern_free, tarvutil_pattern_error> pattern;
    Handle<tarvutil_play, tarvutil_play_free, tarvutil_play_error> play;
    Handle<tarvutil_report, tarvutil_report_free, tarvutil_report_error> report;
    Handle<tarvutil_design, tarvutil_design_free, tarvutil_design_error> design;
    Handle<tarvutil_schedule, tarvutil_schedule_free, tarvutil_schedule_error> schedule;
    std::vector<std::uint32_t> words;
};

const std::vector<std::string> Calls::pieces{"a:(0,0)(200,-60)(100,0)(200,60)(9500,0):DurationMsec=[100]",
                                             ":ChargeBalanceIdx=[2]",
                                             "(200,-300)",
                                             ":DurationMsec=[",
                                             "inf]",
                                             "time-step",
                                             "amp-max",
                                             "budget",
                                             "max-error",
                                             "area",
                                             "exact",
                                             "[stimulator]\n",
                                             "--budget ",
                                             "--pattern plain",
                                             "[limits]\n",
                                             " = ",
                                             "20\n",
                                             "/period_error_us",
                                             "/phases/",
                                             "0",
                                             "/refusal/text",
                                             "/deviations/0/cause",
                                             "{\"amplitude\":",
                                             "\"20:100:20\"",
                                             "60",
                                             ",\"phase1\":200",
                                             ",\"frequency\":100",
                                             ",\"pulses\":",
                                             ",\"ipi\":66",
                                             ",\"train\":\"inf\"",
                                             ",\"balance\":2",
                                             "}"};

void Calls::Patterns()
{
    const auto f = [&](auto call) {
        return [&, call](auto... to) { return pattern.Try(call(pattern.handle, to...)); };
    };
    Text(f(tarvutil_pattern_label));
    Text(f(tarvutil_pattern_text));
    const std::string text = Piece();
    pattern.Try(in.ConsumeBool() ? tarvutil_pattern_set_label(pattern.handle, text.c_str(), LengthOf(text))
                                 : tarvutil_pattern_read(pattern.handle, text.c_str(), LengthOf(text)));
    const std::int32_t warnings = in.ConsumeBool() ? 1 : 0, index = Small();
    const std::int32_t count = Checked(tarvutil_pattern_message_count(pattern.handle, warnings));
    const auto message = [&](char* to, std::int32_t capacity) {
        return tarvutil_pattern_message(pattern.handle, warnings, index, to, capacity);
    };
    Require((message(nullptr, 0) >= 0) == (index >= 0 && index < count), "there are so many messages");
    Text(message);
    const auto made = Fetched<std::uint32_t>(0, f(tarvutil_pattern_words));
    if (!made.empty()) words = made;
    Fetched<float>(0, [&](float* to, std::int32_t capacity) {
        return tarvutil_pattern_phases(pattern.handle, to, to, capacity);
    });
}

void Calls::Edits()
{
    tarvutil_pattern* const p = pattern.handle;
    const std::int32_t index = Small();
    const float x = AnyFloat(in), y = AnyFloat(in);
    const float lengths[] = {x, 200, 100}, amplitudes[] = {y, -60, 0};
    double inEffect = 0, read = 0;
    if (pattern.Try(
            tarvutil_pattern_set(p, index, static_cast<double>(x), in.ConsumeBool() ? 1 : 0, &inEffect)) == 0)
        Require(tarvutil_pattern_get(p, index, &read) == 0 &&
                    (read == inEffect || (std::isnan(read) && std::isnan(inEffect))),
                "the value in effect is the one that is read");
    const auto edits = in.ConsumeIntegral<std::uint16_t>();
    if ((edits & 1) != 0) pattern.Try(tarvutil_pattern_rescale(p, x));
    if ((edits & 2) != 0)
        pattern.Try(tarvutil_pattern_set_phases(p, lengths, amplitudes, std::min(index, 3)));
    if ((edits & 4) != 0) pattern.Try(tarvutil_pattern_set_phase(p, index, x, y));
    if ((edits & 8) != 0) pattern.Try(tarvutil_pattern_set_length(p, index, x));
    if ((edits & 16) != 0) pattern.Try(tarvutil_pattern_set_amplitude(p, index, y));
    if ((edits & 32) != 0) pattern.Try(tarvutil_pattern_append(p, x, y));
    if ((edits & 64) != 0) pattern.Try(tarvutil_pattern_insert(p, index, x, y));
    if ((edits & 128) != 0) pattern.Try(tarvutil_pattern_remove(p, index));
    if ((edits & 256) != 0) pattern.Try(tarvutil_pattern_override(p, edits & 512, index * 0x1000));
    pattern.Try(tarvutil_pattern_fits(p, lengths, amplitudes, std::min(index, 3), index));
    if ((edits & 0x3000) == 0) pattern.Try(tarvutil_pattern_clear(p));
    if ((edits & 0xC000) != 0) return;
    pattern.Renew([&](char* reason, std::int32_t capacity) {
        return tarvutil_pattern_new(index, x, 10, y, 101, reason, capacity);
    });
}

void Calls::Plays()
{
    const auto now = static_cast<std::int64_t>(in.ConsumeIntegral<std::int32_t>());
    const std::int32_t channel = Small();
    std::int32_t played = channel;
    play.Renew([&](char* reason, std::int32_t capacity) {
        tarvutil_play* made = tarvutil_play_new(pattern.handle, channel, AnyCycles(), now, reason, capacity);
        Checked(tarvutil_play_channel(made, &played));
        return made;
    });
    Require(played == channel, "a play keeps its channel");
    if (in.ConsumeBool())  // the play keeps the pattern alive
        pattern.Renew([&](char* reason, std::int32_t capacity) {
            return tarvutil_pattern_copy_new(pattern.handle, reason, capacity);
        });
    std::int32_t before = 0, after = 0;
    std::int64_t due = 0, next = 0;
    Checked(tarvutil_play_cycles_left(play.handle, &before));
    Require(before >= 0, "the cycles that are left are a count");
    Checked(tarvutil_play_due(play.handle, &due));
    std::vector<std::uint32_t> block(1025);
    const std::int64_t clock = due + Small();
    const std::int32_t ready = Checked(tarvutil_play_ready(play.handle, clock));
    const std::int32_t capacity = in.ConsumeBool() ? 1024 : Small();
    const std::int32_t count = play.Try(tarvutil_play_continue(play.handle, clock, block.data(), capacity));
    Checked(tarvutil_play_cycles_left(play.handle, &after));
    Checked(tarvutil_play_due(play.handle, &next));
    const bool sent = count > 0 && count <= capacity;
    Require(!sent || ready == 1, "a block is due");
    Require(sent || (before == after && due == next), "without a block the record does not change");
}

void Calls::Stimulators()
{
    const std::string key = Piece(), profile = Piece();
    const double value = in.ConsumeBool() ? std::fabs(Number()) : Small();
    double before = 0, after = 0;
    const auto get = [&](double& read) {
        return stimulator.Try(tarvutil_stimulator_get(stimulator.handle, key.c_str(), -1, &read));
    };
    const bool known = get(before) == 0;
    const bool set = stimulator.Try(tarvutil_stimulator_set(stimulator.handle, key.c_str(), -1, value)) == 0;
    Require((get(after) == 0) == known && (known || !set), "what is set can be read");
    Require(set || before == after || std::isnan(before), "what is refused changes nothing");
    stimulator.Try(tarvutil_stimulator_read_profile(stimulator.handle, profile.data(), LengthOf(profile),
                                                    "lab.toml", -1));
    const std::string patterns = in.ConsumeBool() ? "# " + key : key;
    stimulator.Try(tarvutil_stimulator_read_patterns(stimulator.handle, patterns.data(), LengthOf(patterns),
                                                     "patterns.txt", -1));
    RequireJson([&](char* to, std::int32_t room) {
        return stimulator.Try(tarvutil_stimulator_json(stimulator.handle, to, room));
    });
    Require(Text(tarvutil_version).find('.') != std::string::npos, "the version is a text");
    schedule.Renew([&](char* reason, std::int32_t capacity) {
        return tarvutil_schedule_new(stimulator.handle, reason, capacity);
    });
}

void Calls::Reports()
{
    const std::string text = Piece();
    report.Renew([&](char* reason, std::int32_t capacity) {
        return in.ConsumeBool()
                   ? tarvutil_pattern_report_new(pattern.handle, stimulator.handle, reason, capacity)
                   : tarvutil_report_new(stimulator.handle, text.data(), LengthOf(text),
                                         in.ConsumeBool() ? 1 : 0, reason, capacity);
    });
    const auto f = [&](auto call) {
        return [&, call](auto... to) { return report.Try(call(report.handle, to...)); };
    };
    const auto made = Fetched<std::uint32_t>(0, f(tarvutil_report_words));
    if (!made.empty()) words = made;
    report.Try(tarvutil_report_within_limits(report.handle));
    RequireJson(f(tarvutil_report_json));
    RequireJson(f(tarvutil_report_limits));
    RequireJson(f(tarvutil_report_word_rows));
    if (in.ConsumeIntegralInRange(0, 9) == 0) RequireJson(f(tarvutil_report_steps));
    std::vector<std::int32_t> first(made.size() + 1), last(made.size() + 1);
    const auto capacity = static_cast<std::int32_t>(made.size());
    Require(made.empty() ||
                tarvutil_report_word_phases(report.handle, first.data(), last.data(), capacity) == capacity,
            "each word has its phases");
    const std::string path = Piece();
    double figure = 0;
    report.Try(tarvutil_report_figure(report.handle, path.data(), LengthOf(path), &figure));
    Text([&](char* to, std::int32_t room) {
        return report.Try(tarvutil_report_text(report.handle, path.c_str(), -1, to, room));
    });
}

void Calls::Drawings()
{
    const std::int32_t drawn = in.ConsumeIntegralInRange(-1, 2);
    Text([&](char* to, std::int32_t room) {
        return report.Try(tarvutil_report_svg(report.handle, drawn, to, room));
    });
    RequireJson([&](char* to, std::int32_t room) {
        return report.Try(tarvutil_report_picture(report.handle, drawn, to, room));
    });
    std::vector<double> at;
    const auto times = Fetched<double>(0, [&](double* to, std::int32_t room) {
        at.resize(static_cast<std::size_t>(room) + 1);
        return report.Try(tarvutil_report_time_axis(report.handle, to, at.data(), room));
    });
    Require(std::is_sorted(times.begin(), times.end()), "times ascend");
}

void Calls::Designs()
{
    const std::string parameters = Piece();
    design.Renew([&](char* reason, std::int32_t capacity) {
        return tarvutil_design_new(stimulator.handle, parameters.data(), LengthOf(parameters), reason,
                                   capacity);
    });
    const std::int32_t index = Small();
    Require(index < design.Try(tarvutil_design_count(design.handle)) || index < 0 ||
                tarvutil_design_text(design.handle, index, nullptr, 0) < 0,
            "there are so many texts");
    RequireJson([&](char* to, std::int32_t room) {
        return design.Try(tarvutil_design_json(design.handle, to, room));
    });
    Text([&](char* to, std::int32_t room) {
        return design.Try(tarvutil_design_text(design.handle, index, to, room));
    });
    report.Renew([&](char* reason, std::int32_t capacity) {
        return tarvutil_design_report_new(design.handle, index, reason, capacity);
    });
}

// Up to a time, for a train of any text may have more blocks than memory.
void Calls::Schedules()
{
    const std::string text = Piece();
    schedule.Try(tarvutil_schedule_add(schedule.handle, Small(), in.ConsumeIntegralInRange(-1, 1000),
                                       text.data(), LengthOf(text), in.ConsumeBool() ? 1 : 0));
    const std::int32_t poll = Small();
    const std::int64_t until = in.ConsumeIntegralInRange(0, 2000);
    RequireJson([&](char* to, std::int32_t room) {
        return schedule.Try(tarvutil_schedule_json(schedule.handle, poll, until, to, room));
    });
    Text([&](char* to, std::int32_t room) {
        return schedule.Try(tarvutil_schedule_events(schedule.handle, until, to, room));
    });
}

void Calls::Words()
{
    const float timeStep = AnyFloat(in), ampStep = AnyFloat(in);
    if (in.ConsumeBool()) words.push_back(in.ConsumeIntegral<std::uint32_t>());
    const auto count = static_cast<std::int32_t>(words.size());
    std::vector<double> durations;
    std::vector<double> currents;
    std::vector<std::int32_t> indices;
    Fetched<double>(0, [&](double* to, std::int32_t room) {
        durations.assign(static_cast<std::size_t>(room) + 1, 0);
        currents = durations;
        indices.assign(durations.size(), 0);
        return tarvutil_segments(words.data(), count, timeStep, ampStep, to, durations.data(),
                                 currents.data(), indices.data(), room);
    });
    RequireJson([&](char* to, std::int32_t room) {
        return Checked(tarvutil_segments_json(words.data(), count, timeStep, ampStep, to, room));
    });
    const double rate = std::fabs(Number());
    const std::int64_t cycles = in.ConsumeBool() ? 1 + std::abs(Small()) : in.ConsumeIntegral<std::int64_t>();
    // A host asks for as many samples as it can keep. Far more are refused at once.
    constexpr double Most = 1e6;
    constexpr double Refused = 3e9;
    const double usec = std::accumulate(durations.begin(), durations.end(), 0.0);
    constexpr double MostInWord0 = 4095;
    const double times = cycles == 0 ? MostInWord0 : static_cast<double>(cycles);
    const double samples = usec * 1e-6 * rate * times;
    const double stretches = static_cast<double>(durations.size()) * times;
    if ((samples > Most && samples < Refused) || (stretches > Most && times < Refused)) return;
    Fetched<double>(0, [&](double* to, std::int32_t room) {
        return tarvutil_samples(words.data(), count, timeStep, ampStep, cycles, rate, to, room);
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static constexpr void (Calls::*Groups[])() = {
        &Calls::Patterns, &Calls::Edits,    &Calls::Edits,   &Calls::Plays,     &Calls::Stimulators,
        &Calls::Reports,  &Calls::Drawings, &Calls::Designs, &Calls::Schedules, &Calls::Words};
    FuzzedDataProvider in(data, size);
    Calls calls(in);
    for (int i = 0; i < 8 && in.remaining_bytes() > 0; ++i) (calls.*in.PickValueInArray(Groups))();
    return 0;
}
