#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

#include "Calls.h"
#include "Profile.h"
#include "Report.h"

// What the handles of the C interface are, where several sources use them.

namespace capi {

// What a pattern handle and the plays of its pattern share.
struct SharedPattern
{
    explicit SharedPattern(const preview::Stimulator& s) : stimulator(s), pattern(preview::MakePattern(s)) {}
    SharedPattern(const SharedPattern& other) : stimulator(other.stimulator), pattern(other.pattern) {}
    SharedPattern& operator=(const SharedPattern&) = delete;

    const preview::Stimulator stimulator;
    preview::AnyPattern pattern;
    StimPattern* slot = &preview::Base(pattern);
};

}  // namespace capi

struct tarvutil_pattern
{
    std::shared_ptr<capi::SharedPattern> shared;
    std::vector<std::string> errors, warnings;  // of the last text
    mutable std::string error;                  // also of functions that read

    StimPattern& Pattern() const { return *shared->slot; }
    LillyPattern& Lilly() const
    {
        auto* lilly = std::get_if<LillyPattern>(&shared->pattern);
        if (lilly == nullptr) throw capi::Error{TARVUTIL_NOT_LILLY, "the pattern is not a Lilly pattern"};
        return *lilly;
    }
};

struct tarvutil_stimulator
{
    preview::Profile profile;
    std::string error;
};

struct tarvutil_report
{
    explicit tarvutil_report(const preview::Stimulator& stimulator) : report(stimulator) {}

    preview::Report report;
    preview::Limits limits;                   // that it was made with
    std::string json, steps;                  // made when they are first asked for
    std::unique_ptr<nlohmann::json> figures;  // likewise
    std::string error;
};

namespace capi {

// A report on a text. REQUIRES: stimulator is not null. Throws for limits that lack an area.
std::unique_ptr<tarvutil_report> ReportHandle(const tarvutil_stimulator& stimulator, std::string_view text,
                                              preview::Reading reading);

// Throws for limits that lack an area.
void CheckArea(const preview::Limits& limits);

// Throws what keeps the text of the report from its words.
void NeedWords(const preview::Report& report);

// Throws what a report has on a pattern without words.
[[noreturn]] void RefuseWords(const tarvutil_pattern& pattern);

}  // namespace capi
