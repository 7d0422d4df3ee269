#include "CheckTable.h"

#include <cmath>

#include "NumberFormat.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "Table.h"
#include "Units.h"

using namespace preview;

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

// "2e-05 cm2 (0.002 mm2, 2000 um2)"
std::string AreaText(double cm2)
{
    return Shortest(static_cast<float>(cm2)) + " cm2 (" + Shortest(static_cast<float>(cm2 * Mm2PerCm2)) +
           " mm2, " + Shortest(static_cast<float>(cm2 * Um2PerCm2)) + " um2)";
}

// Each phase of current.
Table CurrentTable(const Deviations& d)
{
    std::vector<std::string> heads{"phase of current", "starts, us", "lasts, us", "charge, nC"};
    if (d.areaCm2) heads.insert(heads.end(), {"uC/cm2", "k"});
    Table table(heads);
    for (const CurrentPhase& p : d.current.phases) {
        std::vector<std::string> cells{std::to_string(table.Size()), Rounded(p.startUsec),
                                       Rounded(p.durationUsec), Rounded(p.chargeNc)};
        if (d.areaCm2)
            cells.insert(cells.end(), {Rounded(p.DensityUcPerCm2(*d.areaCm2)), Rounded(p.K(*d.areaCm2))});
        table.Add(cells);
    }
    return table;
}

void AppendCurrent(std::string& text, const Deviations& d)
{
    const CurrentFigures& current = d.current;
    if (!current.phases.empty()) CurrentTable(d).Print(text);
    text += "  current: " + Rounded(current.DutyPct()) + " % of the time, RMS " + Rounded(current.rmsUa) +
            " uA, direct " + Rounded(current.DirectCurrentNa()) + " nA";
    if (std::isfinite(current.nearestUsec))
        text += "; nearest pulses " + Rounded(current.nearestUsec) + " us apart (" +
                Rounded(current.NearestHz()) + " Hz)";
    text += "\n";
    text += "  largest phase of current: " + Rounded(current.LargestChargeNc()) + " nC";
    if (d.areaCm2)
        text += ", " + Rounded(current.LargestDensityUcPerCm2(*d.areaCm2)) +
                " uC/cm2, k = " + Rounded(current.LargestK(*d.areaCm2)) + " on " + AreaText(*d.areaCm2) +
                "\n  " + KSentence();
    text += "\n";
}

void AppendDeviations(std::string& text, const Report& report)
{
    const Deviations& d = report.deviations;
    text += ": " + std::to_string(report.encoding.words.size()) + " of " +
            std::to_string(report.stimulator.budget) + " words\n";
    Totals(d).Print(text);
    PhaseTable(d).Print(text);
    AppendCurrent(text, d);
    const std::string largest = Rounded(d.LargestErrorUsec());
    text += "  largest error of a phase start: " + largest + " us";
    if (largest != "0") text += ", phase " + std::to_string(d.LargestError());
    text += "\n";
    for (const Excess& excess : report.excesses) text += "  " + Sentence(excess) + "\n";
    for (const Finding& finding : d.findings)
        text += std::string("  ") + NameOf(finding.cause) + ": " + Sentence(report, finding) + "\n";
}

void AppendRefusal(std::string& text, const Report& report, const Advice& advice)
{
    const Refusal& refusal = *report.encoding.refusal;
    text += ": refused\n";
    for (const std::string& sentence : RefusalSentences(report)) text += "  " + sentence + "\n";
    for (const std::string& sentence : {MeetingSentence(refusal), RepairSentence(refusal)})
        if (!sentence.empty()) text += "  " + sentence + "\n";
    for (const std::string& sentence : AdviceSentences(advice)) text += "  " + sentence + "\n";
}

}  // namespace

std::string CheckTable(const Report& report, const Advice& advice, std::string_view place)
{
    std::string text(place);
    if (report.encoding.Encoded())
        AppendDeviations(text, report);
    else
        AppendRefusal(text, report, advice);
    for (const std::string& warning : report.encoding.warnings) text += "  warning: " + warning + "\n";
    for (const std::string& warning : IrregularityWarnings(report)) text += "  warning: " + warning + "\n";
    for (const Loosened& loosened : report.limits.loosened) text += "  warning: " + Sentence(loosened) + "\n";
    return text;
}

std::string StepTable(const std::vector<StepRow>& rows)
{
    if (rows.empty()) return {};
    Table table({"time step, us", "words", "largest error, us", "period error, us", "net charge, nC", ""});
    for (const StepRow& row : rows) {
        if (row.words == 0)
            table.Add({Shortest(row.timeStepUsec), "refused"});
        else
            table.Add({Shortest(row.timeStepUsec), std::to_string(row.words), Rounded(row.largestErrorUsec),
                       Rounded(row.periodErrorUsec), Rounded(row.netChargeNc),
                       row.AsAsked() ? "as asked" : ""});
    }
    std::string text;
    table.Print(text);
    return text;
}
