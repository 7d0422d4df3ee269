#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>

#include "DesignParameters.h"
#include "Events.h"
#include "Json.h"
#include "Samples.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "TestPatterns.h"
#include "WordText.h"

// Everything that front ends print of many inputs, good and faulty: the same on every system and with every compiler, one
// checksum for each kind of input. What the texts must say is tested by the other tests. After a change that is meant:
//
//     git stash; ...; TEST_TMPDIR=before TARVUTIL_PRINTED=1 SameReportsTest
//     git stash pop; ...; TEST_TMPDIR=after SameReportsTest                   writes what differs: read it

using namespace preview;

namespace {

class Printed
{
 public:
    void Add(const std::string& text) { m_text.append(text).append(1, '\n'); }
    void Add(const std::vector<std::string>& texts)
    {
        for (const std::string& text : texts) Add(text);
    }

    void ExpectSame(const char* name, std::uint64_t expected) const
    {
        const std::uint64_t checksum = Checksum(m_text);
        const std::string file = testing::TempDir() + name;
        EXPECT_EQ(checksum, expected) << "not as it was: " << file << ", 0x" << std::hex << checksum;
        if (checksum != expected || std::getenv("TARVUTIL_PRINTED") != nullptr)
            std::ofstream(file, std::ios::binary) << m_text;
    }

 private:
    std::string m_text;
};

template <typename T, std::size_t Size>
T OneOf(Random& random, const T (&values)[Size])
{
    return values[random.Below(static_cast<int>(Size))];
}

// In one of four cases a piece of text is replaced, inserted or removed.
std::string Damaged(std::string text, Random& random)
{
    static constexpr const char* Pieces[] = {" ",
                                             "\t",
                                             "O",
                                             "o",
                                             "l",
                                             "\xC2\xB5s",
                                             "ms",
                                             "\xE2\x88\x92",
                                             "-",
                                             ",",
                                             ";",
                                             ":",
                                             "(",
                                             ")",
                                             "[",
                                             "]",
                                             "=",
                                             ".",
                                             "..",
                                             "e9",
                                             "#",
                                             "x",
                                             "0",
                                             "5",
                                             "1e39",
                                             "nan",
                                             "\xFF",
                                             "\x01",
                                             "inf",
                                             "--",
                                             "\xED\xA0\x80",
                                             "\xF4\x90\x80\x80",
                                             "\xF0\x9F\x98\x80",
                                             "\xE0\x80\x80"};
    if (random.Below(4) != 0 || text.empty()) return text;
    const auto at = static_cast<std::size_t>(random.Below(static_cast<int>(text.size())));
    const auto size = static_cast<std::size_t>(random.Below(3));
    return text.replace(at, size, size != 0 && random.Below(3) == 0 ? "" : OneOf(random, Pieces));
}

Stimulator AnyStimulator(Random& random)
{
    Stimulator stimulator;
    stimulator.pattern = random.Below(2) == 0 ? PatternKind::Lilly : PatternKind::Plain;
    stimulator.timeStepUsec =
        OneOf(random, {1.0f, 1.7f, 7.3f, 10.0f, 20.0f, ThirdStep, 40.0f, 100.0f, 700.0f});
    stimulator.ampStepUa = OneOf(random, {1.0f, 10.0f, 0.7f});
    if (random.Below(4) == 0) stimulator.ampMaxUa = static_cast<float>(random.Below(300));
    if (random.Below(9) == 0) stimulator.ampMaxUa = 99.5f * stimulator.ampStepUa;
    if (random.Below(4) == 0) stimulator.budget = random.Between(1, 12);
    return stimulator;
}

std::string AnyText(const Stimulator& stimulator, Random& random)
{
    static constexpr const char* Units[] = {
        "s", "sec", "ms", " msec", "us", "usec", "ns", "\xC2\xB5s",    "\xCE\xBCs",
        "A", "mA",  "uA", "nA",    ".5", "x",    ".5", "\xC2\xB5\x41", "\xCE\xBC\x41"};
    const int phases = stimulator.pattern == PatternKind::Lilly ? 5 : random.Between(1, 7);
    std::vector<std::pair<int, int>> list(static_cast<std::size_t>(phases));
    const auto length = [&] {
        const int steps = random.Below(random.Below(5) == 0 ? 200000 : 30);
        const float usec = static_cast<float>(steps) * stimulator.timeStepUsec;
        return static_cast<int>(usec) + (random.Below(3) == 0 ? random.Below(40) : 0);
    };
    for (auto& [usec, ua] : list)
        usec = random.Below(7) == 0 ? 0 : length(), ua = random.Below(2) == 0 ? 0 : random.Between(-110, 110);
    if (stimulator.pattern == PatternKind::Lilly) {
        list[0].second = list[2].second = list[4].second = 0;
        if (random.Below(3) != 0) list[3] = {list[1].first, -list[1].second};
    }
    std::string text = OneOf(random, {"R:", "Pulse 7:", "", "\xC3\xA9\"<&>:"});
    const auto unit = [&] { return random.Below(150) == 0 ? OneOf(random, Units) : ""; };
    double periodUsec = 0;
    for (const auto& [usec, ua] : list) {
        periodUsec += usec;
        text.append("(").append(std::to_string(usec)).append(unit());
        text.append(",").append(std::to_string(ua)).append(unit()).append(")");
    }
    // Without end, of any length, or of whole blocks of cycles and one cycle more.
    const int kind = random.Below(10);
    text += ":DurationMsec=[" +
            (kind < 2   ? "inf"
             : kind < 3 ? std::to_string(periodUsec * (4095 * random.Between(1, 3) + 1) / 1000)
                        : std::to_string(random.Below(kind < 7 ? 90 : 100000))) +
            ']';
    if (stimulator.pattern == PatternKind::Lilly && random.Below(3) != 0)
        text += ":ChargeBalanceIdx=[" + std::to_string(random.Below(5)) + ']';
    for (int times = random.Below(20) == 0 ? 40 : 1; times > 0; --times) text = Damaged(text, random);
    return text;
}

Limits AnyLimits(Random& random)
{
    Limits limits;
    for (auto& most : limits.most)
        if (random.Below(8) == 0) most = OneOf(random, {0.0, 0.001, 0.5, 3.0, 40.0, 5000.0});
    if (random.Below(2) == 0 || LimitWithoutArea(limits) != nullptr) limits.areaCm2 = 2e-5;
    limits.exact = random.Below(9) == 0;
    if (random.Below(9) == 0)
        limits.loosened.push_back({SettingNamed("max-error").value(), 1, 0.5, "lab.toml:7"});
    return limits;
}

TEST(SameReportsTest, OfSpecificationStrings)
{
    Random random(1);
    Printed printed;
    Summary summary;
    for (int i = 0; i < 3000; ++i) {
        const Stimulator stimulator = AnyStimulator(random);
        const std::string text = AnyText(stimulator, random);
        const Limits limits = AnyLimits(random);
        const std::string place = "p:" + std::to_string(i);
        Report report(stimulator);
        ReportOn(text, limits, random.Below(3) == 0 ? Reading::Lenient : Reading::Strict, report);
        const Advice advice = AdviceOn(report);
        printed.Add(
            ReportJson(report, place, advice, i % 40 == 0 ? StepRows(report) : std::vector<StepRow>()));
        printed.Add({LimitsJson(report, limits), WordsJson(report, place)});
        for (const auto& sentences :
             {RefusalSentences(report), AdviceSentences(advice), IrregularityWarnings(report),
              WarningSentences(report), DeviationSentences(report), DeviationSentences(report, true),
              ExcessSentences(report.excesses)})
            printed.Add(sentences);
        for (const Loosened& loosened : report.limits.loosened) printed.Add(Sentence(loosened));
        summary.Add(Summary::PatternOf(report), [&] { return place; });
        if (report.encoding.refusal)
            printed.Add(
                {MeetingSentence(*report.encoding.refusal), RepairSentence(*report.encoding.refusal)});
        if (!report.encoding.Encoded()) continue;
        printed.Add(FirstCommandSentence(report.encoding));
        const Host host{random.Between(1, 30), 3};
        const Timeline timeline = TimelineOf(stimulator, report.encoding, host, random.Below(100));
        if (timeline.blocks.size() < 40) printed.Add(TimelineJson(report, timeline, place));
        if (timeline.longestGapMsec > 0) printed.Add(LateBlockSentence(timeline, host));
        printed.Add(PictureJson(PictureOf(report)));
        if (!timeline.continuous && std::isfinite(report.deviations.trainMsec.asked))
            printed.Add(PictureJson(PictureOf(report, Drawn::Train)));
    }
    printed.Add({Sentence(summary), SummaryJson(summary)});
    printed.ExpectSame("reports.txt", 0x4226913F9544CADA);
}

TEST(SameReportsTest, OfDesigns)
{
    static constexpr const char* Values[] = {
        "20",          "60",       "100",   "200",   "1",        "2",        "3",
        "0",           "0.5",      "12.7",  "1000",  "inf",      "10:40:10", "40:10:15",
        "0.1:0.4:0.1", "1:1000:1", "5:5:1", "1:2:0", "positive", "negative", "-4"};
    Random random(2);
    Printed printed;
    for (int i = 0; i < 8000; ++i) {
        DesignParameters parameters;
        for (const DesignParameter& parameter : AllDesignParameters())
            if (parameter.needed || random.Below(5) == 0)
                for (int tries = random.Between(1, 4); tries > 0; --tries)
                    printed.Add(parameter.set(parameters, Damaged(OneOf(random, Values), random)));
        const std::string fault = parameters.Inconsistent("--");
        printed.Add(fault);
        if (!fault.empty()) continue;
        const SequenceRequest request = parameters.Request();
        Stimulator stimulator = AnyStimulator(random);
        stimulator.pattern = KindOf(request.pulse);
        std::vector<DesignRequest> requests;
        const std::optional<SequenceFault> tooMuch = MakeSequence(request, stimulator, requests);
        if (tooMuch) printed.Add(Sentence(*tooMuch, "--"));
        requests.resize(std::min<std::size_t>(tooMuch ? 0 : requests.size(), 6));
        for (const DesignRequest& r : requests) {
            Stimulator own = stimulator;
            own.pattern = KindOf(r);
            Design design(own);
            MakeDesign(r, design, AnyLimits(random));
            printed.Add({r.name, DesignJson(design, r.name)});
            if (design.outOfReach) printed.Add(Sentence(*design.outOfReach));
            printed.Add(ChangeSentences(design));
            printed.Add(ExcessSentences(design.excesses));
        }
    }
    printed.ExpectSame("designs.txt", 0xB9000E769B771C52);
}

TEST(SameReportsTest, OfDeviceFilesAndOptionLines)
{
    static constexpr const char* Values[] = {"20",    "0.5",       "1e3",          "0",           "-1",
                                             "101",   "1024",      "true",         "false",       "plain",
                                             "lilly", "2000um2",   "0.002mm2",     "\"2e-5cm2\"", "nan",
                                             "inf",   "\"plain\"", "\"0.002mm2\"", "'lilly'",     "[1]"};
    Random random(3);
    Printed printed;
    std::array<Profile, 3> sources;
    const auto read = [&](const std::optional<ProfileFault>& fault) {
        if (fault) printed.Add({fault->place, fault->text});
    };
    for (int i = 0; i < 3000; ++i) {
        std::string device = random.Below(9) == 0 ? "title = 'x'\n" : "# a device\n";
        std::string line = random.Below(9) == 0 ? "" : "# ";
        bool inLimits = false;
        for (std::size_t s = 0; s < SettingCount; ++s) {
            const SettingKind& kind = SettingKinds()[s];
            if (s == 0) device += "[stimulator]\n";
            if (kind.isLimit && !inLimits) device += "[limits]\n";
            inLimits = kind.isLimit;
            if (random.Below(6) == 0) device += std::string(kind.name) + " = " + OneOf(random, Values) + "\n";
            if (random.Below(12) == 0) {
                line.append("  --").append(kind.name).append(random.Below(2) == 0 ? " " : "=");
                line += OneOf(random, Values);
            }
        }
        read(ReadProfile(Damaged(device, random), "lab.toml", sources[0]));
        read(ReadOptionLine(Damaged(line, random), "p:1", sources[1]));
        const auto setting = static_cast<std::size_t>(random.Below(SettingCount));
        const double value = OneOf(random, {0.0, 1.0, 0.25, 20.0, 300.0});
        printed.Add(FaultOf(setting, value));
        if (FaultOf(setting, value).empty()) sources[2].Set(setting, value, "option");
        const Profile merged = Merge(sources[2], sources[1], sources[0]);
        printed.Add(ProfileJson(merged));
        for (const SettingInForce& s : InForce(merged)) printed.Add(TextWithUnit(*s.kind, s.value));
        for (const Loosened& loosened : merged.limits.loosened) printed.Add(Sentence(loosened));
        if (i % 3 == 0) sources[static_cast<std::size_t>(random.Below(3))] = Profile();
        for (std::size_t s = 0; s < SettingCount && i % 20 == 0; ++s) {
            Profile cleared = merged;
            printed.Add(cleared.Clear(s) ? ProfileJson(cleared) : "always has a value");
            printed.Add(std::to_string(cleared.Value(s).value_or(-1)));
        }
    }
    printed.ExpectSame("profiles.txt", 0xCE867FEC5768E631);
}

TEST(SameReportsTest, OfSchedules)
{
    Random random(4);
    Printed printed;
    for (int i = 0; i < 1000; ++i) {
        const Stimulator stimulator = AnyStimulator(random);
        Schedule schedule(stimulator);
        Report report(stimulator);
        for (std::size_t number = 1; number < 9; ++number) {
            std::string line = std::to_string(random.Below(4)) + '\t';
            line += std::to_string(random.Below(400)) + '\t';
            line = Damaged(line + AnyText(stimulator, random), random);
            ScheduleLine read;
            const std::string fault = ReadScheduleLine(line, read);
            // The latest start is that of the host's clock.
            printed.Add(fault.substr(0, fault.find(std::to_string(MaxStartMsec()))));
            ReportOn(read.text, {}, Reading::Strict, report);
            if (!report.encoding.Encoded() || report.deviations.periodUsec.played < 500) continue;
            const TotalCurrent own = LargestCurrent(report);
            printed.Add(Sentence(own, 1));
            schedule.Add(number, read, report);
        }
        if (const std::optional<Overlap> overlap = schedule.FindOverlap()) {
            printed.Add(Sentence(*overlap, "line"));
            continue;
        }
        const std::int64_t until = random.Below(2000);
        printed.Add({ScheduleJson(schedule, {random.Between(1, 30), 3}, until), EventsOf(schedule, until)});
        for (const ScheduledTrain& train : schedule.Trains()) printed.Add(CutSentence(train, until));
    }
    printed.ExpectSame("schedules.txt", 0x8707509E7934481F);
}

TEST(SameReportsTest, OfWords)
{
    static constexpr const char* Json[] = {"458752",       "1",          "20",   "-1",   "1.5", "\"1\"",
                                           "\"\xC3\xA9\"", "4294967296", "4e39", "null", "true"};
    Random random(5);
    Printed printed;
    printed.Add({EventsHeader(), EventsDescription(), KSentence()});
    for (int i = 0; i < 4000; ++i) {
        Words words{static_cast<unsigned int>(random.Below(random.Below(2) == 0 ? 5 : 4096))};
        // Up to 39 steps; each second word has a current of its own and no split point, the others have any bits.
        for (int count = random.Below(9); count > 0; --count) {
            const auto steps = static_cast<unsigned int>(random.Below(40)) << 16U;
            const bool any = count % 2 != 0;
            words.push_back(steps | (any ? 0 : 0xA000U) |
                            static_cast<unsigned int>(random.Below(1 << (any ? 16 : 8))));
        }
        std::string text;
        if (random.Below(3) == 0) {
            text.append("{\"words\": [1, ").append(OneOf(random, Json));
            text += "], \"cycles\": 7, \"continuous\": false, \"time_step_us\": 20, \"amp_step_ua\": ";
            text.append(OneOf(random, Json)).append("}");
        } else {
            AppendWords(text, words);
        }
        WordLine line;
        printed.Add(ReadWordLine(Damaged(text, random), line));
        const std::string refusal = playback::Refusal(line.words);
        printed.Add({refusal, std::to_string(line.cycles.value_or(-1))});
        if (!refusal.empty()) continue;
        const Stimulator stimulator = AnyStimulator(random);
        const float step = line.timeStepUsec.value_or(stimulator.timeStepUsec);
        printed.Add(SegmentsJson(step, line.ampStepUa.value_or(1), line.words, "w"));
        const Train train = TrainOf(line.words, {step, 1}, random.Between(1, 3));
        ForEachStretch(train, [&](double at, double usec, double ua) {
            printed.Add(std::to_string(at) + std::to_string(usec) + std::to_string(ua));
        });
        ForEachSample(train, 5000,
                      [&](double at, double ua) { printed.Add(std::to_string(at) + std::to_string(ua)); });
    }
    printed.ExpectSame("words.txt", 0xA49FBB2DCCD25AA6);
}

}  // namespace
