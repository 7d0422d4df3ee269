#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

#include "CliProgram.h"
#include "Playback.h"
#include "TestPatterns.h"

using nlohmann::json;

namespace {

// Cathodal phase first, balanced, on whole time steps of 33.333332 us: 5 words, nothing to warn of.
const std::string Exact = "P:(0,0)(200,-60)(100,0)(400,30)(9300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]";
const std::string ExactHex = "0x00000064 0x0006A006 0x00038000 0x000CA083 0x01170000\n";

std::string Quoted(const std::string& text)
{
    return " '" + text + "'";
}

std::string Messages(const std::string& arguments)
{
    return Tarvutil(arguments + " 2>&1 >/dev/null").out;
}

Words WordsOf(const std::string& bytes)
{
    Words words(bytes.size() / sizeof(unsigned int));
    std::memcpy(words.data(), bytes.data(), words.size() * sizeof words[0]);
    return words;
}

struct Row
{
    std::string arguments;
    int status;
    std::string out;       // the whole of it
    std::string messages;  // a part of them; empty for none at all
};

void Expect(const std::vector<Row>& rows)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const Ran ran = Tarvutil(row.arguments + " 2>/dev/null");
        const std::string messages = Messages(row.arguments);
        EXPECT_EQ(ran.status, row.status);
        EXPECT_EQ(ran.out, row.out);
        EXPECT_NE(messages.find(row.messages), std::string::npos) << messages;
        EXPECT_EQ(messages.empty(), row.messages.empty()) << messages;
    }
}

TEST(CliTest, EncodesEachPatternAndSaysWhyOneFailed)
{
    const std::string hex = "encode --format hex ";
    const std::string plain = hex + "--pattern plain ";
    const std::string small = "--time-step 20 --amp-step 5 'P:(40,-15)(40,15)(20,0):D=[1]'";
    Expect({
        {hex + Quoted(Exact), 0, ExactHex, ""},
        {hex + Quoted("[a,b]" + Exact.substr(1)) + Quoted(Exact), 0, ExactHex + ExactHex, ""},
        {hex + "--budget 5" + Quoted(Exact), 1, "",
         "argument 1: the phases need 8 words behind word 0, the budget leaves 4"},
        {plain + small, 0, "0x0000000A 0x0002A003 0x0002A083 0x00010000\n", ""},
        {plain + "--amp-max 10 " + small, 0, "0x0000000A 0x0002A002 0x0002A082 0x00010000\n",
         "is clamped to"},
        {plain + "'P:(100,57):D=[1]'", 0, "0x0000000A 0x0003A086\n",
         "argument 1: warning: Phase[0]: Original amplitude [57.000000 uA] is now [60.000000 uA]."},
        // The default phases would be encoded if success in reading were trusted.
        {hex + "'P:(210,-30)(210,30)(0,0)(0,0)(90,0):D=[1]'" + Quoted(Exact), 1, ExactHex,
         "argument 1: phase 1 (210 us, 30 uA) does not fit the time steps: it carries current within the "
         "step"},
        {hex + "'P:(0,0)(400,-80)(50,0)(3200,10)(0,0):D=[9]'", 1, "",
         "argument 1: phase 4 (0 us, 0 uA) is too short"},
        {plain + "'P:(210,-300)(20,0)(100,0):D=[1]'", 1, "", "phase 1 (20 us, 0 uA) is too short to finish"},
        {plain + "--budget 3 'P:(4000000,100):D=[4000]'", 0, "0x00000001 0xFFFFA08A 0xD4C1A08A\n", ""},
        {plain + "--budget 3 'P:(7000000,100):D=[1]'", 1, "",
         "need 5 words behind word 0, the budget leaves 2"},
        {plain + "'P:(-5,0):D=[1]'", 1, "", "phase 0 (-5 us, 0 uA): the length is below 0"},
        {hex + "'P:(1,2,3)(4):D=[0]'", 1, "",
         "argument 1: Invalid phase specification string: [(1,2,3)(4)]\n"
         "argument 1: invalid train duration specification string [D=[0]]\n"},
        {hex + "'P:)):D=[1]'", 1, "", "holds no phase"},
        {hex + "--file /missing" + Quoted(Exact), 2, ExactHex, "tarvutil: cannot read /missing"},
        {hex + "'' x -- -y", 1, "", "argument 3: Invalid pattern specification string: [-y]"},
    });
}

TEST(CliTest, RefusesRequestsThatCannotBeCarriedOutInOneLine)
{
    const ScratchDirectory scratch;
    const std::string missing = scratch.Path("missing");
    std::string binary;
    for (int i = 0; i < 4096; ++i) binary += static_cast<char>(i * i % 251);
    const std::string spec = Quoted(Exact);
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "subcommand"},
        {"unknown", "unknown"},
        {"encode", "nothing to read"},
        {"decode", "nothing to read"},
        {"encode --unknown" + spec, "--unknown"},
        {"encode --time-step -5" + spec, "--time-step"},
        {"encode --time-step 0" + spec, "--time-step"},
        {"encode --time-step nan" + spec, "--time-step"},
        {"encode --time-step 1e99" + spec, "--time-step"},
        {"encode --time-step 5x" + spec, "--time-step"},
        {"encode --amp-step inf" + spec, "--amp-step"},
        {"encode --amp-max -1" + spec, "--amp-max"},
        {"encode --budget 0" + spec, "--budget"},
        {"encode --budget 5000" + spec, "--budget"},
        {"encode --budget 2.5" + spec, "--budget"},
        {"encode --pattern sine" + spec, "--pattern"},
        {"encode --format xml" + spec, "--format"},
        {"decode --format hex 0x1", "--format"},
        {"play --poll 0" + spec, "--poll"},
        {"play --blocks -1" + spec, "--blocks"},
        {"design --phase1 200 --frequency 9 --train 9", "--amplitude"},
        {"design --amplitude 60 --phase1 200 --frequency 9 --train 9 --balance 0 --phase2 9", "--amplitude2"},
        {"design --amplitude 60 --phase1 200 --frequency 9 --train 9 --phase2 9", "--phase2"},
        {"design --amplitude -60 --phase1 200 --frequency 9 --train 9", "--amplitude"},
        {"encode --file " + missing, "cannot read " + missing},
        {"encode --file /tmp", "cannot read /tmp: Is a directory"},
        {"encode --file " + scratch.Write("binary", binary), "is a binary file"},
        {"encode -o /tmp" + spec, "cannot write /tmp: Is a directory"},
        {"encode -o " + missing + "/x" + spec, "cannot write " + missing},
        {"encode -o /dev/full" + spec, "cannot write /dev/full"},
    };
    for (const auto& [arguments, message] : cases) {
        SCOPED_TRACE(arguments);
        const Ran ran = Tarvutil(arguments + " 2>&1");
        EXPECT_EQ(ran.status, 2);
        EXPECT_EQ(ran.out.rfind("tarvutil: ", 0), 0U) << ran.out;
        EXPECT_NE(ran.out.find(message), std::string::npos) << ran.out;
        EXPECT_EQ(std::count(ran.out.begin(), ran.out.end(), '\n'), 1) << ran.out;
    }
    EXPECT_EQ(Tarvutil("encode" + spec + " 2>&1 >/dev/full").status, 2);
    for (const std::string arguments : {"--help", "--version", "encode --help", "design --help"})
        EXPECT_EQ(Tarvutil(arguments + " >/dev/null").status, 0) << arguments;
}

TEST(CliTest, ReadsLinesOfAnyLengthAndContent)
{
    const ScratchDirectory scratch;
    const std::string nul("a\0b", 3);
    const std::string lines =
        scratch.Write("lines", "# a comment\n\n \t\r\n" + Exact + "\r\n" + nul + "\n #\n" + Exact);
    const std::string hex = "encode --format hex ";
    const std::vector<std::pair<std::string, std::string>> inputs{{lines, lines}, {"- <" + lines, "-"}};
    for (const auto& [input, name] : inputs)
        Expect({{hex + "--file " + input, 1, ExactHex + ExactHex,
                 name + ":5: Invalid pattern specification string: [a\\x00b]\n" + name + ":6: Invalid"}});
    Expect({{hex + "--file /dev/null", 0, "", ""},
            {hex + "--file " + lines + Quoted(Exact), 1, ExactHex + ExactHex + ExactHex, ":5: Invalid"}});

    constexpr std::size_t Long = 10000000;
    std::string faults;
    while (faults.size() < Long) faults += "a)";
    std::string changed;
    while (changed.size() < Long / 10) changed += "(0,3)";
    const std::string longLines = scratch.Write(
        "long", "P:" + faults + ":D=[1]\n" + faults + "\nP:" + changed + ":D=[1]\n" + Exact + "\n");
    const Ran ran = Tarvutil(hex + "--pattern plain --file " + longLines + " 2>&1");
    EXPECT_EQ(ran.status, 1);
    EXPECT_LT(ran.out.size(), 10000U);
    EXPECT_NE(ran.out.find(ExactHex), std::string::npos);
    EXPECT_EQ(Tarvutil("decode --file " + longLines + " 2>/dev/null").status, 1);
}

TEST(CliTest, LeavesNoFileUnlessItIsComplete)
{
    const ScratchDirectory scratch;
    const std::string file = scratch.Path("words");
    const auto contents = [&scratch] {
        const std::filesystem::path directory = std::filesystem::path(scratch.Path("x")).parent_path();
        return std::distance(std::filesystem::directory_iterator(directory), {});
    };
    const std::string encode = "encode --format hex -o " + file;
    EXPECT_EQ(Tarvutil(encode + Quoted(Exact) + " --file " + scratch.Path("none") + " 2>&1").status, 2);
    EXPECT_EQ(contents(), 0);
    Tarvutil(encode + " --file -", "(echo '" + Exact + "'; sleep 1) | timeout 0.4");
    EXPECT_EQ(contents(), 0);

    EXPECT_EQ(Tarvutil(encode + Quoted(Exact) + " x 2>/dev/null").status, 1);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    std::filesystem::create_symlink(file, scratch.Path("link"));
    EXPECT_EQ(Tarvutil("encode --format binary -o " + scratch.Path("link") + Quoted(Exact)).status, 0);
    EXPECT_EQ(contents(), 2);
    EXPECT_EQ(std::filesystem::file_size(file), 5 * sizeof(unsigned int));
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms::owner_all);
    EXPECT_EQ(Tarvutil("encode --format binary -o /dev/stdout" + Quoted(Exact)).out.size(),
              5 * sizeof(unsigned int));
}

TEST(CliTest, EndsQuietlyWhenItsReaderGoes)
{
    const ScratchDirectory scratch;
    std::string lines;
    for (int i = 0; i < 20000; ++i) lines += Exact + "\n";
    const std::string file = scratch.Write("lines", lines);
    const std::string name = scratch.Path("status");
    const Ran ran =
        Tarvutil("encode --format hex --file " + file + " 2>&1; echo $? >" + name + ") | head -n 1", "(");
    EXPECT_EQ(ran.out, ExactHex);
    std::string status;
    std::ifstream(name) >> status;
    EXPECT_EQ(status, "0");
}

// Random lists, some of which encode: on and off the time steps.
std::string RandomSpecs(int count)
{
    std::mt19937 random(11);
    const auto number = [&random](int low, int high) {
        return std::uniform_int_distribution<>(low, high)(random);
    };
    std::string lines;
    for (int i = 0; i < count; ++i) {
        lines += "P:";
        for (int phases = number(1, 6); phases > 0; --phases)
            lines += "(" + std::to_string(number(1, 40) * (i % 3 == 0 ? 100 : 7)) + "," +
                     std::to_string(number(0, 1) * number(-100, 100)) + ")";
        lines += ":D=[" + (i % 10 == 0 ? "inf" : std::to_string(number(1, 100))) + "]\n";
    }
    return lines;
}

TEST(CliTest, DecodesEveryFormToTheSegmentsThatItsWordsPlay)
{
    const ScratchDirectory scratch;
    const std::string specs = scratch.Write("specs", RandomSpecs(300));
    const std::string scale = "--time-step 33.333332 --amp-step 1 ";
    const std::string encode = "encode --pattern plain " + scale + "--file " + specs;
    const std::vector<json> encoded = TarvutilJson(encode);
    ASSERT_EQ(encoded.size(), 300U);

    std::vector<json> decoded;
    for (const std::string format : {"json", "hex", "binary"}) {
        SCOPED_TRACE(format);
        const std::string words = scratch.Path(format);
        EXPECT_EQ(Tarvutil(encode + " 2>/dev/null --format " + format + " -o " + words).status, 1);
        decoded = TarvutilJson("decode " + scale + "--file " + words);
        decoded.erase(std::remove_if(decoded.begin(), decoded.end(),
                                     [](const json& j) { return j.contains("errors"); }),
                      decoded.end());
        std::size_t next = 0;
        for (const json& pattern : encoded) {
            ASSERT_NE(pattern.contains("words"), pattern.contains("errors"));
            if (!pattern.contains("words")) continue;
            ASSERT_LT(next, decoded.size());
            const json& found = decoded[next++];
            const Words array = pattern["words"];
            const auto segments = playback::Segments(array, {ThirdStep, 1});
            ASSERT_EQ(found["segments"].size(), segments.size());
            for (std::size_t i = 0; i < segments.size(); ++i) {
                EXPECT_EQ(found["segments"][i]["start_us"], segments[i].startUsec);
                EXPECT_EQ(found["segments"][i]["duration_us"], segments[i].durationUsec);
                EXPECT_EQ(found["segments"][i]["current_ua"], segments[i].currentUa);
            }
            EXPECT_EQ(found["cycles"], std::min(pattern.value("cycles", 4095), 4095));
        }
        EXPECT_EQ(next, decoded.size());
        EXPECT_GT(next, 100U);
    }
    EXPECT_EQ(WordsOf(Tarvutil("encode --format binary" + Quoted(Exact)).out),
              (Words{0x64, 0x6A006, 0x38000, 0xCA083, 0x1170000}));
}

TEST(CliTest, DecodeRefusesWhatCannotBeAWordArray)
{
    const auto refused = [](const std::string& words, const std::string& message) {
        return Row{"decode" + Quoted(words), 1, "", "argument 1: " + message};
    };
    std::string many = "0x1";
    for (int i = 0; i < 1024; ++i) many += " 0x00010000";
    Expect({
        refused("", "no words"),
        refused("0x1 0x00010000 0x2", "word 2 lasts 0 time steps"),
        refused("0x00010000", "word 0 is no cycle count"),
        refused("0x1 10000", "no word such as 0x0006A01E: 10000"),
        refused("0x1 0x1000000000", "no word"),
        refused("0x1 0x0001000g", "no word"),
        refused(many, "more words than the 1024"),
        refused("{\"words\":[1,65536", "no JSON object"),
        refused("{\"word\":[1]}", "the JSON object holds no array"),
        refused("{\"words\":[1,-1]}", "no 32-bit word: -1"),
        refused("{\"words\":[1,4294967296]}", "no 32-bit word"),
        refused("{\"words\":[1],\"time_step_us\":0}", "time_step_us"),
        {"decode --time-step 20 '{\"words\":[1],\"time_step_us\":25}'", 1, "",
         "time_step_us is 25, the option says 20"},
        {"decode --time-step 25 '{\"words\":[7],\"time_step_us\":25}'", 0,
         "argument 1: cycles: 7, period: 0 us\n  start us  duration us  current uA  kind  word\n", ""},
    });
    const ScratchDirectory scratch;
    const std::string word0(1, '\1');
    const std::string cut = scratch.Write("cut", word0 + std::string(3, '\0') + "ab");
    EXPECT_EQ(Messages("decode --file " + cut), cut + ":1: the file ends within a word\n");
    const std::string headless =
        scratch.Write("headless", std::string(2, '\0') + "ab" + word0 + std::string(3, '\0'));
    Expect({{"decode --format json --file " + headless, 1,
             "{\"place\":\"" + headless +
                 ":1\",\"errors\":[\"word 0 is no cycle count: a bit above bit 11 is set\"]}\n"
                 "{\"place\":\"" +
                 headless +
                 ":2\",\"cycles\":1,\"period_us\":0.0,\"time_step_us\":33.333332,\"amp_step_ua\":10.0,"
                 "\"segments\":[]}\n",
             headless + ":1: word 0"}});
}

TEST(CliTest, PlaysTheBlocksThatAddUpToTheTrain)
{
    const std::string play = "play --time-step 20 --format json ";
    const std::string cycle = "P:(0,0)(60,-50)(60,0)(60,50)(7520,0):D=[";
    const auto blocks = [&](const std::string& options, const std::string& train) {
        const Ran ran = Tarvutil(play + options + Quoted(cycle + train + "]") + " 2>/dev/null");
        const json object = json::parse(ran.out);
        std::string text;
        for (const json& block : object["blocks"])
            text += block["sent_ms"].dump() + "/" + block["due_ms"].dump() + ":" + block["cycles"].dump() +
                    "-" + block.value("cycles_left", json("inf")).dump() + " ";
        return text + object["cycles_sent"].dump() +
               (object["complete"] == true && ran.status == 0 ? "" : "!");
    };
    EXPECT_EQ(blocks("", "7.7"), "0/0:1-0 1");
    EXPECT_EQ(blocks("", "31531.5"), "0/0:4095-0 4095");
    EXPECT_EQ(blocks("", "77000"), "0/0:4095-5905 3/0:4095-1810 31534/31531:1810-0 10000");
    EXPECT_EQ(blocks("--poll 10", "77000"), "0/0:4095-5905 10/0:4095-1810 31540/31531:1810-0 10000");
    EXPECT_EQ(blocks("--blocks 2", "inf"), R"(0/0:4095-"inf" 3/0:4095-"inf" 8190)");
    EXPECT_EQ(Messages(play + "--poll 31530" + Quoted(cycle + "77000]")), "");
    EXPECT_NE(Messages(play + "--poll 31600" + Quoted(cycle + "77000]")).find("up to 68.5 ms after"),
              std::string::npos);
    Expect({{play + "x", 1,
             "{\"place\":\"argument 1\",\"errors\":[\"Invalid pattern specification string: [x]\"]}\n",
             "argument 1: Invalid"}});
}

TEST(CliTest, DesignsWhatEncodesAndIsPlayedAsAsked)
{
    const ScratchDirectory scratch;
    std::string specs;
    for (const std::string rest : {"--balance 1", "--balance 2", "--balance 3 --polarity positive",
                                   "--balance 0 --phase2 300 --amplitude2 20 --offset 0.2"})
        for (const std::string phase1 : {"60", "100", "200", "210"})
            for (const std::string ipi : {"60", "100"})
                for (const std::string frequency : {"20", "100", "300"}) {
                    const Ran ran =
                        Tarvutil("design --amplitude 40 --train 1000 --phase1 " + phase1 + " --ipi " + ipi +
                                 " --frequency " + frequency + " --time-step 20 " + rest + " 2>/dev/null");
                    SCOPED_TRACE(ran.out);
                    ASSERT_EQ(ran.status, 0);
                    EXPECT_EQ(ran.out.rfind("Lilly:(", 0), 0U);
                    specs += ran.out;
                }
    const std::string file = scratch.Write("specs", specs);
    EXPECT_EQ(std::count(specs.begin(), specs.end(), '\n'), 96);
    EXPECT_EQ(Tarvutil("encode --time-step 20 --file " + file + " >/dev/null 2>&1").status, 0);
    EXPECT_EQ(Tarvutil("check --time-step 20 --max-error 1 --file " + file + " >/dev/null 2>&1").status, 0);

    const std::string design =
        "design --phase1 200 --ipi 100 --frequency 100 --train 1000 --balance 2 --amplitude ";
    const std::string text =
        "Lilly:(0.000000,0.000000)(200.000000,-60.000000)(100.000000,0.000000)(400.000000,30.000000)"
        "(9300.000000,0.000000):DurationMsec=[1000.000000]:ChargeBalanceIdx=[2]\n";
    Expect({{design + "60", 0, text, ""},
            {design + "57", 0, text, "tarvutil: --amplitude: 57 uA became 60 uA\n"},
            {design + "60 --budget 4", 1, "", "no words: the phases need"},
            {design + "60 --frequency 300", 2, "", "--frequency"}});
    const std::string offGrid =
        Messages("design --amplitude 60 --phase1 210 --ipi 20 --frequency 300 --train 1000");
    EXPECT_NE(offGrid.find("--ipi: 20 us became 23.333326 us\n"), std::string::npos) << offGrid;
    EXPECT_NE(offGrid.find("read back: phase 2: 23.333326 us became 23 us\n"), std::string::npos) << offGrid;
}

// Pulses of the train and charge of a pulse, as the sources of the protocols give them.
TEST(CliTest, PublishedProtocolsEncodeToWhatTheirSourcesSay)
{
    struct Protocol
    {
        int pulses;
        double chargeNc;
    };
    const std::map<std::string, std::vector<Protocol>> files{
        {"time-step-33.333332.txt", {{100, 12}, {300, 4}, {300, 16}, {50, 8.5}}},
        {"time-step-20.txt", {{LargestInt, 3}, {13000, 3}}}};
    for (const auto& [name, protocols] : files) {
        const std::string path = TARVUTIL_PATTERNS "/" + name;
        std::string options;
        std::getline(std::ifstream(path), options);
        const std::vector<json> encoded = TarvutilJson("encode " + options.substr(1) + " --file " + path);
        ASSERT_EQ(encoded.size(), protocols.size());
        for (std::size_t i = 0; i < protocols.size(); ++i) {
            SCOPED_TRACE(encoded[i].dump());
            EXPECT_EQ(encoded[i].value("cycles", LargestInt), protocols[i].pulses);
            const playback::Scale scale{encoded[i]["time_step_us"], encoded[i]["amp_step_ua"]};
            const playback::Charge charge =
                playback::ChargeOf(playback::Segments(encoded[i]["words"].get<Words>(), scale));
            // A split point is cut to whole microseconds: of the current of one microsecond at most.
            EXPECT_NEAR(charge.positiveNc, protocols[i].chargeNc, 0.08);
            EXPECT_NEAR(charge.NetNc(), 0, 0.08);
        }
    }
}

}  // namespace
