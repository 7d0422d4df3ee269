#include "Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "Fault.h"

namespace {

constexpr int EndingSignals[] = {SIGHUP, SIGINT, SIGTERM};

// The temporary file, for the handler of a signal that ends the program; at most one at a time. A handler reaches
// nothing but what is global. NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
char removedOnSignal[4096];

extern "C" void RemoveAndEnd(int number)
{
    if (removedOnSignal[0] != '\0') unlink(removedOnSignal);
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void RemoveOnSignal(const std::string& path)
{
    removedOnSignal[0] = '\0';
    if (path.empty() || path.size() >= sizeof removedOnSignal) return;
    std::memcpy(removedOnSignal, path.c_str(), path.size() + 1);
    for (const int number : EndingSignals)
        if (std::signal(number, RemoveAndEnd) == SIG_IGN) std::signal(number, SIG_IGN);
}

[[noreturn]] void CannotWrite(const std::string& path, int error)
{
    throw Fault("cannot write " + (path.empty() ? "standard output" : path) + ": " + std::strerror(error));
}

// Where a link leads, so that the file is replaced and not the link; empty for standard output.
std::string Resolved(const std::string& path)
{
    if (path.empty() || path == "-") return {};
    char* real = realpath(path.c_str(), nullptr);
    if (real == nullptr) return path;
    std::string resolved(real);
    std::free(real);  // NOLINT(cppcoreguidelines-no-malloc): realpath took it from malloc
    return resolved;
}

mode_t FileMode(const struct stat* present)
{
    if (present != nullptr) return present->st_mode & 07777U;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

}  // namespace

bool WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

Output::Output(const std::string& path) : m_path(Resolved(path)), m_fd(STDOUT_FILENO)
{
    if (m_path.empty()) return;
    struct stat present
    {
    };
    const bool exists = stat(m_path.c_str(), &present) == 0;
    if (exists && S_ISDIR(present.st_mode)) CannotWrite(m_path, EISDIR);
    if (exists && access(m_path.c_str(), W_OK) != 0) CannotWrite(m_path, errno);
    if (exists && !S_ISREG(present.st_mode)) {
        m_fd = open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
        if (m_fd < 0) CannotWrite(m_path, errno);
        return;
    }
    m_temporary = m_path + ".XXXXXX";
    m_fd = mkostemp(m_temporary.data(), O_CLOEXEC);
    if (m_fd < 0) {
        m_temporary.clear();
        CannotWrite(m_path, errno);
    }
    RemoveOnSignal(m_temporary);
    fchmod(m_fd, FileMode(exists ? &present : nullptr));
}

Output::~Output()
{
    if (m_path.empty() && m_fd == STDOUT_FILENO) WriteAll(m_fd, m_buffer);
    if (m_fd > STDERR_FILENO) close(m_fd);
    if (m_temporary.empty()) return;
    unlink(m_temporary.c_str());
    RemoveOnSignal({});
}

bool Output::IsTerminal() const
{
    return isatty(m_fd) != 0;
}

void Output::Flush()
{
    if (!WriteAll(m_fd, m_buffer)) {
        if (errno == EPIPE) throw ReaderGone();
        CannotWrite(m_path, errno);
    }
    m_buffer.clear();
}

void Output::Finish()
{
    Flush();
    if (m_fd != STDOUT_FILENO && close(m_fd) != 0) {
        m_fd = -1;
        CannotWrite(m_path, errno);
    }
    m_fd = -1;
    if (m_temporary.empty()) return;
    if (rename(m_temporary.c_str(), m_path.c_str()) != 0) CannotWrite(m_path, errno);
    m_temporary.clear();
    RemoveOnSignal({});
}
