#include <cmath>
#include <map>
#include <sstream>

#include "CliProgram.h"
#include "Playback.h"
#include "TestPatterns.h"

using nlohmann::json;

namespace {

std::string Repeated(int times, const std::string& text)
{
    std::string repeated;
    for (int i = 0; i < times; ++i) repeated += text;
    return repeated;
}

std::string Spec(const std::string& phases, const std::string& train = "1000")
{
    return "Head:" + phases + ":DurationMsec=[" + train + "]";
}

json Checked(const std::string& options, const std::string& spec)
{
    return TarvutilJson("check " + options + " '" + spec + "'").at(0);
}

// The deviations of one cause.
std::vector<json> Found(const json& report, const std::string& cause)
{
    std::vector<json> found;
    for (const json& deviation : report.at("deviations"))
        if (deviation["cause"] == cause) found.push_back(deviation);
    return found;
}

struct CauseCase
{
    std::string cause;
    std::string options;
    std::string spec;
    int phase;
    double usec;
    double ampUa;
    double periodErrorUsec;
};

TEST(CliCheckTest, NamesEachCauseAndByHowMuch)
{
    const std::string plain = "--pattern plain ";
    const std::string drifting = Spec(Repeated(10, "(98.6,50)(98.6,0)"));
    const std::vector<CauseCase> cases{
        {"length-read", plain + "--time-step 100", drifting, 0, 8, 0, 28},
        {"counts-rounded-up", plain + "--time-step 100", drifting, 0, 20, 0, 28},
        {"leftovers-dropped", plain + "--time-step 99.6", Spec("(100,50)(498,0)(100,-50)"), 0, -0.8, 0, -0.8},
        {"amplitude-read", plain + "--time-step 100", Spec("(100,0)(100,106)"), 1, 0, 4, 0},
        {"amplitude-clamped", plain + "--time-step 100 --amp-max 70", Spec("(100,-250)"), 0, 0, 180, 0},
        {"amplitude-cut", plain + "--time-step 100 --amp-step 0.3", Spec("(100,-4.5)"), 0, 0, 0.3, 0},
        {"amplitude-cut", plain + "--time-step 100 --amp-max 25", Spec("(100,40)"), 0, 0, -5, 0},
        {"amplitude-ceiling", plain + "--time-step 100 --amp-step 2 --amp-max 500",
         Spec("(200,-250)(400,124)"), 0, 0, 50, 0},
        {"phase-balanced", "--time-step 100", Spec("(0,0)(200,-60)(100,0)(400,60)(9300,0)") + ":C=[2]", 3, 0,
         -30, 0},
        {"split-point-cut", plain, Spec("(200,-80)(53,0)(200,80)(2880,0)"), 2, -0.66666, 0, 0.333206},
        {"split-point-lost", plain, Spec("(32,50)(68,0)"), 1, 1.333332, 0, -4e-6},
        {"split-point-lost", plain + "--time-step 50", Spec("(100,0)(38,0)(62,50)"), 2, -32, 0, 0},
        {"split-point-lost", plain + "--time-step 1000", Spec("(600,50)(1400,0)"), 1, 2000, 0, 2000},
        {"tail-word", plain + "--time-step 20", Spec("(60,50)(7512,0)"), 1, 8, 0, 8},
        {"next-current", plain + "--time-step 7.3", Spec("(37,0)(7,-300)(131,300)"), 2, -7, 0, 0.2},
        {"cycles-rounded", "--amp-step 1", Spec("(0,0)(170,-50)(60,0)(170,50)(2933,0)", "166.6"), -1, -3283,
         0, 0.333206},
    };
    for (const CauseCase& c : cases) {
        SCOPED_TRACE(c.cause + " " + c.options + " " + c.spec);
        const json report = Checked(c.options, c.spec);
        ASSERT_TRUE(report["encoded"]) << report;
        const std::vector<json> found = Found(report, c.cause);
        ASSERT_FALSE(found.empty()) << report["deviations"];
        EXPECT_EQ(found[0]["phase"], c.phase < 0 ? json() : json(c.phase));
        EXPECT_NEAR(found[0]["by_us"], c.usec, 2e-4);
        EXPECT_NEAR(found[0]["by_ua"], c.ampUa, 1e-6);
        EXPECT_NEAR(report["period_error_us"], c.periodErrorUsec, 2e-5);
    }
}

TEST(CliCheckTest, ComparesEachStageOfAPhaseAndTheTotals)
{
    const json drift = Checked("--pattern plain --time-step 100", Spec(Repeated(10, "(98.6,50)(98.6,0)")));
    EXPECT_EQ(drift["period_asked_us"], 1972);
    EXPECT_EQ(drift["period_played_us"], 2000);
    EXPECT_EQ(drift["phases"][19]["start_error_us"], 26.6);
    EXPECT_EQ(drift["largest_error_us"], 26.6);
    EXPECT_EQ(drift["phases"][18], json::parse(R"({"start_asked_us": 1774.8, "start_played_us": 1800.0,
        "start_error_us": 25.2, "gained_us": 1.0, "asked": {"length_us": 98.6, "amplitude_ua": 50.0},
        "read": {"length_us": 99.0, "amplitude_ua": 50.0},
        "played": {"length_us": 100.0, "amplitude_ua": 50.0}})"));

    const json ceiling = Checked("--pattern plain --time-step 20 --amp-step 2 --amp-max 500",
                                 Spec("(200,-250)(400,124)", "inf"));
    EXPECT_EQ(ceiling["net_charge_asked_nc"], -0.4);
    EXPECT_EQ(ceiling["net_charge_played_nc"], 9.6);
    EXPECT_EQ(ceiling["continuous"], true);
    EXPECT_TRUE(ceiling["train_net_charge_played_nc"].is_null());

    const json balanced =
        Checked("--time-step 20 --amp-max 40", Spec("(0,0)(100,-63.5)(100,0)(400,30)(9400,0)") + ":C=[1]");
    EXPECT_EQ(balanced["phases"][1]["read"]["amplitude_ua"], -60);
    EXPECT_EQ(balanced["phases"][1]["clamped"]["amplitude_ua"], -40);
    EXPECT_EQ(balanced["phases"][3]["balanced"], json::parse(R"({"length_us": 100, "amplitude_ua": 40})"));
    EXPECT_EQ(balanced["net_charge_played_nc"], 0);

    const json train = Checked("--amp-step 1", Spec("(0,0)(170,-50)(60,0)(170,50)(2933,0)", "166.6"));
    EXPECT_EQ(train["cycles_played"], 49);
    EXPECT_NE(Found(train, "cycles-rounded")[0]["text"].get<std::string>().find("49 of 50"),
              std::string::npos);
}

TEST(CliCheckTest, FindsTheStepsThatAFloatDoesNotHold)
{
    const std::map<std::string, std::size_t> stepsLow{{"0.3", 4}, {"3.3", 12}, {"0.1", 0},
                                                      {"0.5", 0}, {"7.5", 0},  {"10", 0}};
    for (const auto& [step, low] : stepsLow) {
        std::ostringstream phases;
        for (int n = 1; n <= 100; ++n) phases << "(100," << n * std::stod(step) << ")";
        const json report =
            Checked("--pattern plain --budget 1024 --time-step 100 --amp-step " + step, Spec(phases.str()));
        EXPECT_EQ(Found(report, "amplitude-cut").size(), low) << step;
    }
}

TEST(CliCheckTest, ExitsWith1WhenALimitIsExceededOrAPatternRefused)
{
    const std::string ceiling =
        "--pattern plain --time-step 20 --amp-step 2 --amp-max 500 '" + Spec("(200,-250)(400,124)") + "' ";
    const std::string drift =
        "--pattern plain --time-step 100 '" + Spec(Repeated(10, "(98.6,50)(98.6,0)")) + "' ";
    const std::vector<std::pair<std::string, int>> cases{
        {ceiling, 0},
        {ceiling + "--max-net-charge 9.6", 0},
        {ceiling + "--max-net-charge 9.59", 1},
        {ceiling + "--max-error 0", 0},
        {drift + "--max-error 26.6", 0},
        {drift + "--max-error 26.5", 1},
        {drift + "--max-net-charge -1", 2},
        {drift + "--max-error x", 2},
        {"'" + Spec("(0,0)(170,-50)(0,0)(170,50)(2933,0)") + "'", 1},
        {"'Head:(100'", 1},
    };
    for (const auto& [arguments, status] : cases)
        EXPECT_EQ(Tarvutil("check " + arguments + " 2>&1").status, status) << arguments;
}

TEST(CliCheckTest, SaysWhichPhaseMeetsWhichAndWhatTheRepairMakes)
{
    const json meeting = Checked("", Spec("(0,0)(170,-50)(0,0)(170,50)(2933,0)"));
    EXPECT_EQ(meeting["refusal"]["phase"], 3);
    EXPECT_EQ(meeting["refusal"]["meets_phase"], 1);
    EXPECT_NEAR(meeting["refusal"]["carried_us"], 3.33334, 2e-5);
    EXPECT_EQ(meeting["adjusted"]["fits"], true);
    const json repaired = Checked("", Spec(meeting["adjusted"]["text"]));
    EXPECT_TRUE(repaired["encoded"]) << repaired;

    const json unfinished = Checked("--pattern plain", Spec("(0,0)(400,-80)(50,0)(3200,10)(0,0)"));
    EXPECT_EQ(unfinished["refusal"]["phase"], 4);
    EXPECT_EQ(unfinished["refusal"]["meets_phase"], 3);
    EXPECT_FALSE(unfinished.contains("adjusted"));

    const json budget = Checked("--budget 3", Spec("(0,0)(200,-60)(100,0)(400,30)(9300,0)"));
    EXPECT_TRUE(budget["refusal"]["phase"].is_null());
    EXPECT_EQ(budget["adjusted"]["fits"], false);
}

// Lines of random lists; each current of a list differs from the others, so that it is found in what is
// played.
std::string RandomSpecs(Random& random, double timeStep, int lines)
{
    std::ostringstream specs;
    for (int line = 0; line < lines; ++line) {
        const int count = random.Between(1, 12);
        const auto phaseAt = [&](int i) {
            const int whole = static_cast<int>(random.Between(0, 5) * timeStep);
            const int len = whole + random.Between(0, random.Below(3) == 0 ? 1 : static_cast<int>(timeStep));
            const bool active = random.Below(2) == 0;
            specs << "(" << len << (random.Below(8) == 0 ? ".4," : ",")
                  << (active ? (random.Below(2) == 0 ? -10 : 10) * (i + 1) : 0) << ")";
        };
        specs << "Head:";
        for (int i = 0; i < count; ++i) phaseAt(i);
        specs << ":D=[" << random.Between(1, 100) << "]\n";
    }
    return specs.str();
}

// When the current of one phase is first played, by the words alone.
double FirstPlayed(const std::vector<playback::Segment>& segments, double currentUa)
{
    for (const playback::Segment& segment : segments)
        if (segment.currentUa == currentUa) return segment.startUsec;
    return -1;
}

double Sum(const json& report, const char* cause)
{
    double sum = 0;
    for (const json& found : Found(report, cause)) sum += found["by_us"].get<double>();
    return sum;
}

// The words that encode prints; every current must begin where check says, the lengths that check attributes
// to the phases must hold the charge that is played, and the causes explain the whole error of the period.
void ExpectReportOfWords(const json& report, const Words& words, const playback::Scale& scale)
{
    SCOPED_TRACE(report["text"].get<std::string>());
    EXPECT_TRUE(Found(report, "foreign-words").empty());
    EXPECT_NEAR(report["period_error_us"],
                Sum(report, "length-read") + Sum(report, "leftovers-dropped") +
                    Sum(report, "counts-rounded-up") + Sum(report, "tail-word"),
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
    EXPECT_NEAR(charge.positiveNc, playback::ChargeOf(segments).positiveNc, 1e-5);
    EXPECT_NEAR(charge.negativeNc, playback::ChargeOf(segments).negativeNc, 1e-5);
}

bool HasNotable(const json& report)
{
    if (std::fabs(report["largest_error_us"].get<double>()) >= 0.4999) return true;
    if (std::fabs(report["period_error_us"].get<double>()) >= 0.4999) return true;
    const auto& deviations = report.at("deviations");
    return std::any_of(deviations.begin(), deviations.end(), [](const json& deviation) {
        return deviation["notable"] == true && deviation["cause"] != "amplitude-read";
    });
}

TEST(CliCheckTest, ReportsOfRandomListsAgreeWithTheWordsAndTheWarningsOfEncode)
{
    Random random(20);
    const ScratchDirectory scratch;
    int encoded = 0;
    int quiet = 0;
    for (const char* timeStep : {"1.9", "7.3", "20", "33.333332", "50", "100"}) {
        const playback::Scale scale{static_cast<double>(std::stof(timeStep)), 10};
        const std::string file = scratch.Write("specs", RandomSpecs(random, scale.timeStepUsec, 1500));
        const std::string options = " --pattern plain --time-step " + std::string(timeStep) + " -f " + file;
        const std::vector<json> reports = TarvutilJson("check" + options);
        const std::vector<json> words = TarvutilJson("encode" + options);
        const std::string warnings = Tarvutil("encode --format hex" + options + " 2>&1 >/dev/null").out;
        ASSERT_EQ(reports.size(), 1500U);
        ASSERT_EQ(words.size(), reports.size());
        for (std::size_t i = 0; i < reports.size(); ++i) {
            if (reports[i]["encoded"] != true) continue;
            ++encoded;
            quiet += HasNotable(reports[i]) ? 0 : 1;
            ExpectReportOfWords(reports[i], words[i]["words"].get<Words>(), scale);
            const std::string place = reports[i]["place"].get<std::string>() + ": warning:";
            EXPECT_EQ(warnings.find(place) != std::string::npos, HasNotable(reports[i])) << reports[i];
        }
    }
    EXPECT_GT(encoded, 2000);
    EXPECT_GT(quiet, 100);
}

TEST(CliPlotTest, DrawsAPictureOrSaysWhatIsMissing)
{
    const ScratchDirectory scratch;
    const std::string spec = " '" + Spec("(0,0)(200,-60)(100,0)(400,30)(99300,0)") + "' ";
    const std::vector<std::pair<std::string, std::string>> formats{
        {"a.svg", "<?xml"}, {"a.png", "\x89PNG"}, {"a.pdf", "%PDF"}};
    for (const auto& [name, begin] : formats) {
        const Ran ran = Tarvutil("plot -o " + scratch.Path(name) + spec + "2>&1");
        EXPECT_EQ(ran.status, 0) << ran.out;
        std::ifstream file(scratch.Path(name), std::ios::binary);
        std::string head(begin.size(), ' ');
        file.read(head.data(), static_cast<std::streamsize>(head.size()));
        EXPECT_EQ(head, begin);
        file.seekg(0, std::ios::end);
        EXPECT_GT(file.tellg(), 4000) << name;
    }
    const std::string text = Tarvutil("plot" + spec).out;
    for (const char* shown : {"time, us", "played", "asked", "// 99.3 ms //", "700", "100000", "-60"})
        EXPECT_NE(text.find(shown), std::string::npos) << shown << "\n" << text;

    const std::string file = scratch.Path("b.png");
    const std::vector<std::pair<std::string, std::string>> failures{
        {"plot -o " + file + spec + "2>&1", "gnuplot-nox"},
        {"plot -o b.gif" + spec + "2>&1", ".svg, .png or .pdf"},
        {"plot -o /nowhere/b.png" + spec + "2>&1", "/nowhere/b.png"},
        {"plot -o " + file + spec + spec + "2>&1", "one pattern"},
    };
    for (const auto& [arguments, message] : failures) {
        const bool hide = message == "gnuplot-nox";
        const Ran ran = Tarvutil(arguments, hide ? "PATH=/nowhere" : "");
        EXPECT_EQ(ran.status, 2) << arguments;
        EXPECT_NE(ran.out.find(message), std::string::npos) << ran.out;
    }
    EXPECT_EQ(Tarvutil("plot -o " + file + " Head:x 2>&1").status, 1);
    EXPECT_FALSE(std::ifstream(file).good());
}

}  // namespace
