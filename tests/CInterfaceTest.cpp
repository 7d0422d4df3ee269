#include <cmath>
#include <nlohmann/json.hpp>

#include "TestPatterns.h"
#include "tarvutil.h"

// The C interface beside the library that it stands on: the same lives give the same results, and whatever is passed is
// answered with a code and a text.

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
    const auto value = static_cast<float>(random.Between(-20, 400));
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
            pattern.SetPhase1Amp(value);
            return set(TARVUTIL_PHASE1_UA, number, static_cast<double>(pattern.Phase1Amp()));
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
            const int index = random.Below(6);
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

TEST(CInterfaceTest, ARefusedTextLeavesThePatternAsItWas)
{
    const PatternHandle handle(tarvutil_pattern_new(TARVUTIL_LILLY, 20, 10, 1000, Budget, nullptr, 0));
    const Words before = WordsOf(handle);
    for (const char* text :
         {"", "H:(1,2", "H:(0,0)(170,-50)(5,0)(170,50)(2933,0):DurationMsec=[1]", "H:(1,x"}) {
        EXPECT_EQ(tarvutil_pattern_read(handle, text, -1), TARVUTIL_REFUSED) << text;
        EXPECT_GT(tarvutil_pattern_message_count(handle, 0) + static_cast<int>(std::string(text).empty()), 0)
            << text;
        EXPECT_EQ(WordsOf(handle), before) << text;
    }
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
        const std::string error =
            TextOf([&](char* out, std::int32_t room) { return tarvutil_pattern_error(handle, out, room); });
        EXPECT_NE(error.find(text), std::string::npos) << error;
    };
    row(tarvutil_pattern_words(handle, nullptr, 5), TARVUTIL_NULL_BUFFER, "buffer");
    row(tarvutil_pattern_words(handle, &word, -1), TARVUTIL_BAD_ARGUMENT, "capacity");
    row(tarvutil_pattern_set(handle, TARVUTIL_IPI_US, 5, 0, nullptr), TARVUTIL_NOT_LILLY, "Lilly");
    row(tarvutil_pattern_set(handle, TARVUTIL_FREQUENCY_HZ, std::nan(""), 0, nullptr), TARVUTIL_BAD_ARGUMENT,
        "value");
    row(tarvutil_pattern_set(handle, 99, 1, 0, nullptr), TARVUTIL_BAD_ARGUMENT, "parameter 99");
    row(tarvutil_pattern_set_phases(handle, lengths, lengths, 2), TARVUTIL_BAD_ARGUMENT, "finite");
    row(tarvutil_pattern_read(handle, nullptr, -1), TARVUTIL_NULL_BUFFER, "text");
}

TEST(CInterfaceTest, APlayKeepsItsPattern)
{
    tarvutil_pattern* pattern = tarvutil_pattern_new(TARVUTIL_LILLY, 20, 10, 1000, Budget, nullptr, 0);
    tarvutil_pattern_set(pattern, TARVUTIL_CYCLES, 10000, 0, nullptr);
    const PlayHandle play(tarvutil_play_new(pattern, 3, 4095, 0, nullptr, 0));
    tarvutil_pattern_free(pattern);
    std::uint32_t words[Budget];
    EXPECT_EQ(tarvutil_play_continue(play, 2, words, Budget), TARVUTIL_NOT_DUE);
    EXPECT_GT(tarvutil_play_continue(play, 3, words, Budget), 0);
    EXPECT_EQ(words[0], 4095U);
    std::int64_t due = 0;
    EXPECT_EQ(tarvutil_play_due(play, &due), TARVUTIL_OK);
    EXPECT_EQ(due, 409500);
    EXPECT_GT(tarvutil_play_continue(play, 409503, words, Budget), 0);
    EXPECT_EQ(words[0], 1810U);
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
    double value = 0;
    EXPECT_EQ(tarvutil_report_figure(report, "/no_such", -1, &value), TARVUTIL_NOT_FOUND);
    EXPECT_EQ(TextOf([&](char* out, std::int32_t room) {
                  return tarvutil_report_text(report, "/deviations/0/cause", -1, out, room);
              }),
              json["deviations"][0]["cause"]);
}

}  // namespace
