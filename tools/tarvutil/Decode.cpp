#include <CLI/CLI.hpp>

#include "Commands.h"

void AddDecode(CLI::App& /*program*/, int& /*exitStatus*/) {}
