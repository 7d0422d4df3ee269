#include <CLI/CLI.hpp>

#include "Commands.h"

void AddPlay(CLI::App& /*program*/, int& /*exitStatus*/) {}
