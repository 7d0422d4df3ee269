#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <sstream>
#include <string_view>
#include <tuple>
#include <utility>

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
        specs << ":DurationMsec=[" << (random.Below(10) == 0 ? "inf" : std::to_string(random.Between(1, 100)))
              << "]\n";
    }
    return specs.str();
}

// The objects that a command prints, one on each line.
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
            EXPECT_FALSE(decoded[i].contains("warnings"));
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

// The words that encode prints: every current must begin at the start that check prints, the lengths that check prints
// for the phases must have the charge that is played, and the causes must explain the whole error of the period.
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

double Error(const json& report, const std::string& name, const std::string& unit)
{
    return report[name + "_played" + unit].get<double>() - report[name + "_asked" + unit].get<double>();
}

// Half a microsecond of a start or of the period, or a thousandth of the rate or of a charge.
bool HasNotable(const json& report)
{
    constexpr double Thousandth = 1e-3 * (1 - 1e-6);
    const json& deviations = report["deviations"];
    const double positiveNc = report["positive_charge_asked_nc"];
    const double negativeNc = report["negative_charge_asked_nc"];
    const auto charge = [&](const std::string& name, double asked) {
        return std::fabs(Error(report, name, "_nc")) >= std::max(Thousandth * std::fabs(asked), 1e-6);
    };
    return std::fabs(report["largest_error_us"].get<double>()) >= 0.4999 ||
           std::fabs(report["period_error_us"].get<double>()) >= 0.4999 ||
           (!report["frequency_asked_hz"].is_null() && !report["frequency_played_hz"].is_null() &&
            std::fabs(Error(report, "frequency", "_hz")) >=
                Thousandth * report["frequency_asked_hz"].get<double>()) ||
           charge("positive_charge", positiveNc) || charge("negative_charge", negativeNc) ||
           charge("net_charge", std::max(positiveNc, -negativeNc)) ||
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
    EXPECT_GT(quiet, 50);
}

// --- Faults of one character ---

// The keys of a keyboard, row by row, without and with shift.
constexpr std::string_view KeyRows[] = {"1234567890-=", "qwertyuiop[]", "asdfghjkl;'", "zxcvbnm,./",
                                        "!@#$%^&*()_+", "QWERTYUIOP{}", "ASDFGHJKL:",  "ZXCVBNM<>?"};

const std::vector<std::pair<char, std::string>> LookAlikes{
    {'-', "−"}, {'-', "–"},  {'-', "‐"},  {'-', "_"},  {'0', "O"}, {'0', "o"},  {'1', "l"}, {'1', "I"},
    {'2', "Z"}, {'2', "２"}, {'5', "S"},  {'6', "б"},  {'8', "B"}, {',', "，"}, {',', ";"}, {',', "."},
    {'.', ","}, {'.', "·"},  {'(', "（"}, {'(', "["},  {'(', "{"}, {')', "）"}, {')', "]"}, {'[', "("},
    {']', ")"}, {':', "："}, {':', ";"},  {'=', "＝"}, {'a', "а"}, {'e', "е"},  {'o', "о"}, {'i', "ı"},
    {'i', "1"}, {'n', "п"},  {'s', "5"},  {'I', "l"}};

std::string OtherKey(Random& random, char c)
{
    for (const std::string_view row : KeyRows)
        if (const std::size_t at = row.find(c); at != std::string_view::npos)
            return std::string(
                1, at == 0 || (at + 1 < row.size() && random.Below(2) == 0) ? row[at + 1] : row[at - 1]);
    return {};
}

std::string LookAlike(Random& random, char c)
{
    std::vector<std::string> found;
    for (const auto& [key, look] : LookAlikes)
        if (key == c) found.push_back(look);
    return found.empty() ? OtherKey(random, c)
                         : found[static_cast<std::size_t>(random.Below(static_cast<int>(found.size())))];
}

std::string WithFault(Random& random, const std::string& text)
{
    const auto at = static_cast<std::size_t>(random.Below(static_cast<int>(text.size())));
    const std::string changed[] = {"", std::string(2, text[at]), OtherKey(random, text[at]),
                                   LookAlike(random, text[at])};
    return text.substr(0, at) + changed[random.Below(4)] + text.substr(at + 1);
}

// What a text asks for to whoever reads it.
struct PlainReading
{
    double periodUsec = 0;
    playback::Charge charge;
    double trainMsec = 0;
};

// Nothing for a text that is not clearly that of a Lilly pattern.
std::optional<PlainReading> ReadPlainly(const std::string& text)
{
    const std::string number = R"(\s*([-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?)\s*)";
    const std::regex phaseForm(R"(\()" + number + "," + number + R"(\)\s*)");
    const std::regex form(
        R"([^:(][^:]*:\s*((?:\([^()]*\)\s*){5}):\s*DurationMsec\s*=\s*\[(?:\s*(?:inf|INF)\s*|)" + number +
        R"()\]\s*(?::\s*ChargeBalanceIdx\s*=\s*\[\s*[0-4]\s*\]\s*)?)");
    std::smatch fields;
    if (!std::regex_match(text, fields, form)) return {};
    PlainReading plain;
    plain.trainMsec = fields[2].matched ? std::stod(fields[2]) : HUGE_VAL;
    std::string list = fields[1];
    for (std::smatch phase; !list.empty(); list = phase.suffix()) {
        if (!std::regex_search(list, phase, phaseForm, std::regex_constants::match_continuous)) return {};
        const double lenUsec = std::stod(phase[1]);
        const double nc = lenUsec * std::stod(phase[2]) / 1000;
        plain.periodUsec += lenUsec;
        (nc > 0 ? plain.charge.positiveNc : plain.charge.negativeNc) += nc;
    }
    return plain;
}

bool PlaysPlainly(const json& words, const playback::Scale& scale, const PlainReading& plain)
{
    const auto array = words["words"].get<Words>();
    const playback::Charge charge = playback::ChargeOf(array, scale);
    const double cycles = words.contains("continuous") ? HUGE_VAL : words["cycles"].get<double>();
    const auto near = [](double asked, double played) {
        return std::fabs(asked - played) <= 1.1e-3 * std::fabs(asked);
    };
    return std::fabs(plain.periodUsec - playback::PeriodUsec(array, scale)) < 0.51 &&
           near(plain.charge.positiveNc, charge.positiveNc) &&
           near(plain.charge.negativeNc, charge.negativeNc) &&
           (cycles == HUGE_VAL ? plain.trainMsec == HUGE_VAL
                               : std::fabs(plain.trainMsec * 1000 / plain.periodUsec - cycles) < 0.51);
}

// Options of its first line, and the texts of a file of patterns that are played without a warning.
std::pair<std::string, std::vector<std::string>> PatternsOf(const Shell& shell, const std::string& file)
{
    std::istringstream lines(shell.Run("cat $PATTERNS/" + file).out);
    std::string options;
    std::getline(lines, options);
    std::vector<std::string> texts;
    options.erase(0, 1);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty() && line[0] != '#' &&
            shell.Run("tarvutil encode " + options + " '" + line + "'").err.empty())
            texts.push_back(line);
    return {options, texts};
}

TEST(CliPropertyTest, AFaultOfOneCharacterIsHarmlessRefusedWarnedOfOrPlainlyAskedFor)
{
    constexpr int Faults = 250;
    const Shell shell;
    Random random(31);
    int refused = 0;
    int changed = 0;
    int plainly = 0;
    const std::vector<std::tuple<std::string, playback::Scale>> files{
        {"retina.txt", {20, 1}},
        {"nerve.txt", {20, 10}},
        {"cochlea.txt", {4, 4}},
        {"time-step-33.333332.txt", {ThirdStep, 1}}};
    for (const auto& [file, scale] : files) {
        const auto [options, texts] = PatternsOf(shell, file);
        ASSERT_FALSE(texts.empty());
        std::vector<std::string> faulty;
        std::string lines;
        for (int i = 0; i < Faults; ++i)
            lines +=
                faulty.emplace_back(WithFault(random, texts[static_cast<std::size_t>(i) % texts.size()])) +
                "\n";
        shell.Write("faulty", lines);
        const std::string encode = "tarvutil encode --format json " + options + " --file ";
        std::string quiet;
        for (const std::string& text : texts) quiet += text + "\n";
        shell.Write("original", quiet);
        const std::vector<json> original = Objects(shell, encode + "original");
        const std::vector<json> encoded = Objects(shell, encode + "faulty");
        const std::string messages = shell.Run(encode + "faulty").err;
        ASSERT_EQ(original.size(), texts.size());
        ASSERT_EQ(encoded.size(), faulty.size());
        for (std::size_t i = 0; i < faulty.size(); ++i) {
            SCOPED_TRACE(faulty[i]);
            if (encoded[i].contains("errors")) {
                ++refused;
                continue;
            }
            if (encoded[i]["words"] == original[i % texts.size()]["words"] &&
                encoded[i].value("cycles", 0) == original[i % texts.size()].value("cycles", 0))
                continue;
            ++changed;
            const std::optional<PlainReading> plain = ReadPlainly(faulty[i]);
            ASSERT_TRUE(plain);
            const std::string place = encoded[i]["place"].get<std::string>() + ": warning:";
            const bool playsPlainly = PlaysPlainly(encoded[i], scale, *plain);
            plainly += playsPlainly ? 1 : 0;
            EXPECT_TRUE(playsPlainly || messages.find(place) != std::string::npos);
        }
    }
    EXPECT_GT(refused, 200);
    EXPECT_GT(changed, 100);
    EXPECT_GT(plainly, changed / 4);
}

}  // namespace
