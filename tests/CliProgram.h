#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

// The built program, run as a user runs it.

struct Ran
{
    int status;
    std::string out;
};

// arguments stand as they would on a command line of the shell, redirections included.
inline Ran Tarvutil(const std::string& arguments, const std::string& environment = {})
{
    FILE* pipe = popen((environment + " " TARVUTIL_PROGRAM " " + arguments).c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " TARVUTIL_PROGRAM);
    std::string out;
    std::array<char, 65536> block{};
    for (std::size_t count = 0; (count = std::fread(block.data(), 1, block.size(), pipe)) > 0;)
        out.append(block.data(), count);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

// The objects that a command prints, one a line.
inline std::vector<nlohmann::json> TarvutilJson(const std::string& arguments)
{
    std::vector<nlohmann::json> objects;
    const std::string out = Tarvutil(arguments + " --format json 2>/dev/null").out;
    for (std::size_t begin = 0; begin < out.size();) {
        const std::size_t end = out.find('\n', begin);
        objects.push_back(nlohmann::json::parse(out.substr(begin, end - begin)));
        begin = end + 1;
    }
    return objects;
}

// A directory of its own for the files of one test, removed with everything in it.
class ScratchDirectory
{
 public:
    ScratchDirectory()
    {
        if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("cannot make " + m_path);
    }
    ~ScratchDirectory() { static_cast<void>(std::system(("rm -rf " + m_path).c_str())); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string Path(const std::string& name) const { return m_path + "/" + name; }
    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(Path(name), std::ios::binary) << text;
        return Path(name);
    }

 private:
    std::string m_path = "/tmp/tarvutil-test-XXXXXX";
};
