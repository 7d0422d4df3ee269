#include <CLI/CLI.hpp>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "Commands.h"
#include "ExitStatus.h"
#include "Fault.h"
#include "Messages.h"
#include "Output.h"
#include "System.h"

namespace {

void AddCommands(CLI::App& program, int& exitStatus)
{
    program.require_subcommand(1);
    program.set_version_flag("--version", "tarvutil " TARVUTIL_VERSION);
    program.footer(
        "tarvutil COMMAND --help describes a command. Exit status: 0 done, 1 one or more patterns "
        "failed, 2 the\nrequest cannot be carried out.");
    AddEncode(program, exitStatus);
    AddDecode(program, exitStatus);
    AddCheck(program, exitStatus);
    AddPlot(program, exitStatus);
    AddPlay(program, exitStatus);
    AddDesign(program, exitStatus);
    AddDevice(program, exitStatus);
}

int Run(const std::vector<std::string>& arguments)
{
    CLI::App program("Stimulation patterns as text, and the command words that a current stimulator plays",
                     "tarvutil");
    int exitStatus = ExitDone;
    AddCommands(program, exitStatus);
    const auto isAsked = [&](const CLI::App* command) { return command->check_name(arguments.front()); };
    if (!arguments.empty() && arguments.front().compare(0, 1, "-") != 0 &&
        program.get_subcommands(isAsked).empty())
        throw Fault("unknown command " + arguments.front() + "; see tarvutil --help");
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& request) {  // --help, --version
        std::ostringstream text;
        exitStatus = program.exit(request, text, text);
        Output output;
        output.Write(text.str());
        output.Finish();
        return exitStatus;
    } catch (const CLI::ParseError& error) {
        throw Fault(std::string(error.what()) + "; see tarvutil --help");
    }
    return exitStatus;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return Run(StartProgram(argc, argv));
    } catch (const ReaderGone&) {
        return ExitDone;
    } catch (const std::exception& fault) {
        PrintMessage(fault.what());
        return ExitUsage;
    }
}
