// Any bytes as a specification string, read strictly and as the library reads: what strict reading accepts has the same
// words both ways, the words are traced to their phases, and the report is valid JSON.

#include <nlohmann/json.hpp>

#include "Fuzz.h"
#include "Json.h"
#include "Sentences.h"

using namespace preview;

namespace {

void CheckWords(const Report& report)
{
    const Encoding& encoding = report.encoding;
    Require(!encoding.trace.foreign, "the words are those of the phases");
    Require(encoding.trace.words.size() + 1 == encoding.words.size(), "each word has its phases");
    const int phases = Base(encoding.pattern).PhaseCount();
    for (const WordPhases& word : encoding.trace.words)
        Require(word.first >= 0 && word.first <= word.last && word.last < phases, "phases of a word exist");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static constexpr float TimeSteps[] = {33.333332f, 20, 1, 100, 7.3f};
    FuzzedDataProvider in(data, size);
    Stimulator stimulator;
    stimulator.pattern = in.ConsumeBool() ? PatternKind::Plain : PatternKind::Lilly;
    stimulator.timeStepUsec = in.PickValueInArray(TimeSteps);
    const std::string text = in.ConsumeRemainingBytesAsString();

    Report lenient(stimulator);
    Report strict(stimulator);
    ReportOn(text, {}, Reading::Lenient, lenient);
    ReportOn(text, {}, Reading::Strict, strict);
    Report brief(stimulator);
    ReportOn(text, {}, Reading::Lenient, brief, Purpose::Warnings);
    if (lenient.encoding.Encoded())
        Require(DeviationSentences(brief) == DeviationSentences(lenient) &&
                    WarningSentences(brief) == WarningSentences(lenient),
                "warnings are those of all deviations");
    for (const Report* report : {&lenient, &strict}) {
        Require(nlohmann::json::accept(ReportJson(*report, "-:1")), "a report is JSON");
        Require(report->encoding.Encoded() != report->encoding.refusal.has_value(), "words or a refusal");
        if (report->encoding.Encoded()) CheckWords(*report);
        if (report->encoding.refusal) Require(!RefusalSentences(*report).empty(), "a refusal says why");
    }
    if (lenient.encoding.asked.irregular == 0)
        Require(lenient.encoding.words == strict.encoding.words, "strict reading changes no words");
    else
        Require(!strict.encoding.Encoded(), "strict reading refuses what is irregular");
    return 0;
}
