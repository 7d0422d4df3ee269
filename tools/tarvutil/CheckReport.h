#pragma once

#include <optional>
#include <string>

#include "Deviations.h"

constexpr const char* MaxErrorOption = "--max-error";
constexpr const char* MaxNetChargeOption = "--max-net-charge";

// The most that a check lets pass.
struct Limits
{
    std::optional<double> netChargeNc;  // magnitude of the net charge played in a cycle
    std::optional<double> errorUsec;    // magnitude of the error of the start of a phase
};

// A limit that a pattern goes beyond.
struct Excess
{
    std::string option;  // that gave the limit
    std::string unit;    // "us" or "nC"
    double value;        // signed; the limit is one of its magnitude
    double limit;
};

// What a check says of one pattern; valid as long as the stimulator and the reading.
struct CheckReport
{
    const Stimulator& stimulator;
    const Reading& reading;
    std::optional<Deviations> deviations;  // of a pattern with words,
    std::optional<Refusal> refusal;        // or why there are none
    std::vector<Excess> exceeded;

    bool Good() const { return deviations && exceeded.empty(); }
};

CheckReport ReportOn(const Stimulator& stimulator, const Reading& reading, const Limits& limits);

void PrintTable(Output& output, const CheckReport& report);

// One line, an object whose keys docs/program.md describes; numbers that are infinite or unknown are null.
void PrintJson(Output& output, const CheckReport& report);
