#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "System.h"

std::vector<std::string> StartProgram(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    return {argc > 0 ? argv + 1 : argv, argv + argc};
}

bool IsTerminal(int file)
{
    return isatty(file) != 0;
}

bool IsSameStream(int a, int b)
{
    struct stat first
    {
    };
    struct stat second
    {
    };
    return fstat(a, &first) == 0 && fstat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino && !S_ISREG(first.st_mode);
}

bool IsFile(const std::string& path, int file)
{
    struct stat named
    {
    };
    struct stat opened
    {
    };
    return stat(path.c_str(), &named) == 0 && fstat(file, &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

bool CloseFile(int file)
{
    return close(file) == 0;
}

int OpenToRead(const std::string& path)
{
    return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

std::ptrdiff_t ReadSome(int file, char* buffer, std::size_t size)
{
    ssize_t count = 0;
    do count = read(file, buffer, size);
    while (count < 0 && errno == EINTR);
    return count;
}

bool MayWait(int file)
{
    pollfd entry{file, POLLIN, 0};
    return poll(&entry, 1, 0) < 1;
}

bool WriteAll(int file, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(file, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::string Resolved(const std::string& path)
{
    char* real = realpath(path.c_str(), nullptr);
    if (real == nullptr) return path;
    std::string resolved(real);
    std::free(real);  // NOLINT(cppcoreguidelines-no-malloc): realpath took it from malloc
    return resolved;
}

namespace {

constexpr int EndingSignals[] = {SIGHUP, SIGINT, SIGTERM};

// The temporary file, for the handler of a signal that ends the program. A handler reaches nothing but what is global.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
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

mode_t RightsOfNewFile()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

}  // namespace

int OpenToWrite(const std::string& path, std::string& temporary)
{
    struct stat present
    {
    };
    const bool exists = stat(path.c_str(), &present) == 0;
    const int reason = errno;
    // A link to nothing is not replaced.
    if (!exists && lstat(path.c_str(), &present) == 0) {
        errno = reason;
        return -1;
    }
    if (exists && S_ISDIR(present.st_mode)) {
        errno = EISDIR;
        return -1;
    }
    if (exists && access(path.c_str(), W_OK) != 0) return -1;
    if (exists && !S_ISREG(present.st_mode)) return open(path.c_str(), O_WRONLY | O_CLOEXEC);
    std::string name = path + ".XXXXXX";
    const int file = mkostemp(name.data(), O_CLOEXEC);
    if (file < 0) return -1;
    RemoveOnSignal(name);
    fchmod(file, exists ? present.st_mode & 07777U : RightsOfNewFile());
    temporary = name;
    return file;
}

bool Rename(const std::string& temporary, const std::string& path)
{
    if (rename(temporary.c_str(), path.c_str()) != 0) return false;
    RemoveOnSignal({});
    return true;
}

void Remove(const std::string& temporary)
{
    unlink(temporary.c_str());
    RemoveOnSignal({});
}

namespace {

// A child with a pipe to its standard input and one from its standard output.
class Child
{
 public:
    ~Child()
    {
        for (int* file : {&m_input[0], &m_input[1], &m_output[0], &m_output[1]}) Close(*file);
        if (m_process > 0) waitpid(m_process, nullptr, 0);
    }
    Child() = default;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool Start(std::string program)
    {
        if (pipe2(m_input, O_CLOEXEC) != 0 || pipe2(m_output, O_CLOEXEC) != 0) return false;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, m_input[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, m_output[1], STDOUT_FILENO);
        char* arguments[] = {program.data(), nullptr};
        char locale[] = "LC_ALL=C.UTF-8";
        std::vector<char*> environment{locale};
        for (char** variable = environ; *variable != nullptr; ++variable)
            if (std::strncmp(*variable, "LC_ALL=", 7) != 0) environment.push_back(*variable);
        environment.push_back(nullptr);
        const int error =
            posix_spawnp(&m_process, program.c_str(), &actions, nullptr, arguments, environment.data());
        posix_spawn_file_actions_destroy(&actions);
        Close(m_input[0]);
        Close(m_output[1]);
        errno = error;
        return error == 0;
    }

    // One that ends early leaves input unread; Wait returns how it ended.
    void Write(std::string_view input)
    {
        WriteAll(m_input[1], input);
        Close(m_input[1]);
    }

    void Read(std::string& output)
    {
        char block[16384];
        for (std::ptrdiff_t count = 0; (count = ReadSome(m_output[0], block, sizeof block)) > 0;)
            output.append(block, static_cast<std::size_t>(count));
    }

    bool Wait()
    {
        int status = 0;
        while (waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
        }
        m_process = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

 private:
    static void Close(int& file)
    {
        if (file >= 0) close(file);
        file = -1;
    }

    int m_input[2] = {-1, -1};
    int m_output[2] = {-1, -1};
    pid_t m_process = -1;
};

}  // namespace

Ended RunFilter(const std::string& program, std::string_view input, std::string& output)
{
    Child child;
    if (!child.Start(program)) return Ended::NotStarted;
    child.Write(input);
    child.Read(output);
    return child.Wait() ? Ended::Well : Ended::Badly;
}
