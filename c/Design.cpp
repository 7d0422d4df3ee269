#include "Design.h"

#include <nlohmann/json.hpp>

#include "DesignParameters.h"
#include "Handles.h"
#include "Json.h"
#include "SentencesOfDesign.h"
#include "Utf8.h"

using namespace capi;

struct tarvutil_design
{
    // One of the texts, or what was refused.
    struct Item
    {
        std::string text;
        bool made = false;
    };
    tarvutil_stimulator stimulator;  // of the kind of the texts
    std::vector<Item> items;
    std::string json;
    std::string error;
};

namespace {

// A value of the parameters as its text.
std::string ValueText(const std::string& key, const nlohmann::json& value)
{
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number()) return value.dump();
    throw Error{TARVUTIL_BAD_ARGUMENT, key + ": a number or a text is needed"};
}

preview::SequenceRequest RequestOf(std::string_view text)
{
    preview::DesignParameters parameters;
    const nlohmann::json object = nlohmann::json::parse(text, nullptr, false);
    Check(object.is_object(), "parameters: not a JSON object");
    for (const auto& [key, value] : object.items()) {
        if (value.is_null()) continue;
        std::string name = key;
        std::replace(name.begin(), name.end(), '_', '-');
        const preview::DesignParameter* parameter = preview::FindDesignParameter(name);
        if (parameter == nullptr)
            throw Error{TARVUTIL_BAD_ARGUMENT,
                        "parameters: " + preview::Visible(key) + " is not a parameter"};
        const std::string fault = parameter->set(parameters, ValueText(key, value));
        if (!fault.empty()) throw Error{TARVUTIL_BAD_ARGUMENT, key + ": " + fault};
    }
    const std::string fault = parameters.Inconsistent();
    if (!fault.empty()) throw Error{TARVUTIL_BAD_ARGUMENT, fault};
    return parameters.Request();
}

void MakeAll(const preview::SequenceRequest& sequence, tarvutil_design& handle)
{
    std::vector<preview::DesignRequest> requests;
    handle.stimulator.profile.stimulator.pattern = KindOf(sequence.pulse);
    if (const auto fault = MakeSequence(sequence, handle.stimulator.profile.stimulator, requests))
        throw Error{TARVUTIL_BAD_ARGUMENT, Sentence(*fault, "")};
    preview::Design design(handle.stimulator.profile.stimulator);
    for (const preview::DesignRequest& request : requests) {
        MakeDesign(request, design, handle.stimulator.profile.limits);
        handle.json += (handle.json.empty() ? "[" : ",") + DesignJson(design, request.name);
        const bool made = !design.text.empty();
        const bool refused = !made && !design.outOfReach;
        handle.items.push_back({made      ? design.text
                                : refused ? design.report.encoding.asked.text
                                          : std::string(),
                                made});
    }
    handle.json += ']';
}

const tarvutil_design::Item& ItemOf(const tarvutil_design& handle, int32_t index)
{
    if (index < 0 || static_cast<std::size_t>(index) >= handle.items.size())
        throw Error{TARVUTIL_BAD_ARGUMENT,
                    "index: " + std::to_string(index) + " is not the index of a design"};
    return handle.items[static_cast<std::size_t>(index)];
}

}  // namespace

tarvutil_design* tarvutil_design_new(const tarvutil_stimulator* stimulator, const char* parameters,
                                     int32_t length, char* reason, int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (stimulator == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the stimulator is null"};
        const preview::SequenceRequest sequence = RequestOf(Text(parameters, length, "parameters"));
        auto handle = std::make_unique<tarvutil_design>(tarvutil_design{*stimulator, {}, {}, {}});
        MakeAll(sequence, *handle);
        return handle.release();
    });
}

int32_t tarvutil_design_free(tarvutil_design* design)
{
    delete design;
    return TARVUTIL_OK;
}

int32_t tarvutil_design_error(const tarvutil_design* design, char* text, int32_t capacity)
{
    return PutError(design, text, capacity);
}

int32_t tarvutil_design_count(tarvutil_design* design)
{
    return On(design, [](tarvutil_design& d) { return Count(d.items.size()); });
}

int32_t tarvutil_design_text(tarvutil_design* design, int32_t index, char* text, int32_t capacity)
{
    return On(design, [&](tarvutil_design& d) {
        const tarvutil_design::Item& item = ItemOf(d, index);
        if (!item.made) throw Error{TARVUTIL_REFUSED, "the design has no text: its JSON has the reason"};
        return Put(item.text, text, capacity);
    });
}

int32_t tarvutil_design_json(tarvutil_design* design, char* text, int32_t capacity)
{
    return On(design, [&](tarvutil_design& d) { return Put(d.json, text, capacity); });
}

tarvutil_report* tarvutil_design_report_new(const tarvutil_design* design, int32_t index, char* reason,
                                            int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (design == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the design is null"};
        const tarvutil_design::Item& item = ItemOf(*design, index);
        if (item.text.empty())
            throw Error{TARVUTIL_REFUSED,
                        "the design is out of reach: its JSON has the value that is within reach"};
        return ReportHandle(design->stimulator, item.text, preview::Reading::Strict).release();
    });
}
