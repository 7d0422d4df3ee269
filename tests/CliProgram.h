#pragma once

#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// What a command line printed, and how it ended: its exit status, or -1 for a signal.
struct Ran
{
    int status;
    std::string out, err;
};

// Runs command lines as a user types them, through sh, with the built tarvutil on PATH, or the one in the directory that
// the variable TARVUTIL_DIRECTORY names. The working directory is their own and goes with the object; $PATTERNS are the
// patterns that come with the program.
class Shell
{
 public:
    Shell()
    {
        if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("cannot make " + m_path);
        std::filesystem::create_directory(m_path + "/scratch");
        std::signal(SIGPIPE, SIG_DFL);  // for the commands, also where the caller ignores it
    }
    ~Shell() { std::filesystem::remove_all(m_path); }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    Ran Run(const std::string& command) const
    {
        Write("../command", command);
        const char* other = std::getenv("TARVUTIL_DIRECTORY");
        const std::string directory = other == nullptr ? TARVUTIL_DIRECTORY : other;
        const int status =
            std::system(("cd " + m_path + "/scratch && PATH=" + directory +
                         ":$PATH PATTERNS=" TARVUTIL_PATTERNS " sh ../command >../out 2>../err </dev/null")
                            .c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read("../out"), Read("../err")};
    }
    void Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(m_path + "/scratch/" + name, std::ios::binary) << text;
    }

 private:
    std::string Read(const std::string& name) const
    {
        std::ifstream file(m_path + "/scratch/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string m_path = "/tmp/tarvutil-test-XXXXXX";
};
