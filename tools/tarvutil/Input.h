#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Where a specification string, or a line of words, stands.
struct Place
{
    std::string_view path;  // empty for an argument
    std::size_t number;     // of the line or of the argument, from 1

    std::string Text() const;  // "PATH:LINE" or "argument N"
};

// Reads a file, "-" for standard input, piece by piece. Uses as much memory as the longest piece.
class FileReader
{
 public:
    // Throws Fault, as the other operations do, when path cannot be read.
    explicit FileReader(const std::string& path);
    ~FileReader();
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    // From now on, calls this before every read that may have to wait.
    void BeforeReading(std::function<void()> call) { m_beforeReading = std::move(call); }

    // The next line, valid until the next call; false at the end. Lines end with a line feed or with the file
    // and may hold any other byte. Throws Fault for a line above MaxLine.
    bool NextLine(std::string_view& line);
    // The next count bytes, fewer only at the end of the file; valid until the next call.
    std::string_view NextBytes(std::size_t count);
    // The same as NextBytes, but the bytes are read again by the next call.
    std::string_view Peek(std::size_t count);
    // The same as NextLine, but the line is read again by the next call; empty at the end.
    std::string_view PeekLine();
    // Stimulator options may stand in the first line, and nowhere else: two files in one, or a title before the
    // options, are written for another stimulator.
    void OptionsInFirstLine() { m_hasOptionLine = true; }
    bool HasOptionLine() const { return m_hasOptionLine; }
    // The line that was read last.
    Place Where() const { return {m_path, m_line}; }

    static constexpr std::size_t MaxLine = std::size_t{1} << 26;

 private:
    bool Fill();

    const std::string m_path;
    std::function<void()> m_beforeReading = [] {};
    int m_fd;
    std::string m_buffer;  // bytes that were read and not yet returned are at m_start to m_end
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    std::size_t m_line = 0;
    bool m_atEnd = false;
    bool m_hasOptionLine = false;
};

// The input that the user chose.
struct Input
{
    std::vector<std::string> arguments;
    std::string file;                    // "-" is standard input; empty for none
    std::shared_ptr<FileReader> reader;  // of the file, once it is open
};

// Throws Fault when there is nothing to read.
void NeedInput(const Input& input);

using VisitText = std::function<void(const Place&, std::string_view)>;

// Calls visit with each line that is neither blank nor a comment (# after any blanks), without a byte order mark and
// without the carriage return of a line that ends with CRLF. Throws Fault when the file is not text,
// and for stimulator options in a line that must have none.
void ForEachLine(FileReader& file, const VisitText& visit);
// The first line, without a byte order mark; it is read again later.
std::string_view PeekFirstLine(FileReader& file);
