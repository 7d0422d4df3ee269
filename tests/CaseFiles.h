#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// A heading of a file of cases, and the lines indented below it by their numbers in the file.
struct Case
{
    std::filesystem::path file;
    std::string heading;
    std::vector<std::pair<int, std::string>> lines;
};

inline void PrintTo(const Case& c, std::ostream* out)
{
    *out << c.heading;
}

// Of all files in TARVUTIL_CASES; empty lines and those that begin with # count as none.
inline std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (const auto& entry : std::filesystem::directory_iterator(TARVUTIL_CASES)) {
        std::ifstream in(entry.path());
        std::string line;
        for (int number = 1; entry.path().extension() == ".cases" && std::getline(in, line); ++number) {
            if (line.empty() || line[0] == '#') continue;
            if (line[0] != ' ')
                cases.push_back({entry.path(), line, {}});
            else
                cases.at(cases.size() - 1).lines.emplace_back(number, line.substr(2));
        }
    }
    return cases;
}

// "A file, or nothing" in files.cases -> "files_A_file__or_nothing"
inline std::string NameOf(const testing::TestParamInfo<Case>& info)
{
    std::string name = info.param.file.stem().string() + '_' + info.param.heading;
    for (char& c : name)
        if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
    return name;
}
