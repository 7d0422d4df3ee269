#include "Input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Fault.h"
#include "Profile.h"
#include "System.h"

namespace {

constexpr std::size_t ReadSize = 64 * 1024;

[[noreturn]] void CannotRead(const std::string& path, int error)
{
    throw Fault("cannot read " + path + ": " + std::strerror(error));
}

// A blank line or a comment.
bool SaysNothing(std::string_view line)
{
    const std::size_t first = line.find_first_not_of(" \t\v\f\r");
    return first == std::string_view::npos || line[first] == '#';
}

// A binary file gets one message, not one for each line. A short file, or a line with a stray control character, is read
// and reported like any other.
constexpr std::size_t BinarySample = 512;

bool IsBinary(std::string_view sample)
{
    constexpr std::ptrdiff_t MaxControls = BinarySample / 20;
    const auto isControl = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < '\t' || (byte > '\r' && byte < ' ') || byte == 0x7F;
    };
    return sample.size() == BinarySample &&
           std::count_if(sample.begin(), sample.end(), isControl) > MaxControls;
}

}  // namespace

std::string Place::Text() const
{
    if (path.empty()) return "argument " + std::to_string(number);
    return std::string(path) + ":" + std::to_string(number);
}

void NeedInput(const Input& input)
{
    if (input.arguments.empty() && input.file.empty())
        throw Fault("nothing to read: give an argument or --file PATH");
}

FileReader::FileReader(const std::string& path)
    : m_path(path), m_fd(path == "-" ? StandardInput : OpenToRead(path))
{
    if (m_fd < 0) CannotRead(m_path, errno);
}

FileReader::~FileReader()
{
    if (m_fd != StandardInput) CloseFile(m_fd);
}

bool FileReader::NextLine(std::string_view& line)
{
    std::size_t searched = m_start;
    for (;;) {
        const char* from = m_buffer.data() + searched;
        const void* found = std::memchr(from, '\n', m_end - searched);
        const bool ended = found != nullptr;
        if (ended || (m_atEnd && m_start != m_end)) {
            const std::size_t end =
                ended ? searched + static_cast<std::size_t>(static_cast<const char*>(found) - from) : m_end;
            line = std::string_view(m_buffer).substr(m_start, end - m_start);
            m_start = ended ? end + 1 : end;
            ++m_line;
            return true;
        }
        if (m_atEnd) return false;
        if (m_end - m_start > MaxLine)
            throw Fault(m_path + ":" + std::to_string(m_line + 1) + ": the line is longer than " +
                        std::to_string(MaxLine) + " bytes");
        const std::size_t length = m_end - m_start;
        m_atEnd = !Fill();
        searched = m_start + length;
    }
}

// Moves what is left to the front and reads after it; false at the end of the file.
bool FileReader::Fill()
{
    if (m_start != 0) std::memmove(m_buffer.data(), m_buffer.data() + m_start, m_end - m_start);
    m_end -= m_start;
    m_start = 0;
    if (m_buffer.size() < m_end + ReadSize) m_buffer.resize(std::max(m_end + ReadSize, 2 * m_end));
    if (MayWait(m_fd)) m_beforeReading();
    const std::ptrdiff_t count = ReadSome(m_fd, m_buffer.data() + m_end, m_buffer.size() - m_end);
    if (count < 0) CannotRead(m_path, errno);
    m_end += static_cast<std::size_t>(count);
    return count > 0;
}

std::string_view FileReader::Peek(std::size_t count)
{
    while (m_end - m_start < count && !m_atEnd) m_atEnd = !Fill();
    return std::string_view(m_buffer).substr(m_start, std::min(count, m_end - m_start));
}

std::string_view FileReader::PeekLine()
{
    for (;;) {
        const std::string_view held = std::string_view(m_buffer).substr(m_start, m_end - m_start);
        const std::size_t end = held.find('\n');
        if (end != std::string_view::npos || m_atEnd || held.size() > MaxLine) return held.substr(0, end);
        m_atEnd = !Fill();
    }
}

std::string_view FileReader::NextBytes(std::size_t count)
{
    const std::string_view bytes = Peek(count);
    m_start += bytes.size();
    return bytes;
}

void ForEachLine(FileReader& file, const VisitText& visit)
{
    if (IsBinary(file.Peek(BinarySample)))
        throw Fault(std::string(file.Where().path) + " is a binary file, not lines of text");
    for (std::string_view line; file.NextLine(line);) {
        line = preview::WithoutMarks(line, file.Where().number == 1);
        if (!SaysNothing(line))
            visit(file.Where(), line);
        else if (file.HasOptionLine() && file.Where().number > 1 && preview::IsOptionLine(line))
            throw Fault(file.Where().Text() + ": stimulator options are read in the first line only");
    }
}

std::string_view PeekFirstLine(FileReader& file)
{
    return preview::WithoutMarks(file.PeekLine(), true);
}
