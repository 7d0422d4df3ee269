#include <cmath>

#include "CheckReport.h"
#include "Figures.h"

namespace {

void Pad(std::string& text, const std::string& cell, std::size_t width)
{
    text.append(cell.size() < width ? width - cell.size() : 0, ' ');
    text += cell;
}

void Row(std::string& text, const std::string& name, const std::vector<std::string>& cells)
{
    constexpr std::size_t NameWidth = 22;
    constexpr std::size_t CellWidth = 14;
    text += "  " + name;
    text.append(name.size() < NameWidth ? NameWidth - name.size() : 0, ' ');
    for (const std::string& cell : cells) Pad(text, cell, CellWidth);
    text += '\n';
}

void Row(std::string& text, const std::string& name, const AskedPlayed& value)
{
    // Of two infinite values the error is none.
    const double error = value.asked == value.played ? 0 : value.Error();
    Row(text, name, {Rounded(value.asked), Rounded(value.played), Rounded(error)});
}

void AppendTotals(std::string& text, const CheckReport& report)
{
    const Deviations& d = *report.deviations;
    text += "  " + std::to_string(report.reading.words.size()) + " of " +
            std::to_string(report.stimulator.budget) + " words\n";
    Row(text, "", {"asked", "played", "error"});
    Row(text, "period, us", d.periodUsec);
    Row(text, "frequency, Hz", d.frequencyHz);
    Row(text, "cycles", d.cycles);
    Row(text, "train, ms", d.trainMsec);
    Row(text, "positive charge, nC", {d.askedNc.positiveNc, d.playedNc.positiveNc});
    Row(text, "negative charge, nC", {d.askedNc.negativeNc, d.playedNc.negativeNc});
    Row(text, "net charge, nC", {d.askedNc.NetNc(), d.playedNc.NetNc()});
    Row(text, "net charge, train, nC", d.TrainNetNc());
}

void AppendStage(std::string& text, const char* name, const std::string& len, const std::string& amp)
{
    text += std::string(name) + len + " us " + amp + " uA";
}

void AppendStage(std::string& text, const char* name, const phase& p)
{
    AppendStage(text, name, Shortest(p.len), Shortest(p.amp));
}

void AppendPhase(std::string& text, std::size_t i, const PhaseDeviation& p)
{
    std::string stages;
    AppendStage(stages, "   ", Rounded(p.asked.lenUsec), Rounded(p.asked.ampUa));
    if (p.ReadChanges()) AppendStage(stages, ", read ", p.read);
    if (p.ClampChanges()) AppendStage(stages, ", clamped ", p.clamped);
    if (p.BalanceChanges()) AppendStage(stages, ", balanced ", p.balanced);
    if (p.PlayChanges()) AppendStage(stages, ", played ", Rounded(p.played.lenUsec), Rounded(p.played.ampUa));
    Row(text, "phase " + std::to_string(i) + ", from us",
        {Rounded(p.startUsec.asked), Rounded(p.startUsec.played), Rounded(p.startUsec.Error()), stages});
}

void AppendDeviations(std::string& text, const CheckReport& report)
{
    const Deviations& d = *report.deviations;
    AppendTotals(text, report);
    for (std::size_t i = 0; i < d.phases.size(); ++i) AppendPhase(text, i, d.phases[i]);
    text += "  largest error of a phase's start: " + Rounded(d.LargestErrorUsec()) + " us";
    if (d.LargestErrorUsec() != 0) text += ", phase " + std::to_string(d.LargestError());
    text += report.errorExceeded ? ", MORE THAN ALLOWED\n" : "\n";
    if (report.netChargeExceeded) text += "  net charge of a cycle: MORE THAN ALLOWED\n";
    for (const Finding& finding : d.findings)
        text += std::string("  ") + NameOf(finding.cause) + ": " + finding.text + "\n";
}

void AppendRefusal(std::string& text, const Refusal& refusal)
{
    text += "  refused: " + refusal.text + "\n";
    if (refusal.meets >= 0)
        text += "  phase " + std::to_string(refusal.failing) + " meets " + Rounded(refusal.carriedUsec) +
                " us of a time step that phase " + std::to_string(refusal.meets) + " has begun\n";
    if (!refusal.adjusted) return;
    text += "  AdjustPhases of a pattern that holds the list makes " + PhaseListText(refusal.adjustedPhases) +
            ", which " + (refusal.adjustedFits ? "fits\n" : "does not fit either\n");
}

}  // namespace

std::string AsTable(const CheckReport& report)
{
    std::string text = report.reading.place.Text() + "\n";
    if (report.deviations) AppendDeviations(text, report);
    if (report.refusal) AppendRefusal(text, *report.refusal);
    for (const std::string& warning : report.reading.warnings)
        text += "  warning: " + warning.substr(0, warning.find_last_not_of('\n') + 1) + "\n";
    return text;
}
