#include <algorithm>
#include <sstream>
#include <string_view>

#include "CaseFiles.h"
#include "CliProgram.h"

// Runs the cases in cli/*.cases, as README.md there describes them.

namespace {

// One command line and what it shows: lines of output, messages, exit status.
struct Step
{
    int line;
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
        if (StartsWith(line, "$ "))
            steps.push_back({number, line.substr(2), {}});
        else if (StartsWith(line, "> "))
            steps.at(steps.size() - 1).command += "\n" + line.substr(2);
        else
            steps.at(steps.size() - 1).expected.push_back(line);
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

std::string Indented(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += "  " + line + "\n";
    return text;
}

class CliTest : public testing::TestWithParam<Case>
{
};

TEST_P(CliTest, Shows)
{
    const Shell shell;
    const std::vector<Step> steps = StepsOf(GetParam());
    EXPECT_FALSE(steps.empty());
    for (const Step& step : steps) {
        const std::vector<std::string> shown = Shown(shell.Run(step.command));
        if (!std::equal(shown.begin(), shown.end(), step.expected.begin(), step.expected.end(), Matches))
            ADD_FAILURE_AT(GetParam().file.c_str(), step.line) << "$ " << step.command << "\nshows\n"
                                                               << Indented(shown) << "instead of\n"
                                                               << Indented(step.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, CliTest, testing::ValuesIn(AllCases()), NameOf);

}  // namespace
