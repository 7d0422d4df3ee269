#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <string>

#include "Commands.h"
#include "ExitStatus.h"
#include "Fault.h"
#include "Messages.h"

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
}

int Run(int argc, char** argv)
{
    CLI::App program("Stimulation patterns as text, and the command words that a current stimulator plays",
                     "tarvutil");
    int exitStatus = ExitDone;
    AddCommands(program, exitStatus);
    const auto isAsked = [&](const CLI::App* command) { return command->check_name(argv[1]); };
    if (argc > 1 && argv[1][0] != '-' && program.get_subcommands(isAsked).empty())
        throw Fault("unknown command " + std::string(argv[1]) + "; see tarvutil --help");
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& request) {  // --help, --version
        return program.exit(request);
    } catch (const CLI::ParseError& error) {
        throw Fault(std::string(error.what()) + "; see tarvutil --help");
    }
    return exitStatus;
}

}  // namespace

int main(int argc, char** argv)
{
    // A reader that has gone shows as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return Run(argc, argv);
    } catch (const ReaderGone&) {
        return ExitDone;
    } catch (const std::exception& fault) {
        PrintMessage(fault.what());
        return ExitUsage;
    }
}
