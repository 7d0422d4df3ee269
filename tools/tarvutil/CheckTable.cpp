#include <cmath>

#include "CheckReport.h"
#include "Figures.h"
#include "Output.h"
#include "Table.h"

namespace {

void Add(Table& table, const std::string& name, const AskedPlayed& value)
{
    // Of two infinite values the error is none.
    const double error = value.asked == value.played ? 0 : value.Error();
    table.Add({name, Rounded(value.asked), Rounded(value.played), Rounded(error)});
}

Table Totals(const Deviations& d)
{
    Table table({"", "asked", "played", "error"});
    Add(table, "period, us", d.periodUsec);
    Add(table, "frequency, Hz", d.frequencyHz);
    Add(table, "cycles", d.cycles);
    Add(table, "train, ms", d.trainMsec);
    Add(table, "positive charge, nC", {d.askedNc.positiveNc, d.playedNc.positiveNc});
    Add(table, "negative charge, nC", {d.askedNc.negativeNc, d.playedNc.negativeNc});
    Add(table, "net charge, nC", {d.askedNc.NetNc(), d.playedNc.NetNc()});
    if (!std::isinf(d.cycles.played)) Add(table, "net charge of the train, nC", d.TrainNetNc());
    return table;
}

std::string Pair(const std::string& len, const std::string& amp)
{
    return "(" + len + "," + amp + ")";
}

// Each stage shows where it changed something.
Table PhaseTable(const Deviations& d)
{
    Table table({"phase", "starts, us", "played", "error", "asked", "read", "clamped", "balanced", "played"});
    for (const PhaseDeviation& p : d.phases) {
        table.Add({std::to_string(table.Size()), Rounded(p.startUsec.asked), Rounded(p.startUsec.played),
                   Rounded(p.startUsec.Error()), Pair(Rounded(p.asked.lenUsec), Rounded(p.asked.ampUa)),
                   p.ReadChanges() ? PhaseListText({p.read}) : "",
                   p.ClampChanges() ? PhaseListText({p.clamped}) : "",
                   p.BalanceChanges() ? PhaseListText({p.balanced}) : "",
                   p.PlayChanges() ? Pair(Rounded(p.played.lenUsec), Rounded(p.played.ampUa)) : ""});
    }
    return table;
}

void AppendDeviations(std::string& text, const CheckReport& report)
{
    const Deviations& d = *report.deviations;
    text += ": " + std::to_string(report.reading.words.size()) + " of " +
            std::to_string(report.stimulator.budget) + " words\n";
    Totals(d).Print(text);
    PhaseTable(d).Print(text);
    const std::string largest = Rounded(d.LargestErrorUsec());
    text += "  largest error of a phase start: " + largest + " us";
    if (largest != "0") text += ", phase " + std::to_string(d.LargestError());
    text += "\n";
    constexpr int LimitDecimals = 6;  // a limit may be exceeded by little
    for (const Excess& excess : report.exceeded)
        text += "  " + excess.option + " EXCEEDED: " + Rounded(excess.value, LimitDecimals) + " " +
                excess.unit + ", the limit is " + Rounded(excess.limit, LimitDecimals) + " " + excess.unit +
                "\n";
    for (const Finding& finding : d.findings)
        text += std::string("  ") + NameOf(finding.cause) + ": " + finding.text + "\n";
}

void AppendRefusal(std::string& text, const Refusal& refusal)
{
    text += ": refused\n  " + refusal.text + "\n";
    if (refusal.meets >= 0)
        text += "  phase " + std::to_string(refusal.failing) + " meets " + Rounded(refusal.carriedUsec) +
                " us of a time step that phase " + std::to_string(refusal.meets) + " has begun\n";
    if (!refusal.adjusted) return;
    text += "  AdjustPhases of a pattern that holds the list makes " + PhaseListText(refusal.adjustedPhases) +
            ", which " + (refusal.adjustedFits ? "fits\n" : "does not fit either\n");
}

}  // namespace

void PrintTable(Output& output, const CheckReport& report)
{
    std::string text = report.reading.place.Text();
    if (report.deviations) AppendDeviations(text, report);
    if (report.refusal) AppendRefusal(text, *report.refusal);
    for (const std::string& warning : report.reading.warnings) text += "  warning: " + warning + "\n";
    output.Write(text);
}
