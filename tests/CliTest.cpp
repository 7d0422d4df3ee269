#include <gtest/gtest-spi.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "CaseFiles.h"
#include "CliProgram.h"

// Runs the cases in cli/*.cases, as README.md there describes them.

namespace {

// One command line and what it shows: lines of output, messages, exit status. It ends, and its expectation ends, at
// these lines of the file.
struct Step
{
    int line, commandEnd, end;
    std::string command;
    std::vector<std::string> expected;
};

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::vector<Step> StepsOf(const Case& c)
{
    std::vector<Step> steps;
    for (const auto& [number, line] : c.lines) {
        if (StartsWith(line, "$ ")) {
            steps.push_back({number, number, number, line.substr(2), {}});
            continue;
        }
        Step& step = steps.at(steps.size() - 1);
        step.end = number;
        if (StartsWith(line, "> ")) {
            if (!step.expected.empty()) throw std::invalid_argument("a command goes on below its output");
            step.command += "\n" + line.substr(2);
            step.commandEnd = number;
        } else {
            step.expected.push_back(line);
        }
    }
    for (Step& step : steps)
        if (step.expected.empty() || !StartsWith(step.expected.back(), "= "))
            step.expected.emplace_back("= 0");
    return steps;
}

std::vector<std::string> Shown(const Ran& ran)
{
    std::vector<std::string> lines;
    std::istringstream out(ran.out);
    std::istringstream err(ran.err);
    for (std::string line; std::getline(out, line);) lines.push_back(line);
    for (std::string line; std::getline(err, line);) lines.push_back("! " + line);
    lines.push_back("= " + std::to_string(ran.status));
    return lines;
}

// "..." in the pattern stands for any text.
bool Matches(std::string_view text, std::string_view pattern)
{
    const std::size_t gap = pattern.find("...");
    if (gap == std::string_view::npos) return text == pattern;
    if (text.substr(0, gap) != pattern.substr(0, gap)) return false;
    pattern.remove_prefix(gap + 3);
    for (text.remove_prefix(gap); !Matches(text, pattern); text.remove_prefix(1))
        if (text.empty()) return false;
    return true;
}

// What is shown as a new expectation: lines with a gap stay where they still match, in their order.
std::vector<std::string> Expectation(std::vector<std::string> shown, const std::vector<std::string>& old)
{
    auto next = old.begin();
    for (std::string& line : shown) {
        const auto kept = std::find_if(next, old.end(), [&](const std::string& pattern) {
            return pattern.find("...") != std::string::npos && Matches(line, pattern);
        });
        if (kept == old.end()) continue;
        line = *kept;
        next = kept + 1;
    }
    if (shown.back() == "= 0") shown.pop_back();
    return shown;
}

std::string Indented(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += "  " + line + "\n";
    return text;
}

// Runs the command lines of a case, one after the other.
void RunCase(const Case& c)
{
    const Shell shell;
    const std::vector<Step> steps = StepsOf(c);
    EXPECT_FALSE(steps.empty());
    for (const Step& step : steps) {
        const std::vector<std::string> shown = Shown(shell.Run(step.command));
        if (std::equal(shown.begin(), shown.end(), step.expected.begin(), step.expected.end(), Matches))
            continue;
        if (Update::Asked())
            Update::Replace(c.file, step.commandEnd, step.end, Expectation(shown, step.expected));
        else
            ADD_FAILURE_AT(c.file.c_str(), step.line) << "$ " << step.command << "\nshows\n"
                                                      << Indented(shown) << "instead of\n"
                                                      << Indented(step.expected);
    }
}

class CliTest : public testing::TestWithParam<Case>
{
};

TEST_P(CliTest, Shows)
{
    RunCase(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Cases, CliTest, testing::ValuesIn(AllCases()), NameOf);

TEST(CliRunner, FindsWhatDoesNotHold)
{
    if (Update::Asked()) GTEST_SKIP() << "its cases are in no file";
    using Lines = std::vector<std::pair<int, std::string>>;
    const Lines wrong[] = {{},
                           {{1, "$ echo a"}},
                           {{1, "$ echo a"}, {2, "b"}},
                           {{1, "$ echo a"}, {2, "a"}, {3, "b"}},
                           {{1, "$ echo a >&2"}, {2, "a"}},
                           {{1, "$ echo abc"}, {2, "a...d"}},
                           {{1, "$ false"}},
                           {{1, "$ true"}, {2, "= 1"}},
                           {{1, "$ kill $$"}}};
    for (const Lines& lines : wrong) EXPECT_NONFATAL_FAILURE(RunCase({"", "", lines}), "");
    EXPECT_THROW(RunCase({"", "", {{1, "a"}}}), std::out_of_range);
    EXPECT_THROW(RunCase({"", "", {{1, "$ true"}, {2, "a"}, {3, "> b"}}}), std::invalid_argument);
    RunCase({"", "", {{1, "$ echo abc"}, {2, "> echo e >&2; false"}, {3, "a...c"}, {4, "! e"}, {5, "= 1"}}});
}

}  // namespace

int main(int argc, char** argv)
{
    return Update::Main(argc, argv);
}
