#pragma once

#include <string>
#include <string_view>

#include "Advice.h"

// A report as the table that check prints, its lines ended.
std::string CheckTable(const preview::Report& report, const preview::Advice& advice, std::string_view place);

// One row per time step; nothing without rows.
std::string StepTable(const std::vector<preview::StepRow>& rows);
