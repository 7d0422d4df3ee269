#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "CliProgram.h"
#include "Playback.h"
#include "TestPatterns.h"

using nlohmann::json;

namespace {

// Lines of random lists, some of which encode; each current of a list differs from the others, so that it is
// found in what is played.
std::string RandomSpecs(Random& random, double timeStep, int lines)
{
    std::ostringstream specs;
    for (int line = 0; line < lines; ++line) {
        specs << "Head:";
        const int count = random.Between(1, 12);
        for (int i = 1; i <= count; ++i) {
            const int whole = static_cast<int>(random.Between(0, 5) * timeStep);
            const int rest = random.Between(0, random.Below(3) == 0 ? 1 : static_cast<int>(timeStep));
            const int ampUa = random.Below(2) * (random.Below(2) == 0 ? -10 : 10) * i;
            specs << "(" << whole + rest << (random.Below(8) == 0 ? ".4," : ",") << ampUa << ")";
        }
        specs << ":DurationMsec=[" << (random.Below(10) == 0 ? "inf" : std::to_string(random.Between(1, 100))) << "]\n";
    }
    return specs.str();
}

// The objects that a command prints, one a line.
std::vector<json> Objects(const Shell& shell, const std::string& command)
{
    std::vector<json> objects;
    std::istringstream out(shell.Run(command).out);
    for (std::string line; std::getline(out, line);) objects.push_back(json::parse(line));
    return objects;
}

TEST(CliPropertyTest, DecodesEveryFormatToTheSegmentsThatTheWordsPlay)
{
    const Shell shell;
    Random random(11);
    shell.Write("specs", RandomSpecs(random, ThirdStep, 600));
    const std::string encode = "tarvutil encode --pattern plain --file specs --format ";
    const std::vector<json> encoded = Objects(shell, encode + "json | grep words");
    ASSERT_GT(encoded.size(), 100U);
    for (const std::string format : {"json", "hex", "binary"}) {
        SCOPED_TRACE(format);
        const std::vector<json> decoded =
            Objects(shell, encode + format + " | tarvutil decode --file - --format json | grep segments");
        ASSERT_EQ(decoded.size(), encoded.size());
        for (std::size_t i = 0; i < encoded.size(); ++i) {
            json segments = json::array();
            for (const auto& s : playback::Segments(encoded[i]["words"].get<Words>(), {ThirdStep, 10}))
                segments.push_back({{"start_us", s.startUsec},
                                    {"duration_us", s.durationUsec},
                                    {"current_ua", s.currentUa},
                                    {"kind", playback::NameOf(s.kind)},
                                    {"word", s.word}});
            EXPECT_EQ(decoded[i]["segments"], segments);
            EXPECT_EQ(decoded[i]["cycles"], std::min(encoded[i].value("cycles", 4095), 4095));
        }
    }
}

std::vector<json> Found(const json& report, const std::string& cause)
{
    std::vector<json> found;
    for (const json& deviation : report["deviations"])
        if (deviation["cause"] == cause) found.push_back(deviation);
    return found;
}

// When the current of one phase is first played, by the words alone.
double FirstPlayed(const std::vector<playback::Segment>& segments, double currentUa)
{
    for (const playback::Segment& segment : segments)
        if (segment.currentUa == currentUa) return segment.startUsec;
    return -1;
}

// The words that encode prints; every current must begin where check says, the lengths that check attributes
// to the phases must hold the charge that is played, and the causes explain the whole error of the period.
void ExpectReportOfWords(const json& report, const Words& words, const playback::Scale& scale)
{
    EXPECT_TRUE(Found(report, "foreign-words").empty());
    double explainedUsec = 0;
    for (const char* cause : {"length-read", "leftovers-dropped", "counts-rounded-up", "tail-word"})
        for (const json& found : Found(report, cause)) explainedUsec += found["by_us"].get<double>();
    EXPECT_NEAR(report["period_error_us"], explainedUsec,
                1e-3 * static_cast<double>(report["phases"].size()));
    if (!Found(report, "split-point-lost").empty()) return;
    const auto segments = playback::Segments(words, scale);
    playback::Charge charge;
    for (const json& p : report["phases"]) {
        const double currentUa = p["played"]["amplitude_ua"];
        const double lengthUsec = p["played"]["length_us"];
        (currentUa > 0 ? charge.positiveNc : charge.negativeNc) += currentUa * lengthUsec / 1000;
        if (currentUa == 0) continue;
        EXPECT_NEAR(p["start_played_us"], FirstPlayed(segments, currentUa), 2e-6) << p;
    }
    EXPECT_NEAR(charge.positiveNc, playback::ChargeOf(words, scale).positiveNc, 1e-5);
    EXPECT_NEAR(charge.negativeNc, playback::ChargeOf(words, scale).negativeNc, 1e-5);
}

bool HasNotable(const json& report)
{
    const json& deviations = report["deviations"];
    return std::fabs(report["largest_error_us"].get<double>()) >= 0.4999 ||
           std::fabs(report["period_error_us"].get<double>()) >= 0.4999 ||
           std::any_of(deviations.begin(), deviations.end(), [](const json& deviation) {
               return deviation["notable"] == true && deviation["cause"] != "amplitude-read";
           });
}

TEST(CliPropertyTest, ReportsOfCheckAgreeWithTheWordsAndTheWarningsOfEncode)
{
    const Shell shell;
    Random random(20);
    int encoded = 0;
    int quiet = 0;
    for (const char* timeStep : {"1.9", "7.3", "20", "33.333332", "50", "100"}) {
        const playback::Scale scale{static_cast<double>(std::stof(timeStep)), 10};
        shell.Write("specs", RandomSpecs(random, scale.timeStepUsec, 1500));
        const std::string options = " --format json --pattern plain --file specs --time-step ";
        std::vector<json> reports = Objects(shell, "tarvutil check" + options + timeStep);
        ASSERT_EQ(reports.back()["patterns"], 1500);
        reports.pop_back();
        const std::vector<json> words = Objects(shell, "tarvutil encode" + options + timeStep);
        const std::string warnings = shell.Run("tarvutil encode" + options + timeStep + " >/dev/null").err;
        ASSERT_EQ(reports.size(), 1500U);
        ASSERT_EQ(words.size(), reports.size());
        for (std::size_t i = 0; i < reports.size(); ++i) {
            if (reports[i]["encoded"] != true) continue;
            SCOPED_TRACE(reports[i].dump());
            ++encoded;
            quiet += HasNotable(reports[i]) ? 0 : 1;
            ExpectReportOfWords(reports[i], words[i]["words"], scale);
            const std::string place = reports[i]["place"].get<std::string>() + ": warning:";
            EXPECT_EQ(warnings.find(place) != std::string::npos, HasNotable(reports[i]));
        }
    }
    EXPECT_GT(encoded, 2000);
    EXPECT_GT(quiet, 100);
}

}  // namespace
