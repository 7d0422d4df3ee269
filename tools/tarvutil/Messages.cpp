#include "Messages.h"

#include <algorithm>
#include <string>

#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "System.h"

namespace {

std::string Shown(std::string_view text)
{
    constexpr std::size_t MaxShown = 400;
    constexpr std::size_t HeadShown = 300;
    constexpr std::size_t TailShown = 60;
    const auto append = [](std::string& shown, std::string_view part) {
        static constexpr char Digits[] = "0123456789ABCDEF";
        const auto isShown = [](char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F; };
        if (std::all_of(part.begin(), part.end(), isShown)) {
            shown += part;
            return;
        }
        for (const char c : part) {
            const auto byte = static_cast<unsigned char>(c);
            if (isShown(c))
                shown += c;
            else
                shown.append("\\x").append(1, Digits[byte >> 4]).append(1, Digits[byte & 15]);
        }
    };
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    std::string shown;
    if (text.size() <= MaxShown) {
        append(shown, text);
    } else {
        append(shown, text.substr(0, HeadShown));
        shown += " ... " + std::to_string(text.size() - HeadShown - TailShown) + " bytes ... ";
        append(shown, text.substr(text.size() - TailShown));
    }
    return shown;
}

}  // namespace

void PrintMessage(Output& output, const Place& place, std::string_view text)
{
    output.Message(place.Text() + ": " + Shown(text) + "\n");
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
    for (std::size_t i = 0; i < printed; ++i) PrintMessage(output, place, "warning: " + warnings[i]);
    if (printed != warnings.size())
        PrintMessage(output, place,
                     "warning: and " + std::to_string(warnings.size() - printed) + " more of that kind");
    for (const std::string& sentence : WarningSentences(report))
        PrintMessage(output, place, "warning: " + sentence);
}

void PrintDeviations(Output& output, const Place& place, const preview::Report& report)
{
    for (const std::string& sentence : DeviationSentences(report))
        PrintMessage(output, place, "warning: " + sentence);
}
