// Any bytes as a line of words, in hexadecimal or JSON: no crash, and what is read plays back as valid JSON.

#include <nlohmann/json.hpp>

#include "Fuzz.h"
#include "Json.h"
#include "WordText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    const std::string text = in.ConsumeRemainingBytesAsString();
    preview::WordLine line;
    const std::string fault = ReadWordLine(text, line);
    constexpr std::size_t MostPerByte =
        4;  // a message quotes the refused text, with bytes that are not UTF-8 replaced
    Require(fault.size() <= MostPerByte * size + 100, "a message is bounded by the text");
    Require(nlohmann::json::accept(preview::ErrorJson({fault}, "-:1")), "an error is JSON");
    if (!fault.empty() || !playback::Refusal(line.words).empty()) return 0;
    const std::string json = preview::SegmentsJson(line.timeStepUsec.value_or(20.0f),
                                                   line.ampStepUa.value_or(1.0f), line.words, "");
    Require(nlohmann::json::accept(json), "what the words play is JSON");

    // Printed and read again the words are the same.
    std::string printed;
    preview::AppendWords(printed, line.words);
    printed.pop_back();
    preview::WordLine again;
    Require(ReadWordLine(printed, again).empty() && again.words == line.words, "printed words read back");
    return 0;
}
