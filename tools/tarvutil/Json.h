#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Figures.h"
#include "Output.h"
#include "Reading.h"

// Keys in the order in which they were added.
using Json = nlohmann::ordered_json;

// A float as the number with its shortest text.
inline Json JsonNumber(float value)
{
    return ShortestDouble(value);
}

// What every object about a specification string begins with.
inline Json JsonOf(const Reading& reading)
{
    Json json{{"place", reading.place.Text()}};
    const std::vector<std::string> faults = reading.Faults();
    if (!faults.empty()) json["errors"] = faults;
    if (!reading.warnings.empty()) json["warnings"] = reading.warnings;
    return json;
}

inline Json JsonOf(const Place& place, const std::string& error)
{
    return {{"place", place.Text()}, {"errors", {error}}};
}

// One object a line. Bytes that are no UTF-8 become the replacement character.
inline void PrintLine(Output& output, const Json& json)
{
    output.Write(json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
}
