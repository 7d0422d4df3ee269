#include <CLI/CLI.hpp>

#include "Commands.h"

void AddDesign(CLI::App& /*program*/, int& /*exitStatus*/) {}
