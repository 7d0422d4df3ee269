#include "Messages.h"

#include <algorithm>
#include <string>

#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "System.h"
#include "Utf8.h"

namespace {

std::string Shown(std::string_view text)
{
    constexpr std::size_t MaxShown = 400;
    constexpr std::size_t HeadShown = 300;
    constexpr std::size_t TailShown = 60;
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    if (text.size() <= MaxShown) return preview::Visible(text);
    return preview::Visible(text.substr(0, HeadShown)) + " ... " +
           std::to_string(text.size() - HeadShown - TailShown) + " bytes ... " +
           preview::Visible(text.substr(text.size() - TailShown));
}

}  // namespace

void PrintMessage(Output& output, const Place& place, std::string_view text)
{
    output.Message({place.Text(), ": ", Shown(text), "\n"});
}

void PrintWarning(Output& output, const Place& place, std::string_view text)
{
    output.Message({place.Text(), ": warning: ", Shown(text), "\n"});
}

void PrintMessage(std::string_view text)
{
    WriteAll(StandardError, "tarvutil: " + Shown(text) + "\n");
}

void PrintMessages(Output& output, const Place& place, const preview::Report& report)
{
    const preview::Encoding& encoding = report.encoding;
    const bool none = encoding.Encoded() && encoding.warnings.empty() && encoding.asked.irregular == 0 &&
                      report.limits.loosened.empty() && report.deviations.findings.empty();
    if (none) return;
    PrintMessages(output, place, report, AdviceOn(report));
}

void PrintMessages(Output& output, const Place& place, const preview::Report& report,
                   const preview::Advice& advice)
{
    for (const std::string& sentence : RefusalSentences(report)) PrintMessage(output, place, sentence);
    for (const std::string& sentence : AdviceSentences(advice)) PrintMessage(output, place, sentence);
    constexpr std::size_t MaxWarnings = 20;
    const std::vector<std::string>& warnings = report.encoding.warnings;
    const std::size_t printed = std::min(warnings.size(), MaxWarnings);
    for (std::size_t i = 0; i < printed; ++i) PrintWarning(output, place, warnings[i]);
    if (printed != warnings.size())
        PrintWarning(output, place,
                     "and " + std::to_string(warnings.size() - printed) + " more of that kind");
    for (const std::string& sentence : WarningSentences(report)) PrintWarning(output, place, sentence);
}

void PrintDeviations(Output& output, const Place& place, const preview::Report& report)
{
    for (const std::string& sentence : DeviationSentences(report)) PrintWarning(output, place, sentence);
}
