#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
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

// With --update the expectations that do not hold are rewritten, and do not fail.
class Update
{
 public:
    static bool Asked() { return Edits() != nullptr; }

    // Lines after the first number, up to the last, become these.
    static void Replace(const std::filesystem::path& file, int after, int last,
                        std::vector<std::string> lines)
    {
        (*Edits())[file][after] = {last, std::move(lines)};
    }

    // The main function of a runner: [--update] [GoogleTest's options].
    static int Main(int argc, char** argv)
    {
        testing::InitGoogleTest(&argc, argv);
        FileEdits edits;
        if (argc == 2 && std::string(argv[1]) == "--update") Edits() = &edits;
        if (argc > (Asked() ? 2 : 1)) {
            std::cerr << "unknown option: " << argv[argc - 1] << '\n';
            return 2;
        }
        const int status = RUN_ALL_TESTS();
        for (const auto& [file, changes] : edits) Rewrite(file, changes);
        return status;
    }

 private:
    struct Edit
    {
        int last;
        std::vector<std::string> lines;
    };
    using FileEdits = std::map<std::filesystem::path, std::map<int, Edit>>;

    static FileEdits*& Edits()
    {
        static FileEdits* edits = nullptr;
        return edits;
    }

    static void Rewrite(const std::filesystem::path& file, const std::map<int, Edit>& edits)
    {
        std::ifstream in(file);
        std::string text, line;
        int skipTo = 0;
        for (int number = 1; std::getline(in, line); ++number) {
            if (number > skipTo) text += line + '\n';
            if (const auto edit = edits.find(number); edit != edits.end()) {
                for (const std::string& each : edit->second.lines) text += "  " + each + '\n';
                skipTo = edit->second.last;
            }
        }
        in.close();
        std::ofstream(file) << text;
        std::cout << "rewrote " << edits.size() << " expectations of " << file.string() << '\n';
    }
};
