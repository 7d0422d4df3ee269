#include "Json.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "JsonWriter.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "Units.h"
#include "WordRows.h"

namespace preview {
namespace {

// What write puts into a writer.
template <typename Write>
std::string Written(Write write)
{
    std::string text;
    {
        JsonWriter json(text);
        write(json);
    }
    return text;
}

// The object whose pairs write puts into a writer.
template <typename Write>
std::string ObjectOf(Write write)
{
    return Written([&](JsonWriter& json) {
        json.Open('{');
        write(json);
        json.Close('}');
    });
}

// A value, or null.
template <typename Value>
auto OrNull(JsonWriter& json, bool known, Value value)
{
    return [&json, known, value] { known ? json.Value(value) : json.Value(nullptr); };
}

auto PhaseNumber(JsonWriter& json, int phase)
{
    return OrNull(json, phase >= 0, phase);
}

// items as an array of what write(item) writes for each.
template <typename Items, typename Write>
auto ArrayOf(JsonWriter& json, const Items& items, Write write)
{
    return [&json, &items, write] { json.Array(items, write); };
}

template <typename Items>
auto ArrayOf(JsonWriter& json, const Items& items)
{
    return [&json, &items] { json.Array(items); };
}

void PutPlace(JsonWriter& json, std::string_view place)
{
    if (!place.empty()) json.Pairs("place", place);
}

// What every object about a specification string begins with.
void PutBeginning(JsonWriter& json, const Report& report, std::string_view place)
{
    PutPlace(json, place);
    const std::vector<std::string> errors = RefusalSentences(report);
    if (!errors.empty()) json.Pairs("errors", ArrayOf(json, errors));
    std::vector<std::string> warnings = report.encoding.warnings;
    for (std::string& sentence : WarningSentences(report)) warnings.push_back(std::move(sentence));
    if (!warnings.empty()) json.Pairs("warnings", ArrayOf(json, warnings));
}

auto Stage(JsonWriter& json, const phase& p)
{
    return [&json, &p] { json.Object("length_us", p.len, "amplitude_ua", p.amp); };
}

void WritePhase(JsonWriter& json, const PhaseDeviation& p)
{
    json.Open('{');
    json.Pairs("start_asked_us", Figure{p.startUsec.asked}, "start_played_us", Figure{p.startUsec.played},
               "start_error_us", Figure{p.startUsec.Error()}, "gained_us", Figure{p.gainedUsec}, "asked",
               [&] { json.Object("length_us", p.asked.lenUsec, "amplitude_ua", p.asked.ampUa); });
    if (p.ReadChanges()) json.Pairs("read", Stage(json, p.read));
    if (p.ClampChanges()) json.Pairs("clamped", Stage(json, p.clamped));
    if (p.BalanceChanges()) json.Pairs("balanced", Stage(json, p.balanced));
    json.Pairs("played", [&] {
        json.Object("length_us", Figure{p.played.lenUsec}, "amplitude_ua", Figure{p.played.ampUa});
    });
    json.Close('}');
}

void WriteFinding(JsonWriter& json, const Report& report, const Finding& finding)
{
    json.Object("cause", NameOf(finding.cause), "phase", PhaseNumber(json, finding.phase), "phases",
                finding.phases, "by_us", Figure{finding.usec}, "largest_us", Figure{finding.largestUsec},
                "by_ua", Figure{finding.ampUa}, "notable", finding.Notable(report.stimulator), "text",
                Sentence(report, finding));
}

// For what the words are made.
void WriteStimulator(JsonWriter& json, const Stimulator& s)
{
    json.Object("pattern", s.pattern == PatternKind::Plain ? "plain" : "lilly", "time_step_us",
                s.timeStepUsec, "amp_step_ua", s.ampStepUa, "amp_max_ua", s.AmpMaxUa(), "budget_words",
                s.budget);
}

// The limits that are given.
void WriteLimits(JsonWriter& json, const Limits& limits)
{
    json.Open('[');
    for (const LimitKind& kind : LimitKinds())
        if (const std::optional<double>& most = limits.Most(kind.limit))
            json.Object("limit", kind.name, std::string("limit") + kind.key, Figure{*most});
    if (limits.exact) json.Object("limit", "exact");
    json.Close(']');
}

void WriteExcess(JsonWriter& json, const Excess& excess)
{
    const LimitKind& kind = KindOf(excess.limit);
    json.Object("limit", kind.name, std::string("value") + kind.key, Figure{excess.value},
                std::string("limit") + kind.key, Figure{excess.most}, "text", Sentence(excess));
}

// The error of the period is between its value and that of the frequency.
void PutTimes(JsonWriter& json, const Deviations& d)
{
    json.Pairs("period_asked_us", Figure{d.periodUsec.asked}, "period_played_us", Figure{d.periodUsec.played},
               "period_error_us", Figure{d.periodUsec.Error()}, "frequency_asked_hz",
               Figure{d.frequencyHz.asked}, "frequency_played_hz", Figure{d.frequencyHz.played},
               "cycles_asked", Figure{d.cycles.asked}, "cycles_played", Figure{d.cycles.played},
               "train_asked_ms", Figure{d.trainMsec.asked}, "train_played_ms", Figure{d.trainMsec.played});
}

void PutCharge(JsonWriter& json, const Deviations& deviations)
{
    const playback::Charge& asked = deviations.askedNc;
    const playback::Charge& played = deviations.playedNc;
    const AskedPlayed train = deviations.TrainNetNc();
    json.Pairs("positive_charge_asked_nc", Figure{asked.positiveNc}, "positive_charge_played_nc",
               Figure{played.positiveNc}, "negative_charge_asked_nc", Figure{asked.negativeNc},
               "negative_charge_played_nc", Figure{played.negativeNc}, "net_charge_asked_nc",
               Figure{asked.NetNc()}, "net_charge_played_nc", Figure{played.NetNc()},
               "train_net_charge_asked_nc", Figure{train.asked}, "train_net_charge_played_nc",
               Figure{train.played});
}

void WritePhaseOfCurrent(JsonWriter& json, const CurrentPhase& phase, const std::optional<double>& area)
{
    json.Open('{');
    json.Pairs("start_us", Figure{phase.startUsec}, "duration_us", Figure{phase.durationUsec}, "charge_nc",
               Figure{phase.chargeNc});
    if (area)
        json.Pairs("density_uc_per_cm2", Figure{phase.DensityUcPerCm2(*area)}, "k", Figure{phase.K(*area)});
    json.Close('}');
}

// What is played, by the figures of docs/limits.md.
void WriteCurrent(JsonWriter& json, const Deviations& deviations)
{
    const CurrentFigures& current = deviations.current;
    const std::optional<double>& area = deviations.areaCm2;
    json.Open('{');
    json.Pairs("duty_pct", Figure{current.DutyPct()}, "pulses", current.pulses, "pulse_distance_us",
               Figure{current.nearestUsec}, "pulse_rate_hz", Figure{current.NearestHz()}, "rms_ua",
               Figure{current.rmsUa}, "direct_current_na", Figure{current.DirectCurrentNa()},
               "phase_charge_nc", Figure{current.LargestChargeNc()});
    if (area)
        json.Pairs("area_cm2", *area, "density_uc_per_cm2", Figure{current.LargestDensityUcPerCm2(*area)},
                   "k", Figure{current.LargestK(*area)}, "k_caveat", KSentence());
    json.Pairs("phases_of_current", ArrayOf(json, current.phases, [&](const CurrentPhase& phase) {
                   WritePhaseOfCurrent(json, phase, area);
               }));
    json.Close('}');
}

void PutDeviations(JsonWriter& json, const Report& report)
{
    const Deviations& deviations = report.deviations;
    json.Pairs("words", report.encoding.words.size(), "command_words", ArrayOf(json, report.encoding.words),
               "budget_words", report.stimulator.budget, "continuous", std::isinf(deviations.cycles.played));
    PutTimes(json, deviations);
    PutCharge(json, deviations);
    json.Pairs("current", [&] { WriteCurrent(json, deviations); });
    json.Pairs("largest_error_us", Figure{deviations.LargestErrorUsec()}, "largest_error_phase",
               PhaseNumber(json, deviations.LargestError()));
    json.Pairs("limits", [&] { WriteLimits(json, report.limits); });
    json.Pairs("exceeded",
               ArrayOf(json, report.excesses, [&](const Excess& excess) { WriteExcess(json, excess); }));
    json.Pairs("phases",
               ArrayOf(json, deviations.phases, [&](const PhaseDeviation& p) { WritePhase(json, p); }));
    json.Pairs("deviations", ArrayOf(json, deviations.findings,
                                     [&](const Finding& finding) { WriteFinding(json, report, finding); }));
}

void PutRefusal(JsonWriter& json, const Report& report)
{
    const Refusal& refusal = *report.encoding.refusal;
    const std::vector<std::string> sentences = RefusalSentences(report);
    json.Pairs("refusal", [&] {
        json.Object("text", sentences.empty() ? std::string() : sentences.back(), "phase",
                    PhaseNumber(json, refusal.failing), "meets_phase", PhaseNumber(json, refusal.meets),
                    "carried_us", OrNull(json, refusal.meets >= 0, Figure{refusal.carriedUsec}),
                    "budget_words", OrNull(json, !refusal.phases.empty(), refusal.budgetWords),
                    "validation_words", OrNull(json, refusal.validationWords >= 0, refusal.validationWords),
                    "written_words", OrNull(json, refusal.writtenWords >= 0, refusal.writtenWords));
    });
    if (!refusal.repairs) return;
    json.Pairs("adjusted", [&] {
        json.Object("fits", refusal.repairFits, "phases",
                    ArrayOf(json, refusal.repaired, [&](const phase& p) { Stage(json, p)(); }), "text",
                    PhaseListText(refusal.repaired));
    });
}

auto Steps(JsonWriter& json, const std::vector<StepRow>& rows)
{
    return ArrayOf(json, rows, [&json](const StepRow& row) {
        const auto orNull = [&](auto value) { return OrNull(json, row.words != 0, value); };
        json.Object("time_step_us", row.timeStepUsec, "words", orNull(row.words), "largest_error_us",
                    orNull(Figure{row.largestErrorUsec}), "period_error_us",
                    orNull(Figure{row.periodErrorUsec}), "net_charge_nc", orNull(Figure{row.netChargeNc}),
                    "as_asked", row.AsAsked());
    });
}

void PutAdvice(JsonWriter& json, const Advice& advice)
{
    if (advice.budget == 0 && advice.text.empty() && advice.steps.empty()) return;
    const std::vector<std::string> sentences = AdviceSentences(advice);
    json.Pairs("advice", [&] {
        json.Open('{');
        if (advice.budget != 0) json.Pairs("budget_words", advice.budget);
        if (!advice.text.empty()) json.Pairs("text", advice.text, "repaired", advice.repair);
        if (!advice.text.empty() && !advice.movedUsec.empty())
            json.Pairs("moved_us",
                       ArrayOf(json, advice.movedUsec, [&](double usec) { json.Value(Figure{usec}); }));
        if (!advice.steps.empty()) json.Pairs("steps", Steps(json, advice.steps));
        json.Pairs("sentences", ArrayOf(json, sentences));
        json.Close('}');
    });
}

void PutCommand(JsonWriter& json, const ScheduledCommand& command)
{
    json.Pairs("channel", command.channel, "sent_ms", command.sentMsec, "due_ms", command.dueMsec, "cycles",
               command.cycles);
    if (command.cyclesLeft >= 0)
        json.Pairs("cycles_left", command.cyclesLeft);
    else
        json.Pairs("continuous", true);
    json.Pairs("words", ArrayOf(json, command.words));
}

void WriteTotal(JsonWriter& json, std::size_t commands, const TotalCurrent& total)
{
    json.Object("commands", commands, "largest_total_current_ua", Figure{total.magnitude.ua},
                "largest_total_current_at_ms", Figure{total.magnitude.atMsec}, "largest_net_current_ua",
                Figure{total.net.ua}, "largest_net_current_at_ms", Figure{total.net.atMsec});
}

auto Curve(JsonWriter& json, const std::vector<PicturePoint>& curve)
{
    return ArrayOf(json, curve, [&json](const PicturePoint& point) {
        json.Array(std::initializer_list<double>{point.at, point.currentUa},
                   [&](double value) { json.Value(Figure{value}); });
    });
}

// The values of an array that differ in kind.
template <typename... Values>
void WriteTuple(JsonWriter& json, const Values&... values)
{
    json.Open('[');
    (json.Value(values), ...);
    json.Close(']');
}

auto Ticks(JsonWriter& json, const std::vector<PictureTick>& ticks)
{
    return ArrayOf(json, ticks,
                   [&json](const PictureTick& tick) { WriteTuple(json, Figure{tick.at}, tick.label); });
}

void WriteWord(JsonWriter& json, const WordRow& row)
{
    if (row.kind == playback::Kind::Cycles)
        return json.Object("kind", NameOf(row.kind), "cycles", playback::CyclesOf(row.bits));
    json.Object("kind", NameOf(row.kind), "duration_steps", row.word.timeSteps, "duration_us",
                row.durationUsec, "current_ua", row.currentUa, "split_us", row.word.splitUsec, "in_pulse",
                row.word.inPulse, "flag_14", row.word.flag14, "after_split", row.word.ampAfterSplit);
}

// A train of so many cycles, or without end.
void PutCycles(JsonWriter& json, bool continuous, int cycles)
{
    if (continuous)
        json.Pairs("continuous", true);
    else
        json.Pairs("cycles", cycles);
}

}  // namespace

std::string ReportJson(const Report& report, std::string_view place)
{
    return ReportJson(report, place, AdviceOn(report));
}

std::string ReportJson(const Report& report, std::string_view place, const Advice& advice,
                       const std::vector<StepRow>& steps)
{
    return ObjectOf([&](JsonWriter& json) {
        PutBeginning(json, report, place);
        json.Pairs(
            "text", report.encoding.asked.text, "library_version", TARVUTIL_VERSION, "stimulator",
            [&] { WriteStimulator(json, report.stimulator); }, "encoded", report.encoding.Encoded());
        if (report.encoding.Encoded()) {
            PutDeviations(json, report);
        } else {
            PutRefusal(json, report);
            PutAdvice(json, advice);
        }
        if (!steps.empty()) json.Pairs("steps", Steps(json, steps));
    });
}

std::string LimitsJson(const Report& report, const Limits& limits)
{
    return Written([&](JsonWriter& json) {
        json.Array(LimitKinds(), [&](const LimitKind& kind) {
            const bool exceeded =
                std::any_of(report.excesses.begin(), report.excesses.end(),
                            [&](const Excess& excess) { return excess.limit == kind.limit; });
            std::optional<double> most = limits.most[static_cast<std::size_t>(kind.limit)];
            double value = std::nan("");
            if (report.encoding.Encoded()) {
                most = MostOf(kind, report.stimulator, limits, report.deviations);
                value = kind.value(report.deviations);
            }
            json.Object("limit", kind.name, "what", kind.what, "unit", kind.unit, "value", Figure{value},
                        "most", OrNull(json, most.has_value(), Figure{most.value_or(0)}), "exceeded",
                        exceeded);
        });
    });
}

std::string WordsJson(const Report& report, std::string_view place)
{
    return ObjectOf([&](JsonWriter& json) {
        PutBeginning(json, report, place);
        const Encoding& encoding = report.encoding;
        if (!encoding.Encoded()) return;
        const StimPattern& pattern = Base(encoding.pattern);
        PutCycles(json, pattern.IsContinuous(), pattern.CycleCount());
        json.Pairs("time_step_us", report.stimulator.timeStepUsec, "amp_step_ua", report.stimulator.ampStepUa,
                   "words", ArrayOf(json, encoding.words));
        const std::vector<WordRow> rows = RowsOf(report.stimulator.Scale(), encoding.words);
        json.Pairs("content", ArrayOf(json, rows, [&](const WordRow& row) { WriteWord(json, row); }));
    });
}

std::string TimelineJson(const Report& report, const Timeline& timeline, std::string_view place)
{
    return ObjectOf([&](JsonWriter& json) {
        PutBeginning(json, report, place);
        if (!report.encoding.Encoded()) return;
        PutCycles(json, timeline.continuous, timeline.cyclesAsked);
        json.Pairs("start_ms", timeline.startMsec);
        json.Pairs("blocks", ArrayOf(json, timeline.blocks, [&](const Block& block) {
                       json.Open('{');
                       json.Pairs("sent_ms", block.sentMsec, "due_ms", block.dueMsec, "cycles", block.cycles);
                       if (!timeline.continuous) json.Pairs("cycles_left", block.cyclesLeft);
                       json.Close('}');
                   }));
        json.Pairs("cycles_sent", timeline.cyclesSent, "complete", timeline.Complete(), "longest_gap_ms",
                   timeline.longestGapMsec);
    });
}

std::string CommandJson(const ScheduledCommand& command, std::string_view place)
{
    return ObjectOf([&](JsonWriter& json) {
        PutPlace(json, place);
        PutCommand(json, command);
    });
}

std::string TotalJson(std::size_t commands, const TotalCurrent& total)
{
    return Written([&](JsonWriter& json) { WriteTotal(json, commands, total); });
}

std::string ScheduleJson(Schedule& schedule, const Host& host, std::optional<std::int64_t> untilMsec)
{
    const auto writeTrains = [&](JsonWriter& json) {
        json.Array(schedule.Trains(), [&](const ScheduledTrain& train) {
            const std::string cut = untilMsec ? CutSentence(train, *untilMsec) : std::string();
            json.Object("train", train.number, "channel", train.channel, "start_ms", train.startMsec,
                        "end_ms", Figure{train.endUsec / UsecPerMsec}, "text", schedule.PatternOf(train).text,
                        "cut", cut);
        });
    };
    return ObjectOf([&](JsonWriter& json) {
        json.Pairs("trains", [&] { writeTrains(json); });
        std::size_t commands = 0;
        json.Pairs("commands", [&] {
            json.Open('[');
            schedule.Play(host, untilMsec, [&](const ScheduledCommand& command) {
                ++commands;
                json.Open('{');
                json.Pairs("train", command.number);
                PutCommand(json, command);
                json.Close('}');
            });
            json.Close(']');
        });
        json.Pairs("total", [&] { WriteTotal(json, commands, schedule.Total(untilMsec)); });
    });
}

namespace {

void PutDesigned(JsonWriter& json, const Design& design)
{
    const std::vector<std::string> remarks = ChangeSentences(design);
    json.Pairs("text", design.text, "adjusted", design.adjusted);
    json.Pairs("changes", ArrayOf(json, design.changes, [&](const DesignChange& change) {
                   json.Object("item", NameOf(change.item), "asked", Figure{change.asked}, "got",
                               Figure{change.got}, "text", Sentence(change));
               }));
    json.Pairs("remarks", ArrayOf(json, remarks));
    json.Pairs("exceeded",
               ArrayOf(json, design.excesses, [&](const Excess& excess) { WriteExcess(json, excess); }));
}

}  // namespace

std::string DesignJson(const Design& design, const std::string& name)
{
    const bool plain = design.report.stimulator.pattern == PatternKind::Plain;
    return ObjectOf([&](JsonWriter& json) {
        json.Pairs("name", name, "pattern", plain ? "plain" : "lilly");
        if (!design.text.empty()) {
            PutDesigned(json, design);
        } else if (design.outOfReach) {
            json.Pairs(
                "errors", [&] { WriteTuple(json, Sentence(*design.outOfReach)); }, "reachable",
                Figure{design.outOfReach->reachable});
        } else {
            const std::vector<std::string> errors = RefusalSentences(design.report);
            const std::vector<std::string> advice = AdviceSentences(AdviceOn(design.report));
            json.Pairs("errors", ArrayOf(json, errors), "advice", ArrayOf(json, advice));
        }
    });
}

std::string StepsJson(const std::vector<StepRow>& rows)
{
    return Written([&](JsonWriter& json) { json.Value(Steps(json, rows)); });
}

std::string PictureJson(const Picture& picture)
{
    return ObjectOf([&](JsonWriter& json) {
        json.Pairs("title", picture.title, "subtitle", picture.subtitle, "notes",
                   ArrayOf(json, picture.notes), "time_axis", picture.timeAxis, "current_axis",
                   picture.currentAxis, "asked_name", picture.askedName, "played_name", picture.playedName,
                   "width", Figure{picture.width}, "low_ua", Figure{picture.lowUa}, "high_ua",
                   Figure{picture.highUa}, "cap_ua", Figure{picture.capUa}, "fine", picture.fine);
        json.Pairs("asked", Curve(json, picture.asked), "played", Curve(json, picture.played), "time_ticks",
                   Ticks(json, picture.timeTicks), "current_ticks", Ticks(json, picture.currentTicks));
        json.Pairs("breaks", ArrayOf(json, picture.breaks, [&](const PictureBreak& gap) {
                       WriteTuple(json, Figure{gap.from}, Figure{gap.to}, gap.label);
                   }));
        json.Pairs("breaks_text", picture.breaksText);
    });
}

std::string SegmentsJson(float timeStepUsec, float ampStepUa, const std::vector<unsigned int>& words,
                         std::string_view place)
{
    const playback::Scale scale{static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)};
    return ObjectOf([&](JsonWriter& json) {
        PutPlace(json, place);
        const std::vector<std::string> remarks = playback::Remarks(words, scale);
        if (!remarks.empty()) json.Pairs("warnings", ArrayOf(json, remarks));
        json.Pairs("cycles", playback::CyclesOf(words.front()), "period_us",
                   playback::PeriodUsec(words, scale), "time_step_us", timeStepUsec, "amp_step_ua",
                   ampStepUa);
        const std::vector<playback::Segment> segments = playback::Segments(words, scale);
        json.Pairs("segments", ArrayOf(json, segments, [&](const playback::Segment& segment) {
                       json.Object("start_us", segment.startUsec, "duration_us", segment.durationUsec,
                                   "current_ua", segment.currentUa, "kind", playback::NameOf(segment.kind),
                                   "word", segment.word);
                   }));
    });
}

std::string ProfileJson(const Profile& profile)
{
    return ObjectOf([&](JsonWriter& json) {
        const std::vector<SettingInForce> settings = InForce(profile);
        json.Pairs("settings", ArrayOf(json, settings, [&](const SettingInForce& setting) {
                       const SettingKind& kind = *setting.kind;
                       const auto value = [&] {
                           if (kind.form == SettingForm::Switch)
                               json.Value(setting.value != 0);
                           else if (kind.form == SettingForm::Number)
                               json.Value(Figure{setting.value});
                           else if (kind.form == SettingForm::Count)
                               json.Value(static_cast<std::int64_t>(setting.value));
                           else
                               json.Value(SettingText(kind, setting.value));
                       };
                       json.Object("option", kind.name, std::string("value") + kind.key, value, "place",
                                   setting.place);
                   }));
        if (!profile.limits.loosened.empty())
            json.Pairs("warnings", ArrayOf(json, profile.limits.loosened, [&](const Loosened& loosened) {
                           json.Value(Sentence(loosened));
                       }));
    });
}

std::string SummaryJson(const Summary& summary)
{
    return ObjectOf([&](JsonWriter& json) {
        json.Pairs("patterns", summary.patterns, "within_limits", summary.within, "refused", summary.refused);
        json.Pairs("worst", [&] {
            json.Open('[');
            for (const LimitKind& kind : LimitKinds()) {
                const Summary::Worst& found = summary.worst[static_cast<std::size_t>(kind.limit)];
                if (!found.place.empty())
                    json.Object("limit", kind.name, std::string("value") + kind.key, Figure{found.value},
                                "place", found.place);
            }
            json.Close(']');
        });
        if (!summary.worst[static_cast<std::size_t>(Limit::K)].place.empty())
            json.Pairs("k_caveat", KSentence());
    });
}

std::string ErrorJson(const std::vector<std::string>& errors, std::string_view place)
{
    return ObjectOf([&](JsonWriter& json) {
        PutPlace(json, place);
        json.Pairs("errors", ArrayOf(json, errors));
    });
}

}  // namespace preview
