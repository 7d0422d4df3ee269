#pragma once

namespace CLI {
class App;
}

// Each adds one command to the program. When the command has run, exitStatus holds its ExitStatus; a command
// that cannot be carried out throws Fault.
void AddEncode(CLI::App& program, int& exitStatus);
void AddDecode(CLI::App& program, int& exitStatus);
void AddCheck(CLI::App& program, int& exitStatus);
void AddPlot(CLI::App& program, int& exitStatus);
void AddPlay(CLI::App& program, int& exitStatus);
void AddDevice(CLI::App& program, int& exitStatus);
void AddDesign(CLI::App& program, int& exitStatus);
