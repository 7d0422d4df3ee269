#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <thread>

#include "ContinuedItemPlay.h"
#include "PlainPattern.h"
#include "TestPatterns.h"
#include "tarvutil.h"

// The C interface compared with the library: the same random edits give the same results, and every wrong argument gives
// a code and a text.

namespace {

constexpr std::int32_t Room = 4096;
constexpr std::int32_t Budget = 40;

// A handle that frees itself.
template <typename T, std::int32_t (*Free)(T*)>
class Handle
{
 public:
    explicit Handle(T* handle) : m_handle(handle) {}
    ~Handle() { Free(m_handle); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    operator T*() const { return m_handle; }  // NOLINT(google-explicit-constructor): passed on as the handle

 private:
    T* m_handle;
};
using PatternHandle = Handle<tarvutil_pattern, tarvutil_pattern_free>;
using StimulatorHandle = Handle<tarvutil_stimulator, tarvutil_stimulator_free>;
using ReportHandle = Handle<tarvutil_report, tarvutil_report_free>;
using DesignHandle = Handle<tarvutil_design, tarvutil_design_free>;
using ScheduleHandle = Handle<tarvutil_schedule, tarvutil_schedule_free>;
using PlayHandle = Handle<tarvutil_play, tarvutil_play_free>;

template <typename Call>
std::string TextOf(Call call)
{
    char text[Room] = "";
    const std::int32_t size = call(text, Room);
    return size < 0 ? "error " + std::to_string(size) : std::string(text, static_cast<std::size_t>(size));
}

Words WordsOf(tarvutil_pattern* pattern)
{
    Words words(Room);
    const std::int32_t count = tarvutil_pattern_words(pattern, words.data(), Room);
    words.resize(static_cast<std::size_t>(std::max(count, 0)));
    return words;
}

Words WordsOf(StimPattern& pattern)
{
    Words words(Room);
    const int count = pattern.WordArray(words.data(), 0);
    words.resize(static_cast<std::size_t>(std::max(count, 0)));
    return words;
}

// One edit of a Lilly pattern, through both.
void Edit(Random& random, LillyPattern& pattern, tarvutil_pattern* handle)
{
    const auto value = static_cast<float>(random.Between(0, 400));
    const auto set = [&](std::int32_t parameter, double wanted, double effect) {
        double got = 0;
        ASSERT_EQ(tarvutil_pattern_set(handle, parameter, wanted, 1, &got), TARVUTIL_OK) << parameter;
        EXPECT_EQ(got, effect) << parameter;
    };
    const auto number = static_cast<double>(value);
    switch (random.Below(8)) {
        case 0:
            return set(TARVUTIL_PHASE1_US, number, static_cast<double>(pattern.SetPhase1Len(value, true)));
        case 1:
            return set(TARVUTIL_IPI_US, number, static_cast<double>(pattern.SetIPI(value, true)));
        case 2:
            return set(TARVUTIL_OFFSET_MS, number / 100,
                       static_cast<double>(pattern.SetOffset(value / 100, true)));
        case 3:
            pattern.SetPhase1Amp(-value);
            return set(TARVUTIL_PHASE1_UA, -number, static_cast<double>(pattern.Phase1Amp()));
        case 4: {
            const int mode = random.Below(5);
            pattern.SetChargeBalanceMode(mode);
            return set(TARVUTIL_BALANCE_MODE, mode, pattern.BalanceMode());
        }
        case 5: {
            const float hz = 1.0f + std::fabs(value);
            return set(TARVUTIL_FREQUENCY_HZ, static_cast<double>(hz),
                       static_cast<double>(pattern.SetFrequency(hz)));
        }
        case 6: {
            const int index = random.Below(5);
            const bool taken = pattern.SetPhaseLen(index, value);
            EXPECT_EQ(tarvutil_pattern_set_length(handle, index, value),
                      taken ? TARVUTIL_OK : TARVUTIL_REFUSED);
            return;
        }
        default: {
            const int cycles = random.Between(1, 9000);
            pattern.SetCycleCount(cycles);
            return set(TARVUTIL_CYCLES, cycles, pattern.CycleCount());
        }
    }
}

TEST(CInterfaceTest, LivesOfAPatternGiveTheSameWordsAndTexts)
{
    Random random(12);
    for (int life = 0; life < 300; ++life) {
        const float step = random.Below(2) == 0 ? ThirdStep : 20.0f;
        LillyPattern pattern(Budget, step, 0, 0, 10, 0, 1000);
        const PatternHandle handle(tarvutil_pattern_new(TARVUTIL_LILLY, step, 10, 1000, Budget, nullptr, 0));
        for (int edit = 0; edit < 20; ++edit) {
            Edit(random, pattern, handle);
            ASSERT_EQ(WordsOf(handle), WordsOf(pattern));
            ASSERT_EQ(TextOf([&](char* text, std::int32_t room) {
                          return tarvutil_pattern_text(handle, text, room);
                      }),
                      pattern.ToString());
            double changes = 0;
            tarvutil_pattern_get(handle, TARVUTIL_CHANGE_COUNT, &changes);
            ASSERT_EQ(changes, pattern.ChangeCount());
        }
    }
}

std::string ErrorOf(tarvutil_pattern* pattern)
{
    return TextOf([&](char* text, std::int32_t room) { return tarvutil_pattern_error(pattern, text, room); });
}

std::vector<phase> PhasesOf(tarvutil_pattern* pattern)
{
    std::vector<float> lengths(Room), amplitudes(Room);
    const std::int32_t count = tarvutil_pattern_phases(pattern, lengths.data(), amplitudes.data(), Room);
    std::vector<phase> phases;
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(count, 0)); ++i)
        phases.push_back({lengths[i], amplitudes[i]});
    return phases;
}

// One edit of the list of a plain pattern, through both: what names no phase or no length changes neither.
void EditList(Random& random, PlainPattern& pattern, tarvutil_pattern* handle)
{
    const int index = random.Between(-2, pattern.PhaseCount() + 1);
    const auto length = static_cast<float>(random.Between(-2, 20) * 20);
    const auto amplitude = static_cast<float>(random.Between(-3, 3) * 600);
    const int edit = random.Below(8);
    const bool named = index >= 0 && index < pattern.PhaseCount();
    std::int32_t got = TARVUTIL_OK, wanted = TARVUTIL_OK;
    const auto expect = [&](bool usable, const char* argument, std::int32_t result, const auto& inLibrary) {
        got = result;
        wanted = usable ? static_cast<std::int32_t>(inLibrary()) : TARVUTIL_BAD_ARGUMENT;
        if (!usable) {
            EXPECT_EQ(ErrorOf(handle).rfind(argument, 0), 0U) << ErrorOf(handle);
        }
    };
    const char* argument = named ? "length_us: " : "index: ";
    switch (edit) {
        case 0:
            expect(named && length >= 0, argument,
                   tarvutil_pattern_set_phase(handle, index, length, amplitude), [&] {
                       return pattern.SetPhase(index, {length, amplitude}) ? TARVUTIL_OK : TARVUTIL_REFUSED;
                   });
            break;
        case 1:
            expect(named, argument, tarvutil_pattern_set_amplitude(handle, index, amplitude),
                   [&] { return pattern.SetPhaseAmp(index, amplitude) ? TARVUTIL_OK : TARVUTIL_REFUSED; });
            break;
        case 2:
            expect(named && length >= 0, argument, tarvutil_pattern_insert(handle, index, length, amplitude),
                   [&] { return pattern.InsertPhase(index, length, amplitude); });
            break;
        case 3:
            expect(named, argument, tarvutil_pattern_remove(handle, index),
                   [&] { return pattern.RemovePhase(index); });
            break;
        case 4:
            expect(true, "", tarvutil_pattern_rescale(handle, 10 + std::fabs(length)), [&] {
                pattern.SetAmpStepSize(10 + std::fabs(length), true);
                return TARVUTIL_OK;
            });
            break;
        case 5:
            if (random.Below(4) != 0) break;
            expect(true, "", tarvutil_pattern_clear(handle), [&] {
                pattern.ClearPhases();
                return TARVUTIL_OK;
            });
            break;
        default:
            expect(length >= 0, "length_us: ", tarvutil_pattern_append(handle, length, amplitude),
                   [&] { return pattern.AppendPhase(length, amplitude); });
    }
    EXPECT_EQ(got, wanted) << "edit " << edit;
}

TEST(CInterfaceTest, EditsOfAListGiveTheSamePhasesAndWords)
{
    Random random(13);
    int without = 0, withWords = 0;
    for (int life = 0; life < 300; ++life) {
        PlainPattern pattern(Budget, 20, 10, 1000);
        const PatternHandle handle(tarvutil_pattern_new(TARVUTIL_PLAIN, 20, 10, 1000, Budget, nullptr, 0));
        const std::string label = "life " + std::to_string(life);
        EXPECT_EQ(tarvutil_pattern_set_label(handle, label.c_str(), -1), TARVUTIL_OK);
        pattern.SetLabel(label);
        for (int edit = 0; edit < 20; ++edit) {
            EditList(random, pattern, handle);
            const std::vector<phase> phases = PhasesOf(handle);
            ASSERT_EQ(phases, pattern.Phases());
            double changes = 0;
            tarvutil_pattern_get(handle, TARVUTIL_CHANGE_COUNT, &changes);
            ASSERT_EQ(changes, pattern.ChangeCount());
            // Without phases the library has word 0, which plays nothing.
            ASSERT_EQ(WordsOf(handle), phases.empty() ? Words() : WordsOf(pattern));
            ++(WordsOf(handle).empty() ? without : withWords);

            std::vector<float> lengths, amplitudes;
            for (const phase& p : phases) {
                lengths.push_back(p.len);
                amplitudes.push_back(p.amp);
            }
            const int words = random.Below(8);
            ASSERT_EQ(tarvutil_pattern_fits(handle, lengths.data(), amplitudes.data(),
                                            static_cast<std::int32_t>(phases.size()), words),
                      pattern.PhasesValid(phases, words) ? 1 : 0);
            const PatternHandle copy(tarvutil_pattern_copy_new(handle, nullptr, 0));
            ASSERT_EQ(PhasesOf(copy), phases);
            tarvutil_pattern_clear(copy);
        }
        EXPECT_EQ(
            TextOf([&](char* text, std::int32_t room) { return tarvutil_pattern_label(handle, text, room); }),
            label);
    }
    EXPECT_GT(without, 500);
    EXPECT_GT(withWords, 500);
}

TEST(CInterfaceTest, HandlesOfTwoThreadsAreIndependent)
{
    const auto live = [](unsigned int seed, std::string& text) {
        Random random(seed);
        const PatternHandle pattern(
            tarvutil_pattern_new(TARVUTIL_LILLY, ThirdStep, 10, 1000, Budget, nullptr, 0));
        const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
        for (int edit = 0; edit < 200; ++edit) {
            tarvutil_pattern_set(pattern, TARVUTIL_PHASE1_US, random.Between(-50, 900), 1, nullptr);
            for (const unsigned int word : WordsOf(pattern)) text += std::to_string(word) + ' ';
            const ReportHandle report(tarvutil_pattern_report_new(pattern, stimulator, nullptr, 0));
            text += ErrorOf(pattern) + TextOf([&](char* out, std::int32_t room) {
                        return tarvutil_report_text(report, "/deviations/0/text", -1, out, room);
                    });
        }
    };
    std::string alone[2], together[2];
    live(1, alone[0]);
    live(2, alone[1]);
    std::thread other(live, 2, std::ref(together[1]));
    live(1, together[0]);
    other.join();
    EXPECT_EQ(together[0], alone[0]);
    EXPECT_EQ(together[1], alone[1]);
    EXPECT_NE(alone[0], alone[1]);
}

TEST(CInterfaceTest, ARefusedTextLeavesThePatternAsItWas)
{
    const PatternHandle handle(tarvutil_pattern_new(TARVUTIL_LILLY, 20, 10, 1000, Budget, nullptr, 0));
    LillyPattern pattern(Budget, 20, 0, 0, 10, 0, 1000);
    const Words before = WordsOf(handle);
    const auto message = [&](std::int32_t warnings, std::int32_t index) {
        return TextOf([&](char* out, std::int32_t room) {
            return tarvutil_pattern_message(handle, warnings, index, out, room);
        });
    };
    for (const char* text :
         {"", "H:(1,2", "H:(0,0)(170,-50)(5,0)(170,50)(2933,0):DurationMsec=[1]", "H:(1,x"}) {
        EXPECT_EQ(tarvutil_pattern_read(handle, text, -1), TARVUTIL_REFUSED) << text;
        EXPECT_GT(tarvutil_pattern_message_count(handle, 0) + static_cast<int>(std::string(text).empty()), 0)
            << text;
        EXPECT_EQ(WordsOf(handle), before) << text;
    }
    EXPECT_EQ(message(0, tarvutil_pattern_message_count(handle, 0)), "error -3");
    // What is changed on the way is a warning, in the words of the library.
    const char* changed = "H:(0,0)(200,-54)(100,0)(200,54)(9500,0):DurationMsec=[100]";
    std::vector<std::string> errors, warnings;
    EXPECT_TRUE(pattern.FromString(changed, 10, errors, warnings));
    EXPECT_EQ(tarvutil_pattern_read(handle, changed, -1), TARVUTIL_OK);
    ASSERT_EQ(tarvutil_pattern_message_count(handle, 1), static_cast<std::int32_t>(warnings.size()));
    ASSERT_FALSE(warnings.empty());
    EXPECT_EQ(message(1, 0), warnings[0]);
    const std::string nul("H:(0,0)\0(1,2)", 13);
    EXPECT_EQ(tarvutil_pattern_read(handle, nul.data(), 13), TARVUTIL_BAD_TEXT);
}

TEST(CInterfaceTest, ABufferThatIsTooSmallIsLeftAlone)
{
    const PatternHandle handle(tarvutil_pattern_new(TARVUTIL_LILLY, 20, 10, 1000, Budget, nullptr, 0));
    const auto size = static_cast<std::int32_t>(WordsOf(handle).size());
    Words words(static_cast<std::size_t>(size), 7);
    EXPECT_EQ(tarvutil_pattern_words(handle, nullptr, 0), size);
    EXPECT_EQ(tarvutil_pattern_words(handle, words.data(), size - 1), size);
    EXPECT_EQ(words, Words(static_cast<std::size_t>(size), 7));
    char text[3] = "ab";
    EXPECT_GT(tarvutil_pattern_text(handle, text, 3), 3);
    EXPECT_STREQ(text, "ab");
}

TEST(CInterfaceTest, WhatMakesNoSenseIsACodeAndAText)
{
    char reason[Room] = "";
    EXPECT_EQ(tarvutil_pattern_new(7, 20, 10, 1000, Budget, reason, Room), nullptr);
    EXPECT_EQ(tarvutil_pattern_new(0, NaN, 10, 1000, Budget, reason, Room), nullptr);
    EXPECT_NE(std::string(reason).find("time step"), std::string::npos) << reason;
    EXPECT_EQ(tarvutil_pattern_words(nullptr, nullptr, 0), TARVUTIL_NULL_HANDLE);

    const PatternHandle handle(tarvutil_pattern_new(TARVUTIL_PLAIN, 20, 10, 1000, Budget, nullptr, 0));
    std::uint32_t word = 0;
    const float lengths[] = {100, NaN};
    const auto row = [&](std::int32_t got, std::int32_t wanted, const char* text) {
        EXPECT_EQ(got, wanted) << text;
        const std::string error = ErrorOf(handle);
        EXPECT_NE(error.find(text), std::string::npos) << error;
    };
    row(tarvutil_pattern_words(handle, nullptr, 0), TARVUTIL_REFUSED, "no phase");
    EXPECT_EQ(tarvutil_play_new(handle, 1, 0, 0, reason, Room), nullptr);
    EXPECT_EQ(reason, ErrorOf(handle));
    EXPECT_EQ(tarvutil_pattern_append(handle, 200, -60), 1);
    EXPECT_EQ(tarvutil_play_new(handle, 1, -1, 0, reason, Room), nullptr);
    EXPECT_EQ(std::string(reason), "cycles_started: below 0");
    for (const std::int32_t parameter : {TARVUTIL_PERIOD_MS, TARVUTIL_TRAIN_MS})
        for (const double value : {-5.0, 0.0})
            row(tarvutil_pattern_set(handle, parameter, value, 1, nullptr), TARVUTIL_BAD_ARGUMENT, "value");
    row(tarvutil_pattern_set_length(handle, 0, -5), TARVUTIL_BAD_ARGUMENT, "length_us: below 0");
    row(tarvutil_pattern_set_length(handle, 1, 5), TARVUTIL_BAD_ARGUMENT, "index: 1 is");
    row(tarvutil_pattern_fits(handle, lengths, lengths, 1, -1), TARVUTIL_BAD_ARGUMENT, "max_words");
    row(tarvutil_pattern_fits(handle, lengths, lengths, -1, 1), TARVUTIL_BAD_ARGUMENT, "count");
    row(tarvutil_pattern_override(handle, 1, 65536), TARVUTIL_BAD_ARGUMENT, "value");
    row(tarvutil_pattern_words(handle, nullptr, 5), TARVUTIL_NULL_BUFFER, "buffer");
    row(tarvutil_pattern_words(handle, &word, -1), TARVUTIL_BAD_ARGUMENT, "capacity");
    row(tarvutil_pattern_set(handle, TARVUTIL_IPI_US, 5, 0, nullptr), TARVUTIL_NOT_LILLY, "Lilly");
    row(tarvutil_pattern_set(handle, TARVUTIL_FREQUENCY_HZ, std::nan(""), 0, nullptr), TARVUTIL_BAD_ARGUMENT,
        "value");
    row(tarvutil_pattern_set(handle, 99, 1, 0, nullptr), TARVUTIL_BAD_ARGUMENT, "parameter: 99");
    row(tarvutil_pattern_set_phases(handle, lengths, lengths, 2), TARVUTIL_BAD_ARGUMENT, "finite");
    row(tarvutil_pattern_read(handle, nullptr, -1), TARVUTIL_NULL_BUFFER, "text");

    const PatternHandle lilly(tarvutil_pattern_new(TARVUTIL_LILLY, 20, 10, 1000, Budget, nullptr, 0));
    for (std::int32_t parameter = TARVUTIL_OFFSET_MS; parameter <= TARVUTIL_PHASE2_US; ++parameter) {
        EXPECT_EQ(tarvutil_pattern_set(lilly, parameter, -5, 1, nullptr), TARVUTIL_BAD_ARGUMENT) << parameter;
        EXPECT_EQ(ErrorOf(lilly), "value: the length is below 0");
    }
}

// The record of the library, which the C interface asks no cycles below 0 of. It keeps its pattern.
TEST(CInterfaceTest, APlaySendsTheBlocksOfTheLibrary)
{
    Random random(14);
    for (int life = 0; life < 60; ++life) {
        const int cycles = random.Between(1, 20000);
        const int started = life == 0 ? 2000000000 : random.Between(0, 12000);
        LillyPattern pattern(Budget, 20, 0, 0, 10, 0, 1000);
        StimPattern* slot = &pattern;
        tarvutil_pattern* handle = tarvutil_pattern_new(TARVUTIL_LILLY, 20, 10, 1000, Budget, nullptr, 0);
        pattern.SetCycleCount(cycles);
        tarvutil_pattern_set(handle, TARVUTIL_CYCLES, cycles, 0, nullptr);
        ContinuedItemPlay record({life, &slot}, started, life);
        const PlayHandle play(tarvutil_play_new(handle, life, started, life, nullptr, 0));
        tarvutil_pattern_free(handle);
        for (int block = 0; block < 8; ++block) {
            std::int32_t channel = -1, left = -1;
            std::int64_t due = -1;
            EXPECT_EQ(tarvutil_play_channel(play, &channel), TARVUTIL_OK);
            EXPECT_EQ(tarvutil_play_cycles_left(play, &left), TARVUTIL_OK);
            EXPECT_EQ(tarvutil_play_due(play, &due), TARVUTIL_OK);
            EXPECT_EQ(channel, record.Channel());
            EXPECT_EQ(left, std::max(record.RemCycles(), 0));
            EXPECT_EQ(due, record.m_nextMsec);
            const long now = static_cast<long>(due) + random.Between(1, 4);
            const bool ready = record.RemCycles() > 0 && record.ReadyToContinue(now);
            EXPECT_EQ(tarvutil_play_ready(play, now), ready ? 1 : 0);
            Words wanted(Budget), got(Budget);
            const int count = record.ContinueCmds(now, reinterpret_cast<unsigned char*>(wanted.data()));
            EXPECT_EQ(tarvutil_play_continue(play, now, got.data(), Budget),
                      count < 0 ? TARVUTIL_NOT_DUE : count);
            EXPECT_EQ(got, wanted);
        }
    }
}

TEST(CInterfaceTest, AReportHasEveryFigureByItsPath)
{
    const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "amp-step", -1, 1), TARVUTIL_OK);
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "budget", -1, 5000), TARVUTIL_BAD_ARGUMENT);
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "colour", -1, 1), TARVUTIL_NOT_FOUND);
    const std::string text = "H:(0,0)(200,-80)(53,0)(200,80)(2880,0):DurationMsec=[1000]";
    const ReportHandle report(
        tarvutil_report_new(stimulator, text.data(), static_cast<std::int32_t>(text.size()), 0, nullptr, 0));
    const auto json = nlohmann::json::parse(
        TextOf([&](char* out, std::int32_t room) { return tarvutil_report_json(report, out, room); }));
    for (const char* path : {"/period_error_us", "/phases/3/start_error_us"}) {
        double value = 0;
        EXPECT_EQ(tarvutil_report_figure(report, path, -1, &value), TARVUTIL_OK) << path;
        EXPECT_EQ(value, json.at(nlohmann::json::json_pointer(path)).get<double>()) << path;
    }
    // The step of the stimulator is one of those that are compared.
    const auto steps = nlohmann::json::parse(
        TextOf([&](char* out, std::int32_t room) { return tarvutil_report_steps(report, out, room); }));
    int same = 0;
    for (const auto& step : steps)
        if (std::fabs(step["time_step_us"].get<double>() - static_cast<double>(ThirdStep)) < 1e-4) {
            EXPECT_EQ(step["period_error_us"], json["period_error_us"]);
            ++same;
        }
    EXPECT_EQ(same, 1);
    double value = 0;
    EXPECT_EQ(tarvutil_report_figure(report, "/no_such", -1, &value), TARVUTIL_NOT_FOUND);
    EXPECT_EQ(TextOf([&](char* out, std::int32_t room) {
                  return tarvutil_report_text(report, "/deviations/0/cause", -1, out, room);
              }),
              json["deviations"][0]["cause"]);
}

TEST(CInterfaceTest, WordsOfAnOverrideAreReportedForThePatternAsAWhole)
{
    const PatternHandle pattern(tarvutil_pattern_new(TARVUTIL_PLAIN, 20, 10, 1000, Budget, nullptr, 0));
    EXPECT_EQ(tarvutil_pattern_append(pattern, 200, -60), 1);
    EXPECT_EQ(tarvutil_pattern_append(pattern, 100, 60), 2);
    EXPECT_EQ(tarvutil_pattern_set(pattern, TARVUTIL_CYCLES, 1, 0, nullptr), TARVUTIL_OK);
    EXPECT_EQ(tarvutil_pattern_override(pattern, 1, 0x1234), TARVUTIL_OK);
    const ReportHandle report(tarvutil_pattern_report_new(pattern, nullptr, nullptr, 0));
    const auto json = nlohmann::json::parse(
        TextOf([&](char* out, std::int32_t room) { return tarvutil_report_json(report, out, room); }));
    EXPECT_EQ(json["deviations"].back()["text"], "the words are not those of the phases");
    std::array<std::int32_t, 3> first{}, last{};
    ASSERT_EQ(tarvutil_report_word_phases(report, first.data(), last.data(), 3), 3);
    EXPECT_EQ(first, (std::array{-1, 0, -1}));
    EXPECT_EQ(last, (std::array{-1, 0, -1}));
}

TEST(CInterfaceTest, ADesignReportsOnEachOfItsTexts)
{
    const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
    const DesignHandle sweep(tarvutil_design_new(
        stimulator,
        R"({"amplitude": "20:57:37", "phase1": 200, "frequency": 100.0, "pulses": 2, "off": null})", -1,
        nullptr, 0));
    ASSERT_EQ(tarvutil_design_count(sweep), 2);
    const auto json = nlohmann::json::parse(
        TextOf([&](char* out, std::int32_t room) { return tarvutil_design_json(sweep, out, room); }));
    EXPECT_EQ(json[1]["changes"][0]["text"], "amplitude: 57 uA is played as 60 uA");
    const ReportHandle report(tarvutil_design_report_new(sweep, 1, nullptr, 0));
    EXPECT_EQ(TextOf([&](char* out, std::int32_t room) {
                  return tarvutil_report_text(report, "/text", -1, out, room);
              }),
              json[1]["text"]);
    EXPECT_EQ(tarvutil_design_report_new(sweep, 2, nullptr, 0), nullptr);

    const DesignHandle beyond(tarvutil_design_new(
        stimulator, R"({"amplitude": 20, "phase1": 200, "frequency": 3000, "pulses": 1})", -1, nullptr, 0));
    EXPECT_EQ(tarvutil_design_text(beyond, 0, nullptr, 0), TARVUTIL_REFUSED);
    EXPECT_EQ(tarvutil_design_report_new(beyond, 0, nullptr, 0), nullptr);
    for (const auto& [parameters, wanted] : std::vector<std::pair<const char*, const char*>>{
             {"[1]", "JSON"},
             {R"({"colour": 1})", "colour"},
             {R"({"ramp_up": 0.5})", "ramp_up: '0.5' is not a whole number"},
             {R"({"name": "a:b"})", "name"},
             {R"({"name": "a\u0000b"})", "name: 'a\\x00b' is not a name"},
             {R"({"burst": 3, "amplitude": 1, "phase1": 9, "frequency": 1, "pulses": 1})", "burst_rate"},
             {R"({"phase1": [200]})", "phase1"},
             {R"({"amplitude": 20, "phase1": 200, "frequency": 100})", "one of train"},
             {R"({"amplitude": "1:9:0.00001", "phase1": 200, "frequency": 100, "pulses": 1})", "100000"}}) {
        char reason[Room] = "";
        EXPECT_EQ(tarvutil_design_new(stimulator, parameters, -1, reason, Room), nullptr) << parameters;
        EXPECT_NE(std::string(reason).find(wanted), std::string::npos) << reason;
    }
}

// Samples, segments and words are of one current: what a train delivers is the same by each.
TEST(CInterfaceTest, SamplesKeepTheCharge)
{
    const std::uint32_t words[] = {3, 0x0006A006, 0x00038000, 0x000CA083, 0x01170000};
    constexpr double Hz = 7000;
    std::vector<double> samples(300), starts(9), durations(9), currents(9);
    std::vector<std::int32_t> indices(9);
    const std::int32_t segments = tarvutil_segments(words, 5, ThirdStep, 10, starts.data(), durations.data(),
                                                    currents.data(), indices.data(), 9);
    ASSERT_GT(segments, 0);
    double cycle = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(segments); ++i)
        cycle += durations[i] * std::fabs(currents[i]);
    for (const std::int64_t cycles : {1, 0}) {
        const std::int32_t count = tarvutil_samples(words, 5, ThirdStep, 10, cycles, Hz, samples.data(), 300);
        ASSERT_GT(count, 0);
        double net = 0;
        double most = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            net += samples[i] * 1e6 / Hz;
            most = std::max(most, std::fabs(samples[i]));
        }
        double wanted = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(segments); ++i)
            wanted += durations[i] * currents[i] * static_cast<double>(cycles == 0 ? 3 : 1);
        EXPECT_NEAR(net, wanted, 1e-6 * cycle);
        EXPECT_NEAR(most, 60, 1e-6);
        EXPECT_EQ(tarvutil_samples(words, 5, ThirdStep, 10, cycles, Hz, nullptr, 0), count);
    }
    EXPECT_EQ(tarvutil_samples(words, 5, ThirdStep, 10, 1, 1e300, nullptr, 0), TARVUTIL_FAILED);
    EXPECT_EQ(tarvutil_samples(words, 5, ThirdStep, 10, INT64_MAX, 1e-15, nullptr, 0), TARVUTIL_FAILED);
    EXPECT_EQ(tarvutil_samples(words, 1, ThirdStep, 10, INT64_MAX, Hz, nullptr, 0), 0);
    EXPECT_EQ(tarvutil_samples(words + 1, 4, ThirdStep, 10, 1, Hz, nullptr, 0), TARVUTIL_REFUSED);
    const std::uint32_t faulty[] = {3, 0x0006A006, 0};
    EXPECT_EQ(TextOf([&](char* out, std::int32_t room) {
                  return tarvutil_segments_json(faulty, 3, ThirdStep, 10, out, room);
              }),
              R"({"errors":["word 2 lasts 0 time steps"]})");
    EXPECT_EQ(tarvutil_samples(words, 5, ThirdStep, 10, -1, Hz, nullptr, 0), TARVUTIL_BAD_ARGUMENT);
}

TEST(CInterfaceTest, AScheduleSendsWhatItsTrainsAsk)
{
    const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
    const ScheduleHandle schedule(tarvutil_schedule_new(stimulator, nullptr, 0));
    const char* text = "H:(0,0)(200,-50)(100,0)(200,50)(9500,0):DurationMsec=[100]";
    const auto json = [&](std::int32_t poll, std::int64_t until) {
        return TextOf([&](char* out, std::int32_t room) {
            return tarvutil_schedule_json(schedule, poll, until, out, room);
        });
    };
    EXPECT_EQ(json(1, -1), "error -3");
    EXPECT_EQ(tarvutil_schedule_add(schedule, 1, 5, text, -1, 0), 0);
    EXPECT_EQ(tarvutil_schedule_add(schedule, 2, 0, text, -1, 0), 1);
    const char* timeless = "H:(0,0)(0,-50)(0,0)(0,50)(0,0):DurationMsec=[inf]";
    for (const char* refused : {"H:(1,2", timeless})
        EXPECT_EQ(tarvutil_schedule_add(schedule, 3, 0, refused, -1, 0), TARVUTIL_REFUSED);
    EXPECT_EQ(tarvutil_schedule_add(schedule, -1, 0, text, -1, 0), TARVUTIL_BAD_ARGUMENT);
    const auto object = nlohmann::json::parse(json(1, -1));
    EXPECT_EQ(object["commands"].size(), 2U);
    EXPECT_EQ(object["commands"][1]["train"], 0);
    EXPECT_EQ(object["commands"][1]["due_ms"], 5);
    EXPECT_EQ(object["total"]["largest_total_current_ua"], 50);
    EXPECT_EQ(nlohmann::json::parse(json(1, 4))["trains"][1]["cut"], "left out: it starts at 5 ms");
    EXPECT_EQ(tarvutil_schedule_add(schedule, 1, 104, text, -1, 0), 2);
    EXPECT_EQ(json(1, -1), "error -5");
    EXPECT_NE(TextOf([&](char* out, std::int32_t room) {
                  return tarvutil_schedule_error(schedule, out, room);
              }).find("channel 1 still plays the train of number 0 until 105 ms"),
              std::string::npos);
}

TEST(CInterfaceTest, TheLimitsOfTheStimulatorApplyToASchedule)
{
    const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "max-total-current", -1, 60), TARVUTIL_OK);
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "max-period-error", -1, 10), TARVUTIL_OK);
    const ScheduleHandle schedule(tarvutil_schedule_new(stimulator, nullptr, 0));
    const char* text = "H:(0,0)(200,-50)(100,0)(200,50)(9500,0):DurationMsec=[100]";
    const char* off = "H:(0,0)(200,-50)(100,0)(200,50)(9520,0):DurationMsec=[100]";
    const auto events = [&] { return tarvutil_schedule_events(schedule, -1, nullptr, 0); };
    EXPECT_EQ(tarvutil_schedule_add(schedule, 1, 0, off, -1, 0), TARVUTIL_REFUSED);
    EXPECT_EQ(tarvutil_schedule_add(schedule, 1, 0, text, -1, 0), 0);
    EXPECT_GT(events(), 0);
    EXPECT_EQ(tarvutil_schedule_add(schedule, 2, 0, text, -1, 0), 1);
    EXPECT_EQ(events(), TARVUTIL_REFUSED);
    EXPECT_EQ(
        TextOf([&](char* out, std::int32_t room) { return tarvutil_schedule_error(schedule, out, room); }),
        "max-total-current exceeded: 100 uA at 0 ms, the limit is 60 uA");
}

TEST(CInterfaceTest, ADeviceFileIsTakenAsAWholeOrNotAtAll)
{
    const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
    const auto value = [&](const char* key) {
        double number = 0;
        EXPECT_EQ(tarvutil_stimulator_get(stimulator, key, -1, &number), TARVUTIL_OK) << key;
        return number;
    };
    const char* faulty = "[stimulator]\ntime-step = 20\nbudget = 0\n";
    EXPECT_EQ(tarvutil_stimulator_read_profile(stimulator, faulty, -1, "lab", -1), TARVUTIL_REFUSED);
    EXPECT_NE(TextOf([&](char* out, std::int32_t room) {
                  return tarvutil_stimulator_error(stimulator, out, room);
              }).find("lab:3"),
              std::string::npos);
    EXPECT_EQ(value("time-step"), 33.333332);
    const char* device = "[stimulator]\ntime-step = 20\n[limits]\nmax-k = 1.85\narea = \"2000um2\"\n";
    EXPECT_EQ(tarvutil_stimulator_read_profile(stimulator, device, -1, "lab", -1), TARVUTIL_OK);
    EXPECT_EQ(value("time-step"), 20);
    EXPECT_EQ(value("max-k"), 1.85);
    // A pattern file is read after it: the largest amplitude can only become smaller.
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "amp-max", -1, 80), TARVUTIL_OK);
    const auto read = [&](const char* file) {
        return tarvutil_stimulator_read_patterns(stimulator, file, -1, "p.txt", -1);
    };
    EXPECT_EQ(read("# --amp-step 1 --budget 0\n"), TARVUTIL_REFUSED);
    EXPECT_EQ(read("H:(1,2)\n# --amp-step 2\n"), TARVUTIL_OK);
    EXPECT_EQ(read("\xEF\xBB\xBF# --amp-step 1 --amp-max 90\r\n"), TARVUTIL_OK);
    const auto values = nlohmann::json::parse(TextOf(
        [&](char* out, std::int32_t room) { return tarvutil_stimulator_json(stimulator, out, room); }));
    std::string settings;
    for (const auto& setting : values["settings"])
        settings += setting["option"].get<std::string>() + " " + setting["place"].get<std::string>() + "\n";
    EXPECT_EQ(settings,
              "pattern default\ntime-step lab:2\namp-step p.txt:1\namp-max argument\nbudget default\n"
              "max-k lab:4\narea lab:5\n");
    EXPECT_EQ(value("amp-max"), 80);
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "max-k", -1, std::nan("")), TARVUTIL_OK);
    EXPECT_TRUE(std::isnan(value("max-k")));
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "budget", -1, std::nan("")), TARVUTIL_BAD_ARGUMENT);
}

TEST(CInterfaceTest, ThePictureIsOfWhatTheWordsPlay)
{
    const StimulatorHandle stimulator(tarvutil_stimulator_new(nullptr, 0));
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "max-k", -1, 1), TARVUTIL_OK);
    const char* text = "H:(0,0)(200,-50)(53,0)(200,50)(2880,0):DurationMsec=[100]";
    EXPECT_EQ(tarvutil_report_new(stimulator, text, -1, 0, nullptr, 0), nullptr);  // k needs an area
    EXPECT_EQ(tarvutil_stimulator_set(stimulator, "area", -1, 6e-4), TARVUTIL_OK);
    const ReportHandle report(tarvutil_report_new(stimulator, text, -1, 0, nullptr, 0));
    const auto picture = nlohmann::json::parse(TextOf([&](char* out, std::int32_t room) {
        return tarvutil_report_picture(report, TARVUTIL_CYCLE, out, room);
    }));
    double lowest = 0;
    for (const auto& point : picture["played"]) lowest = std::min(lowest, point[1].get<double>());
    EXPECT_EQ(lowest, -50);
    EXPECT_LE(picture["low_ua"], -50);
    EXPECT_EQ(tarvutil_report_picture(report, 2, nullptr, 0), TARVUTIL_BAD_ARGUMENT);

    // The long pause is shortened: the axis bends where it begins, and where the shorter of both cycles ends.
    std::vector<double> times(20), places(20);
    const std::int32_t knots = tarvutil_report_time_axis(report, times.data(), places.data(), 20);
    ASSERT_EQ(knots, static_cast<std::int32_t>(picture["breaks"].size()) + 3);
    EXPECT_NEAR(places[static_cast<std::size_t>(knots) - 1], picture["width"], 1e-6);
    EXPECT_NEAR(places[1], picture["breaks"][0][0], 1e-6);
    EXPECT_EQ(times[1], places[1]);

    const auto limits = nlohmann::json::parse(
        TextOf([&](char* out, std::int32_t room) { return tarvutil_report_limits(report, out, room); }));
    EXPECT_EQ(limits.size(), 12u);
    EXPECT_EQ(limits[8]["limit"], "max-k");
    EXPECT_EQ(limits[8]["most"], 1);
    EXPECT_EQ(limits[8]["exceeded"], limits[8]["value"] > 1);
    EXPECT_EQ(tarvutil_report_within_limits(report), limits[8]["exceeded"] ? 0 : 1);

    std::vector<std::int32_t> first(20), last(20);
    const std::int32_t words = tarvutil_report_word_phases(report, first.data(), last.data(), 20);
    EXPECT_EQ(words, tarvutil_report_words(report, nullptr, 0));
    EXPECT_EQ(first[0], -1);
    EXPECT_EQ(first[1], 1);  // phase 0 has no length
    EXPECT_EQ(last[static_cast<std::size_t>(words) - 1], 4);
    for (std::size_t i = 2; i < static_cast<std::size_t>(words); ++i) {
        EXPECT_LE(first[i], last[i]);
        EXPECT_LE(last[i - 1], first[i] + 1);
    }
}

}  // namespace
