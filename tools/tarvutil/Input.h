#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

// Where a specification string, or a line of words, stands.
struct Place
{
    std::string_view path;  // empty for an argument
    std::size_t number;     // of the line or of the argument, from 1

    std::string Text() const;  // "PATH:LINE" or "argument N"
};

// What the user wants read.
struct Input
{
    std::vector<std::string> arguments;
    std::string file;  // "-" is standard input; empty for none
};

// Adds the arguments, called name in the help, and --file. input must live until the command has run.
void AddInputOptions(CLI::App& command, Input& input, const std::string& name);

// Reads the lines of a file, "-" for standard input, one at a time in the memory of the longest. Lines end
// with a line feed or with the file and may hold any other byte.
class LineReader
{
 public:
    // Throws Fault, as Next does, when path cannot be read. beforeReading is called before every read that
    // may have to wait.
    LineReader(const std::string& path, std::function<void()> beforeReading);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // The next line, valid until the next call; false at the end. Throws Fault for a line above MaxLine.
    bool Next(std::string_view& line);
    Place Where() const { return {m_path, m_line}; }

    static constexpr std::size_t MaxLine = std::size_t{1} << 26;

 private:
    bool Fill();

    const std::string m_path;
    const std::function<void()> m_beforeReading;
    int m_fd;
    std::string m_buffer;  // what was read and not yet handed out lies from m_start to m_end
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    std::size_t m_line = 0;
    bool m_atEnd = false;
};

// Calls visit with each argument, and with each line of the file that is neither blank nor a comment (begins
// with #). Throws Fault when there is neither an argument nor a file.
void ForEachText(const Input& input, const std::function<void()>& beforeReading,
                 const std::function<void(const Place&, std::string_view)>& visit);
