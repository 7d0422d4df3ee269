#pragma once

#include <string>
#include <string_view>

#include "Report.h"

// A report as the table that check prints, its lines ended.
std::string CheckTable(const preview::Report& report, std::string_view place);
