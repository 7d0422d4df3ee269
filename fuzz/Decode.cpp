// Any bytes as the words that the program decodes, whether in hexadecimal, JSON or binary: no crash, bounded output,
// valid JSON where JSON was asked for, and an exit status that agrees with what was said.

#include <sys/mman.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Bytes.h"
#include "Commands.h"
#include "Exit.h"

using fuzz::Require;

namespace {

// A file in memory, emptied for every input.
class MemoryFile
{
 public:
    explicit MemoryFile(const char* name) : m_fd(memfd_create(name, 0)) {}

    void Set(const std::string& text) const
    {
        Require(ftruncate(m_fd, 0) == 0 && lseek(m_fd, 0, SEEK_SET) == 0, "the file is emptied");
        Require(write(m_fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
                "the file is filled");
    }

    std::string Text() const
    {
        std::string text(static_cast<std::size_t>(lseek(m_fd, 0, SEEK_END)), '\0');
        Require(pread(m_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
                "the file is read");
        return text;
    }

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }
    int Descriptor() const { return m_fd; }

 private:
    int m_fd;
};

// Sends what is written to a standard descriptor to a file, while it lives.
class Redirected
{
 public:
    Redirected(int descriptor, const MemoryFile& file) : m_descriptor(descriptor), m_kept(dup(descriptor))
    {
        dup2(file.Descriptor(), descriptor);
    }
    ~Redirected()
    {
        dup2(m_kept, m_descriptor);
        close(m_kept);
    }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

 private:
    int m_descriptor;
    int m_kept;
};

// The exit status; ExitUsage when the command cannot be carried out.
int Decode(std::vector<std::string> arguments)
{
    CLI::App program;
    int status = ExitDone;
    AddDecode(program, status);
    try {
        program.parse(arguments);  // takes them from the back
    } catch (const CLI::ParseError&) {
        return ExitUsage;
    } catch (const Fault&) {
        return ExitUsage;
    }
    return status;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const MemoryFile input("input");
    static const MemoryFile output("output");
    static const MemoryFile messages("messages");

    fuzz::Bytes in(data, size);
    const bool json = in.Bool();
    const bool fromFile = in.Bool();
    const std::string text = in.Rest();
    std::vector<std::string> arguments{json ? "--format=json" : "--format=table", "decode"};
    if (fromFile) {
        arguments.insert(arguments.begin(), "--file=" + input.Path());
        input.Set(text);
    } else {
        arguments.insert(arguments.begin(), text);
    }
    output.Set({});
    messages.Set({});
    int status = ExitUsage;
    {
        const Redirected toOutput(STDOUT_FILENO, output);
        const Redirected toMessages(STDERR_FILENO, messages);
        status = Decode(arguments);
    }
    constexpr std::size_t MostPerByte = 300;
    const std::string printed = output.Text();
    Require(printed.size() + messages.Text().size() <= MostPerByte * (size + 10), "the output is bounded");
    if (status != ExitUsage)
        Require(messages.Text().empty() == (status == ExitDone), "what fails is said, and nothing else");
    if (!json || status == ExitUsage) return 0;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);)
        Require(nlohmann::json::accept(line), "every line of the output is JSON");
    return 0;
}
