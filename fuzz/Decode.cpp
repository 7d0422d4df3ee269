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
        const auto size = static_cast<ssize_t>(text.size());
        Require(ftruncate(m_fd, 0) == 0 && pwrite(m_fd, text.data(), text.size(), 0) == size,
                "the file is set");
        lseek(m_fd, 0, SEEK_SET);
    }

    std::string Text() const
    {
        std::string text(static_cast<std::size_t>(lseek(m_fd, 0, SEEK_END)), '\0');
        Require(pread(m_fd, text.data(), text.size(), 0) >= 0, "the file is read");
        return text;
    }

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }
    int Descriptor() const { return m_fd; }

 private:
    int m_fd;
};

// Runs with what goes to a standard descriptor sent to a file.
template <typename Run>
void Redirected(int descriptor, const MemoryFile& file, Run run)
{
    const int kept = dup(descriptor);
    dup2(file.Descriptor(), descriptor);
    run();
    dup2(kept, descriptor);
    close(kept);
}

// The exit status; ExitUsage when the command cannot be carried out.
int Decode(std::vector<std::string> arguments)
{
    CLI::App program;
    int status = ExitDone;
    AddDecode(program, status);
    try {
        program.parse(arguments);          // takes them from the back
    } catch (const std::runtime_error&) {  // CLI::ParseError, Fault
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
    input.Set(text);
    output.Set({});
    messages.Set({});
    int status = ExitUsage;
    const auto decode = [&] {
        status = Decode({fromFile ? "--file=" + input.Path() : text,
                         json ? "--format=json" : "--format=table", "decode"});
    };
    Redirected(STDOUT_FILENO, output, [&] { Redirected(STDERR_FILENO, messages, decode); });

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
