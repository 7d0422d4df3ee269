#include "Output.h"

#include <cerrno>
#include <cstring>

#include "Fault.h"
#include "System.h"

namespace {

[[noreturn]] void CannotWrite(const std::string& path, int error)
{
    throw Fault("cannot write " + (path.empty() ? "standard output" : path) + ": " + std::strerror(error));
}

// Also true for /dev/stdout. Otherwise, if that is a file, it would be replaced, and other output to it would be lost.
bool IsStandardOutput(const std::string& path)
{
    return path == "-" || path.empty() || IsFile(path, StandardOutput);
}

}  // namespace

Output::Output(const std::string& path)
    : m_path(IsStandardOutput(path) ? std::string() : Resolved(path)),
      m_fd(m_path.empty() ? StandardOutput : OpenToWrite(m_path, m_temporary)),
      m_oneStream(m_path.empty() && IsSameStream(StandardOutput, StandardError))
{
    if (m_fd < 0) CannotWrite(m_path, errno);
}

Output::Output(const Output& whole, Part /*part*/)
    : m_fd(whole.m_fd), m_oneStream(whole.m_oneStream), m_isPart(true)
{}

Output::~Output()
{
    if (m_isPart) return;
    FlushMessages();
    if (m_path.empty() && m_fd == StandardOutput) WriteAll(m_fd, m_buffer);
    if (m_fd > StandardError) CloseFile(m_fd);
    if (!m_temporary.empty()) Remove(m_temporary);
}

bool Output::IsTerminal() const
{
    return ::IsTerminal(m_fd);
}

bool Output::IsMessageTerminal() const
{
    return IsTerminal() && ::IsTerminal(StandardError);
}

void Output::Append(const Output& part)
{
    m_messages += part.m_messages;
    if (m_messages.size() >= FlushSize) FlushMessages();
    if (part.m_buffer.size() < FlushSize) return Write(part.m_buffer);
    Flush();
    WriteResults(part.m_buffer);
}

void Output::FlushMessages()
{
    if (m_isPart) return;
    WriteAll(StandardError, m_messages);
    m_messages.clear();
}

void Output::Flush()
{
    if (m_isPart) return;
    FlushMessages();
    WriteResults(m_buffer);
    m_buffer.clear();
}

void Output::WriteResults(const std::string& results)
{
    if (WriteAll(m_fd, results)) return;
    if (errno == EPIPE) throw ReaderGone();
    CannotWrite(m_path, errno);
}

void Output::FinishIncomplete()
{
    if (m_temporary.empty()) return Finish();
    Message({"tarvutil: ", m_path, ": not written, as results are missing\n"});
    Flush();
}

void Output::Finish()
{
    Flush();
    if (m_fd != StandardOutput && !CloseFile(m_fd)) {
        m_fd = -1;
        CannotWrite(m_path, errno);
    }
    m_fd = -1;
    if (m_temporary.empty()) return;
    if (!Rename(m_temporary, m_path)) CannotWrite(m_path, errno);
    m_temporary.clear();
}
