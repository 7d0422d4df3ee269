#include <cmath>

#include "CheckReport.h"
#include "Json.h"

namespace {

// A number computed from others, to the millionth: its further digits are those of the computation.
Json Figure(double value)
{
    constexpr double Millionths = 1e6;
    constexpr double AllDigits = 1e9;  // above it a double has no further digits worth cutting
    if (!std::isfinite(value)) return nullptr;
    if (std::fabs(value) > AllDigits) return value;
    return std::round(value * Millionths) / Millionths + 0.0;
}

Json PhaseNumber(int phase)
{
    return phase < 0 ? Json() : Json(phase);
}

Json Stage(const phase& p)
{
    return {{"length_us", JsonNumber(p.len)}, {"amplitude_ua", JsonNumber(p.amp)}};
}

Json Stages(const std::vector<phase>& phases)
{
    Json stages = Json::array();
    for (const phase& p : phases) stages.push_back(Stage(p));
    return stages;
}

Json PhaseObject(const PhaseDeviation& p)
{
    Json object{{"start_asked_us", Figure(p.startUsec.asked)},
                {"start_played_us", Figure(p.startUsec.played)},
                {"start_error_us", Figure(p.startUsec.Error())},
                {"gained_us", Figure(p.gainedUsec)},
                {"asked", {{"length_us", p.asked.lenUsec}, {"amplitude_ua", p.asked.ampUa}}}};
    if (p.ReadChanges()) object["read"] = Stage(p.read);
    if (p.ClampChanges()) object["clamped"] = Stage(p.clamped);
    if (p.BalanceChanges()) object["balanced"] = Stage(p.balanced);
    object["played"] = {{"length_us", Figure(p.played.lenUsec)}, {"amplitude_ua", Figure(p.played.ampUa)}};
    return object;
}

Json FindingObject(const Stimulator& stimulator, const Finding& finding)
{
    return {{"cause", NameOf(finding.cause)},
            {"phase", PhaseNumber(finding.phase)},
            {"phases", finding.phases},
            {"by_us", Figure(finding.usec)},
            {"largest_us", Figure(finding.largestUsec)},
            {"by_ua", Figure(finding.ampUa)},
            {"notable", finding.Notable(stimulator)},
            {"text", finding.text}};
}

Json ExcessObject(const Excess& excess)
{
    const std::string unit = excess.unit == "us" ? "_us" : "_nc";
    return {{"option", excess.option},
            {"value" + unit, Figure(excess.value)},
            {"limit" + unit, Figure(excess.limit)}};
}

void Put(Json& object, const std::string& name, const std::string& unit, const AskedPlayed& value)
{
    object[name + "_asked" + unit] = Figure(value.asked);
    object[name + "_played" + unit] = Figure(value.played);
}

void PutCharge(Json& object, const Deviations& deviations)
{
    const playback::Charge& asked = deviations.askedNc;
    const playback::Charge& played = deviations.playedNc;
    Put(object, "positive_charge", "_nc", {asked.positiveNc, played.positiveNc});
    Put(object, "negative_charge", "_nc", {asked.negativeNc, played.negativeNc});
    Put(object, "net_charge", "_nc", {asked.NetNc(), played.NetNc()});
    Put(object, "train_net_charge", "_nc", deviations.TrainNetNc());
}

void PutDeviations(Json& object, const CheckReport& report)
{
    const Deviations& deviations = *report.deviations;
    object["words"] = report.reading.words.size();
    object["budget_words"] = report.stimulator.budget;
    object["continuous"] = std::isinf(deviations.cycles.played);
    Put(object, "period", "_us", deviations.periodUsec);
    object["period_error_us"] = Figure(deviations.periodUsec.Error());
    Put(object, "frequency", "_hz", deviations.frequencyHz);
    Put(object, "cycles", "", deviations.cycles);
    Put(object, "train", "_ms", deviations.trainMsec);
    PutCharge(object, deviations);
    object["largest_error_us"] = Figure(deviations.LargestErrorUsec());
    object["largest_error_phase"] = PhaseNumber(deviations.LargestError());
    Json& exceeded = object["exceeded"] = Json::array();
    for (const Excess& excess : report.exceeded) exceeded.push_back(ExcessObject(excess));
    Json& phases = object["phases"] = Json::array();
    for (const PhaseDeviation& p : deviations.phases) phases.push_back(PhaseObject(p));
    Json& findings = object["deviations"] = Json::array();
    for (const Finding& finding : deviations.findings)
        findings.push_back(FindingObject(report.stimulator, finding));
}

void PutRefusal(Json& object, const Refusal& refusal)
{
    const bool meeting = refusal.meets >= 0;
    object["refusal"] = {{"text", refusal.text},
                         {"phase", PhaseNumber(refusal.failing)},
                         {"meets_phase", PhaseNumber(refusal.meets)},
                         {"carried_us", meeting ? Figure(refusal.carriedUsec) : Json()}};
    if (refusal.adjusted)
        object["adjusted"] = {{"fits", refusal.adjustedFits},
                              {"phases", Stages(refusal.adjustedPhases)},
                              {"text", PhaseListText(refusal.adjustedPhases)}};
}

}  // namespace

void PrintJson(Output& output, const CheckReport& report)
{
    Json object = JsonOf(report.reading);
    object["text"] = std::string(report.reading.text);
    object["encoded"] = report.reading.Encoded();
    if (report.deviations) PutDeviations(object, report);
    if (report.refusal) PutRefusal(object, *report.refusal);
    PrintLine(output, object);
}
