#include <CLI/CLI.hpp>

#include "Commands.h"

void AddPlot(CLI::App& /*program*/, int& /*exitStatus*/) {}
