#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>
#include <vector>

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

struct Case
{
    std::filesystem::path file;
    std::string heading;
    std::vector<Step> steps;
};

void PrintTo(const Case& c, std::ostream* out)
{
    *out << c.heading;
}

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

void ReadCases(const std::filesystem::path& file, std::vector<Case>& cases)
{
    const auto last = [](auto& list) -> auto&
    {
        return list.at(list.size() - 1);
    };
    std::ifstream in(file);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line[0] == '#') continue;
        if (!StartsWith(line, "  "))
            cases.push_back({file, line, {}});
        else if (StartsWith(line, "  $ "))
            last(cases).steps.push_back({number, line.substr(4), {}});
        else if (StartsWith(line, "  > "))
            last(last(cases).steps).command += "\n" + line.substr(4);
        else
            last(last(cases).steps).expected.push_back(line.substr(2));
    }
}

std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (const auto& entry : std::filesystem::directory_iterator(TARVUTIL_CASES))
        if (entry.path().extension() == ".cases") ReadCases(entry.path(), cases);
    for (Case& c : cases)
        for (Step& step : c.steps)
            if (step.expected.empty() || !StartsWith(step.expected.back(), "= "))
                step.expected.emplace_back("= 0");
    return cases;
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
    EXPECT_FALSE(GetParam().steps.empty());
    for (const Step& step : GetParam().steps) {
        const std::vector<std::string> shown = Shown(shell.Run(step.command));
        if (!std::equal(shown.begin(), shown.end(), step.expected.begin(), step.expected.end(), Matches))
            ADD_FAILURE_AT(GetParam().file.c_str(), step.line) << "$ " << step.command << "\nshows\n"
                                                               << Indented(shown) << "instead of\n"
                                                               << Indented(step.expected);
    }
}

// "A file, or nothing" in files.cases -> "files_AFileOrNothing"
std::string NameOf(const testing::TestParamInfo<Case>& info)
{
    std::string name = info.param.file.stem().string() + '_';
    char before = ' ';
    for (const char c : info.param.heading) {
        if (std::isalnum(c) != 0) name += static_cast<char>(before == ' ' ? std::toupper(c) : c);
        before = c;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, CliTest, testing::ValuesIn(AllCases()), NameOf);

}  // namespace
