#include "Json.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "NumberFormat.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "WordRows.h"

namespace preview {
namespace {

// Keys in the order in which they were added.
using Json = nlohmann::ordered_json;

std::string Line(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// A float as the number with its shortest text.
Json Number(float value)
{
    return ShortestDouble(value);
}

// A number computed from others, to the millionth: its further digits come from rounding.
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

Json AtPlace(std::string_view place)
{
    return place.empty() ? Json::object() : Json{{"place", std::string(place)}};
}

// What every object about a specification string begins with.
Json Beginning(const Report& report, std::string_view place)
{
    Json object = AtPlace(place);
    const std::vector<std::string> errors = RefusalSentences(report);
    if (!errors.empty()) object["errors"] = errors;
    std::vector<std::string> warnings = report.encoding.warnings;
    for (std::string& sentence : WarningSentences(report)) warnings.push_back(std::move(sentence));
    if (!warnings.empty()) object["warnings"] = warnings;
    return object;
}

Json Stage(const phase& p)
{
    return {{"length_us", Number(p.len)}, {"amplitude_ua", Number(p.amp)}};
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

Json FindingObject(const Report& report, const Finding& finding)
{
    return {{"cause", NameOf(finding.cause)},
            {"phase", PhaseNumber(finding.phase)},
            {"phases", finding.phases},
            {"by_us", Figure(finding.usec)},
            {"largest_us", Figure(finding.largestUsec)},
            {"by_ua", Figure(finding.ampUa)},
            {"notable", finding.Notable(report.stimulator)},
            {"text", Sentence(report, finding)}};
}

// For what the words are made.
Json StimulatorObject(const Stimulator& s)
{
    return {{"pattern", s.pattern == PatternKind::Plain ? "plain" : "lilly"},
            {"time_step_us", Number(s.timeStepUsec)},
            {"amp_step_ua", Number(s.ampStepUa)},
            {"amp_max_ua", Number(s.AmpMaxUa())},
            {"budget_words", s.budget}};
}

// The limits that are given.
Json LimitObjects(const Limits& limits)
{
    Json objects = Json::array();
    for (const LimitKind& kind : LimitKinds())
        if (const std::optional<double>& most = limits.Most(kind.limit))
            objects.push_back({{"limit", kind.name}, {std::string("limit") + kind.key, Figure(*most)}});
    if (limits.exact) objects.push_back({{"limit", "exact"}});
    return objects;
}

Json ExcessObject(const Excess& excess)
{
    const LimitKind& kind = KindOf(excess.limit);
    return {{"limit", kind.name},
            {std::string("value") + kind.key, Figure(excess.value)},
            {std::string("limit") + kind.key, Figure(excess.most)},
            {"text", Sentence(excess)}};
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

// What is played, by the figures of docs/limits.md.
void PutCurrent(Json& object, const Deviations& deviations)
{
    const CurrentFigures& current = deviations.current;
    const std::optional<double>& area = deviations.areaCm2;
    Json& figures = object["current"] = {{"duty_pct", Figure(current.DutyPct())},
                                         {"pulses", current.pulses},
                                         {"pulse_distance_us", Figure(current.nearestUsec)},
                                         {"pulse_rate_hz", Figure(current.NearestHz())},
                                         {"rms_ua", Figure(current.rmsUa)},
                                         {"direct_current_na", Figure(current.DirectCurrentNa())},
                                         {"phase_charge_nc", Figure(current.LargestChargeNc())}};
    if (area) {
        figures["area_cm2"] = *area;
        figures["density_uc_per_cm2"] = Figure(current.LargestDensityUcPerCm2(*area));
        figures["k"] = Figure(current.LargestK(*area));
        figures["k_caveat"] = KSentence();
    }
    Json& phases = figures["phases_of_current"] = Json::array();
    for (const CurrentPhase& phase : current.phases) {
        phases.push_back({{"start_us", Figure(phase.startUsec)},
                          {"duration_us", Figure(phase.durationUsec)},
                          {"charge_nc", Figure(phase.chargeNc)}});
        if (!area) continue;
        phases.back()["density_uc_per_cm2"] = Figure(phase.DensityUcPerCm2(*area));
        phases.back()["k"] = Figure(phase.K(*area));
    }
}

void PutDeviations(Json& object, const Report& report)
{
    const Deviations& deviations = report.deviations;
    object["words"] = report.encoding.words.size();
    object["command_words"] = report.encoding.words;
    object["budget_words"] = report.stimulator.budget;
    object["continuous"] = std::isinf(deviations.cycles.played);
    Put(object, "period", "_us", deviations.periodUsec);
    object["period_error_us"] = Figure(deviations.periodUsec.Error());
    Put(object, "frequency", "_hz", deviations.frequencyHz);
    Put(object, "cycles", "", deviations.cycles);
    Put(object, "train", "_ms", deviations.trainMsec);
    PutCharge(object, deviations);
    PutCurrent(object, deviations);
    object["largest_error_us"] = Figure(deviations.LargestErrorUsec());
    object["largest_error_phase"] = PhaseNumber(deviations.LargestError());
    object["limits"] = LimitObjects(report.limits);
    Json& exceeded = object["exceeded"] = Json::array();
    for (const Excess& excess : report.excesses) exceeded.push_back(ExcessObject(excess));
    Json& phases = object["phases"] = Json::array();
    for (const PhaseDeviation& p : deviations.phases) phases.push_back(PhaseObject(p));
    Json& findings = object["deviations"] = Json::array();
    for (const Finding& finding : deviations.findings) findings.push_back(FindingObject(report, finding));
}

void PutRefusal(Json& object, const Report& report)
{
    const Refusal& refusal = *report.encoding.refusal;
    const std::vector<std::string> sentences = RefusalSentences(report);
    const bool meeting = refusal.meets >= 0;
    object["refusal"] = {
        {"text", sentences.empty() ? std::string() : sentences.back()},
        {"phase", PhaseNumber(refusal.failing)},
        {"meets_phase", PhaseNumber(refusal.meets)},
        {"carried_us", meeting ? Figure(refusal.carriedUsec) : Json()},
        {"budget_words", refusal.phases.empty() ? Json() : Json(refusal.budgetWords)},
        {"validation_words", refusal.validationWords < 0 ? Json() : Json(refusal.validationWords)},
        {"written_words", refusal.writtenWords < 0 ? Json() : Json(refusal.writtenWords)}};
    if (refusal.repairs)
        object["adjusted"] = {{"fits", refusal.repairFits},
                              {"phases", Stages(refusal.repaired)},
                              {"text", PhaseListText(refusal.repaired)}};
}

Json StepObjects(const std::vector<StepRow>& rows)
{
    Json objects = Json::array();
    for (const StepRow& row : rows)
        objects.push_back({{"time_step_us", Number(row.timeStepUsec)},
                           {"words", row.words == 0 ? Json() : Json(row.words)},
                           {"largest_error_us", row.words == 0 ? Json() : Figure(row.largestErrorUsec)},
                           {"period_error_us", row.words == 0 ? Json() : Figure(row.periodErrorUsec)},
                           {"net_charge_nc", row.words == 0 ? Json() : Figure(row.netChargeNc)},
                           {"as_asked", row.AsAsked()}});
    return objects;
}

void PutAdvice(Json& object, const Advice& advice)
{
    if (advice.budget == 0 && advice.text.empty() && advice.steps.empty()) return;
    Json& put = object["advice"] = Json::object();
    if (advice.budget != 0) put["budget_words"] = advice.budget;
    if (!advice.text.empty()) {
        put["text"] = advice.text;
        put["repaired"] = advice.repair;
        for (const double usec : advice.movedUsec) put["moved_us"].push_back(Figure(usec));
    }
    if (!advice.steps.empty()) put["steps"] = StepObjects(advice.steps);
    put["sentences"] = AdviceSentences(advice);
}

Json CommandObject(const ScheduledCommand& command)
{
    Json object{{"channel", command.channel},
                {"sent_ms", command.sentMsec},
                {"due_ms", command.dueMsec},
                {"cycles", command.cycles}};
    if (command.cyclesLeft >= 0)
        object["cycles_left"] = command.cyclesLeft;
    else
        object["continuous"] = true;
    object["words"] = command.words;
    return object;
}

Json TotalObject(std::size_t commands, const TotalCurrent& total)
{
    return {{"commands", commands},
            {"largest_total_current_ua", Figure(total.magnitude.ua)},
            {"largest_total_current_at_ms", Figure(total.magnitude.atMsec)},
            {"largest_net_current_ua", Figure(total.net.ua)},
            {"largest_net_current_at_ms", Figure(total.net.atMsec)}};
}

Json CurveArray(const std::vector<PicturePoint>& curve)
{
    Json points = Json::array();
    for (const PicturePoint& point : curve)
        points.push_back(Json::array({Figure(point.at), Figure(point.currentUa)}));
    return points;
}

Json TickArray(const std::vector<PictureTick>& ticks)
{
    Json array = Json::array();
    for (const PictureTick& tick : ticks) array.push_back(Json::array({Figure(tick.at), tick.label}));
    return array;
}

Json WordObject(const WordRow& row)
{
    if (row.kind == playback::Kind::Cycles)
        return {{"kind", NameOf(row.kind)}, {"cycles", playback::CyclesOf(row.bits)}};
    return {{"kind", NameOf(row.kind)},        {"duration_steps", row.word.timeSteps},
            {"duration_us", row.durationUsec}, {"current_ua", row.currentUa},
            {"split_us", row.word.splitUsec},  {"in_pulse", row.word.inPulse},
            {"flag_14", row.word.flag14},      {"after_split", row.word.ampAfterSplit}};
}

}  // namespace

std::string ReportJson(const Report& report, std::string_view place)
{
    return ReportJson(report, place, AdviceOn(report));
}

std::string ReportJson(const Report& report, std::string_view place, const Advice& advice,
                       const std::vector<StepRow>& steps)
{
    Json object = Beginning(report, place);
    object["text"] = report.encoding.asked.text;
    object["library_version"] = TARVUTIL_VERSION;
    object["stimulator"] = StimulatorObject(report.stimulator);
    object["encoded"] = report.encoding.Encoded();
    if (report.encoding.Encoded()) {
        PutDeviations(object, report);
    } else {
        PutRefusal(object, report);
        PutAdvice(object, advice);
    }
    if (!steps.empty()) object["steps"] = StepObjects(steps);
    return Line(object);
}

std::string LimitsJson(const Report& report, const Limits& limits)
{
    Json objects = Json::array();
    for (const LimitKind& kind : LimitKinds()) {
        const bool exceeded = std::any_of(report.excesses.begin(), report.excesses.end(),
                                          [&](const Excess& excess) { return excess.limit == kind.limit; });
        std::optional<double> most = limits.most[static_cast<std::size_t>(kind.limit)];
        double value = std::nan("");
        if (report.encoding.Encoded()) {
            most = MostOf(kind, report.stimulator, limits, report.deviations);
            value = kind.value(report.deviations);
        }
        objects.push_back({{"limit", kind.name},
                           {"what", kind.what},
                           {"unit", kind.unit},
                           {"value", Figure(value)},
                           {"most", most ? Figure(*most) : Json()},
                           {"exceeded", exceeded}});
    }
    return Line(objects);
}

std::string WordsJson(const Report& report, std::string_view place)
{
    Json object = Beginning(report, place);
    const Encoding& encoding = report.encoding;
    if (!encoding.Encoded()) return Line(object);
    const StimPattern& pattern = Base(encoding.pattern);
    if (pattern.IsContinuous())
        object["continuous"] = true;
    else
        object["cycles"] = pattern.CycleCount();
    object["time_step_us"] = Number(report.stimulator.timeStepUsec);
    object["amp_step_ua"] = Number(report.stimulator.ampStepUa);
    object["words"] = encoding.words;
    for (const WordRow& row : RowsOf(report.stimulator.Scale(), encoding.words))
        object["content"].push_back(WordObject(row));
    return Line(object);
}

std::string TimelineJson(const Report& report, const Timeline& timeline, std::string_view place)
{
    Json object = Beginning(report, place);
    if (!report.encoding.Encoded()) return Line(object);
    if (timeline.continuous)
        object["continuous"] = true;
    else
        object["cycles"] = timeline.cyclesAsked;
    object["start_ms"] = timeline.startMsec;
    object["blocks"] = Json::array();
    for (const Block& block : timeline.blocks) {
        Json entry{{"sent_ms", block.sentMsec}, {"due_ms", block.dueMsec}, {"cycles", block.cycles}};
        if (!timeline.continuous) entry["cycles_left"] = block.cyclesLeft;
        object["blocks"].push_back(std::move(entry));
    }
    object["cycles_sent"] = timeline.cyclesSent;
    object["complete"] = timeline.Complete();
    object["longest_gap_ms"] = timeline.longestGapMsec;
    return Line(object);
}

std::string CommandJson(const ScheduledCommand& command, std::string_view place)
{
    Json object = AtPlace(place);
    object.update(CommandObject(command));
    return Line(object);
}

std::string TotalJson(std::size_t commands, const TotalCurrent& total)
{
    return Line(TotalObject(commands, total));
}

std::string ScheduleJson(Schedule& schedule, const Host& host, std::optional<std::int64_t> untilMsec)
{
    Json object{{"trains", Json::array()}, {"commands", Json::array()}};
    for (const ScheduledTrain& train : schedule.Trains())
        object["trains"].push_back({{"train", train.number},
                                    {"channel", train.channel},
                                    {"start_ms", train.startMsec},
                                    {"end_ms", Figure(train.endUsec / 1000)},
                                    {"text", schedule.PatternOf(train).text}});
    Json& commands = object["commands"];
    schedule.Play(host, untilMsec, [&commands](const ScheduledCommand& command) {
        Json entry{{"train", command.number}};
        entry.update(CommandObject(command));
        commands.push_back(std::move(entry));
    });
    object["total"] = TotalObject(commands.size(), schedule.Total(untilMsec));
    return Line(object);
}

std::string DesignJson(const Design& design, const std::string& name)
{
    Json object{{"name", name},
                {"pattern", design.report.stimulator.pattern == PatternKind::Plain ? "plain" : "lilly"}};
    if (!design.text.empty()) {
        object["text"] = design.text;
        object["adjusted"] = design.adjusted;
        Json& changes = object["changes"] = Json::array();
        for (const DesignChange& change : design.changes)
            changes.push_back({{"item", NameOf(change.item)},
                               {"asked", Figure(change.asked)},
                               {"got", Figure(change.got)},
                               {"text", Sentence(change)}});
        object["remarks"] = ChangeSentences(design);
        Json& exceeded = object["exceeded"] = Json::array();
        for (const Excess& excess : design.excesses) exceeded.push_back(ExcessObject(excess));
    } else if (design.outOfReach) {
        object["errors"] = Json::array({Sentence(*design.outOfReach)});
        object["reachable"] = Figure(design.outOfReach->reachable);
    } else {
        object["errors"] = RefusalSentences(design.report);
        object["advice"] = AdviceSentences(AdviceOn(design.report));
    }
    return Line(object);
}

std::string StepsJson(const std::vector<StepRow>& rows)
{
    return Line(StepObjects(rows));
}

std::string PictureJson(const Picture& picture)
{
    Json object{{"title", picture.title},
                {"subtitle", picture.subtitle},
                {"notes", picture.notes},
                {"time_axis", picture.timeAxis},
                {"current_axis", picture.currentAxis},
                {"asked_name", picture.askedName},
                {"played_name", picture.playedName},
                {"width", Figure(picture.width)},
                {"low_ua", Figure(picture.lowUa)},
                {"high_ua", Figure(picture.highUa)},
                {"cap_ua", Figure(picture.capUa)},
                {"fine", picture.fine},
                {"asked", CurveArray(picture.asked)},
                {"played", CurveArray(picture.played)},
                {"time_ticks", TickArray(picture.timeTicks)},
                {"current_ticks", TickArray(picture.currentTicks)},
                {"breaks", Json::array()},
                {"breaks_text", picture.breaksText}};
    for (const PictureBreak& gap : picture.breaks)
        object["breaks"].push_back(Json::array({Figure(gap.from), Figure(gap.to), gap.label}));
    return Line(object);
}

std::string SegmentsJson(float timeStepUsec, float ampStepUa, const std::vector<unsigned int>& words,
                         std::string_view place)
{
    const playback::Scale scale{static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)};
    Json object = AtPlace(place);
    const std::vector<std::string> remarks = playback::Remarks(words, scale);
    if (!remarks.empty()) object["warnings"] = remarks;
    object["cycles"] = playback::CyclesOf(words.front());
    object["period_us"] = playback::PeriodUsec(words, scale);
    object["time_step_us"] = Number(timeStepUsec);
    object["amp_step_ua"] = Number(ampStepUa);
    Json& segments = object["segments"] = Json::array();
    for (const playback::Segment& segment : playback::Segments(words, scale))
        segments.push_back({{"start_us", segment.startUsec},
                            {"duration_us", segment.durationUsec},
                            {"current_ua", segment.currentUa},
                            {"kind", playback::NameOf(segment.kind)},
                            {"word", segment.word}});
    return Line(object);
}

std::string ProfileJson(const Profile& profile)
{
    Json object{{"settings", Json::array()}};
    for (const SettingInForce& setting : InForce(profile)) {
        const SettingKind& kind = *setting.kind;
        Json value = SettingText(kind, setting.value);
        if (kind.form == SettingForm::Switch) value = setting.value != 0;
        if (kind.form == SettingForm::Number) value = Figure(setting.value);
        if (kind.form == SettingForm::Count) value = static_cast<std::int64_t>(setting.value);
        object["settings"].push_back({{"option", kind.name},
                                      {std::string("value") + kind.key, std::move(value)},
                                      {"place", setting.place}});
    }
    for (const Loosened& loosened : profile.limits.loosened) object["warnings"].push_back(Sentence(loosened));
    return Line(object);
}

std::string SummaryJson(const Summary& summary)
{
    Json object{
        {"patterns", summary.patterns}, {"within_limits", summary.within}, {"refused", summary.refused}};
    Json& worst = object["worst"] = Json::array();
    for (const LimitKind& kind : LimitKinds()) {
        const Summary::Worst& found = summary.worst[static_cast<std::size_t>(kind.limit)];
        if (!found.place.empty())
            worst.push_back({{"limit", kind.name},
                             {std::string("value") + kind.key, Figure(found.value)},
                             {"place", found.place}});
    }
    return Line(object);
}

std::string ErrorJson(const std::vector<std::string>& errors, std::string_view place)
{
    Json object = AtPlace(place);
    object["errors"] = errors;
    return Line(object);
}

}  // namespace preview
