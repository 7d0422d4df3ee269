#include "Sentences.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <utility>

#include "Hints.h"
#include "NumberFormat.h"
#include "Profile.h"
#include "TimeSteps.h"
#include "Units.h"

namespace preview {
namespace {

std::string Usec(double usec)
{
    return Rounded(usec) + " us";
}

// The pieces as one text, whose memory is asked for once.
std::string Joined(std::initializer_list<std::string_view> pieces)
{
    std::size_t size = 0;
    for (const std::string_view piece : pieces) size += piece.size();
    std::string text;
    text.reserve(size);
    for (const std::string_view piece : pieces) text += piece;
    return text;
}

std::string Ua(float ua)
{
    return Shortest(ua) + " uA";
}

// "later" and "longer" by a time below 0 are "earlier" and "shorter".
std::string By(double usec, const char* more, const char* less)
{
    return Usec(std::fabs(usec)) + " " + (usec < 0 ? less : more);
}

std::string Name(int phase)
{
    return "phase " + std::to_string(phase);
}

std::string Quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

std::string DriftSentence(const Finding& finding, const char* what)
{
    constexpr double Noise = 1e-3;
    std::string text = Name(finding.phase);
    if (finding.phases > 1) text += " and " + std::to_string(finding.phases - 1) + " more";
    text += std::string(": ") + what + "; in total " + By(finding.usec, "longer", "shorter");
    if (std::fabs(finding.largestUsec) > std::fabs(finding.usec) + Noise)
        text += ", up to " + Usec(finding.largestUsec) + " in between";
    return text;
}

std::string AmplitudeSentence(const Report& report, const Finding& finding)
{
    const PhaseDeviation& p = report.deviations.phases[static_cast<std::size_t>(finding.phase)];
    const double ampStep = report.stimulator.Scale().ampStepUa;
    const double playedUa = static_cast<double>(p.balanced.amp) + finding.ampUa;
    return Ua(p.balanced.amp) + " is " +
           Shortest(TarvUtil::Internal::AmplitudeSteps(p.balanced.amp, report.stimulator.ampStepUa)) +
           " amplitude steps; its words have " + Rounded(playedUa / ampStep) +
           (finding.cause == Cause::AmplitudeCeiling ? ", the limit of a word: " : ": ") +
           Ua(static_cast<float>(playedUa));
}

std::string SplitSentence(const Report& report, const Finding& finding)
{
    const TracedPhase& traced = report.encoding.trace.phases[static_cast<std::size_t>(finding.phase)];
    const SharedStep& step = finding.atEnd ? traced.tail : traced.junction;
    const playback::Word word = playback::Unpack(report.encoding.words[step.word]);
    std::string text = "word " + std::to_string(step.word) + " has a split point of " +
                       std::to_string(word.splitUsec) + " us with the current " +
                       (word.ampAfterSplit ? "after" : "before") + " it, because " +
                       std::to_string(step.splitUsec) + " us does not fit five bits; the phase " +
                       (finding.atEnd ? "ends " : "starts ") + By(step.errorUsec, "later", "earlier");
    if (step.lengthenedUsec > 0) text += ", the cycle is " + Usec(step.lengthenedUsec) + " longer";
    return text;
}

std::string CyclesSentence(const Deviations& deviations)
{
    const AskedPlayed& cycles = deviations.cycles;
    if (std::isinf(cycles.played))
        return "the cycles are played without end" +
               (std::isinf(cycles.asked) ? std::string() : ", not " + Rounded(cycles.asked) + " of them");
    const std::string played = Rounded(cycles.played);
    constexpr int Billionths = 9;
    std::string asked = Rounded(cycles.asked);
    if (asked == played) asked = Rounded(cycles.asked, Billionths);
    const char* are = cycles.played == 1 ? " is played" : " are played";
    if (cycles.asked > cycles.played) return Joined({played, " of ", asked, " cycles", are});
    return Joined({played, cycles.played == 1 ? " cycle" : " cycles", are, ", not ", asked});
}

// The change of the train's length, if the train ends.
std::string TrainSentence(const AskedPlayed& trainMsec)
{
    if (!std::isfinite(trainMsec.Error())) return {};
    const char* change = trainMsec.Error() < 0 ? " ms shorter" : " ms longer";
    return Joined({"; the train is ", Rounded(std::fabs(trainMsec.Error())), change});
}

// The effect of the cause on the phase.
std::string PhaseSentence(const Report& report, const Finding& finding)
{
    const PhaseDeviation& p = report.deviations.phases[static_cast<std::size_t>(finding.phase)];
    switch (finding.cause) {
        case Cause::AmplitudeRead:
            return Ua(static_cast<float>(p.asked.ampUa)) + " is read as " + Ua(p.read.amp);
        case Cause::Clamped:
            return Ua(p.read.amp) + " is clamped to " + Ua(p.clamped.amp);
        case Cause::Balanced:
            return PhaseListText({p.clamped}) + " becomes " + PhaseListText({p.balanced}) +
                   " because of the balance mode";
        case Cause::AmplitudeCut:
        case Cause::AmplitudeCeiling:
            return AmplitudeSentence(report, finding);
        case Cause::SplitLost:
            return SplitSentence(report, finding);
        case Cause::SplitCut:
            return (finding.atEnd ? "ends " : "starts ") + Usec(-finding.usec) +
                   " earlier, at a split point of whole microseconds";
        case Cause::NextCurrent:
            return "its current is also played for " + Usec(-finding.usec) + " of " +
                   NameOfPhase(Base(report.encoding.pattern).Phases(), finding.phase - 1) +
                   ", which shares a time step with it";
        default:  // Cause::TailWord
            return "ends within a time step; the rest of it makes the cycle " + Usec(finding.usec) +
                   " longer";
    }
}

bool IsBalanceFinding(const Finding& finding)
{
    return finding.cause == Cause::BalanceMode || finding.cause == Cause::NotBalanced;
}

std::pair<const char*, const char*> NameAndUnit(Total::Item item)
{
    switch (item) {
        case Total::Start:
            return {"the start", " us"};
        case Total::Period:
            return {"the period", " us"};
        case Total::Frequency:
            return {"the rate", " Hz"};
        case Total::PositiveCharge:
            return {"the positive charge per cycle", " nC"};
        case Total::NegativeCharge:
            return {"the negative charge per cycle", " nC"};
        case Total::NetCharge:
            return {"the net charge per cycle", " nC"};
        case Total::Amplitude:
            break;
    }
    return {"the amplitude", " uA"};
}

std::string BalanceModeSentence(const Deviations& deviations)
{
    return "the text asks for balance mode " + Rounded(deviations.balanceMode.asked) + "; mode " +
           Rounded(deviations.balanceMode.played) + " is used";
}

// --- Texts ---

std::string NumberSentence(const Asked& asked, const Irregularity& irregularity)
{
    const std::string item = Quoted(asked.At(irregularity.item));
    if (irregularity.kind == Irregular::NotFinite) return item + ": beyond the range of single precision";
    return item + (irregularity.phase < 0 ? ": neither a number nor inf" : ": not a number");
}

std::string FieldSentence(const Asked& asked, const Irregularity& irregularity)
{
    const std::string item = Quoted(asked.At(irregularity.item));
    switch (irregularity.kind) {
        case Irregular::FieldMissing:
            return "missing: a text is Head:(length,amplitude)...:DurationMsec=[milliseconds]";
        case Irregular::FieldEmpty:
            return "empty";
        case Irregular::FieldExtra:
            return item + ": no field follows here";
        case Irregular::FieldName:
            return item + (irregularity.field == 3 ? ": a train is given as DurationMsec, in milliseconds"
                                                   : ": a balance mode is given as ChargeBalanceIdx");
        case Irregular::FieldForm:
            return item + ": a field is name=[value]";
        case Irregular::BalanceNotTaken:
            return item + ": a plain pattern has no balance mode";
        case Irregular::BalanceMode:
            return item + ": a balance mode is 0, 1, 2, 3 or 4";
        case Irregular::HeadMissing:
            return "the head is missing: put a name and a colon in front, as in Head:(200,-60)...";
        case Irregular::HeadNotUtf8:
            return "the head is not valid UTF-8";
        default:
            return NumberSentence(asked, irregularity);
    }
}

// All that are stored, and the number of further ones.
std::vector<std::string> IrregularitySentences(const Asked& asked)
{
    std::vector<std::string> sentences;
    for (const Irregularity& irregularity : asked.irregularities)
        sentences.push_back(Sentence(asked, irregularity));
    if (asked.irregular > asked.irregularities.size())
        sentences.push_back("and " + std::to_string(asked.irregular - asked.irregularities.size()) + " more");
    return sentences;
}

// --- Refusals ---

std::string OverBudget(const Refusal& refusal)
{
    const bool writer = refusal.reason == RefusalReason::WordsOverBudget;
    std::string text = "the phases need " +
                       std::to_string(writer ? refusal.writtenWords : refusal.validationWords) +
                       " words besides word 0, the budget leaves " + std::to_string(refusal.budgetWords);
    if (!writer && refusal.writtenWords >= 0 && refusal.writtenWords != refusal.validationWords)
        text += "; validation counts these, though only " + std::to_string(refusal.writtenWords) +
                " would be written";
    return text;
}

std::string ReasonSentence(const Refusal& refusal)
{
    const auto failing = [&] { return NameOfPhase(refusal.phases, refusal.failing); };
    switch (refusal.reason) {
        case RefusalReason::NoPhases:
            return "the phase-list field has no phase";
        case RefusalReason::NegativeLength:
            return failing() + ": the length is below 0";
        case RefusalReason::MeetsCurrent:
            return failing() + " does not fit the time steps: it carries current within the time step that " +
                   NameOfPhase(refusal.phases, refusal.meets) + " leaves unfinished";
        case RefusalReason::EndsInStep:
            return failing() +
                   " does not fit the time steps: it carries current and ends within the time step that " +
                   NameOfPhase(refusal.phases, refusal.meets) + " leaves unfinished";
        case RefusalReason::NotFinished:
            return failing() + " is too short to finish the time step that " +
                   NameOfPhase(refusal.phases, refusal.meets) + " began";
        case RefusalReason::NotBalanced:
            return "the balance mode needs the five phases of a Lilly pattern";
        default:
            return OverBudget(refusal);
    }
}

}  // namespace

std::string Sentence(const Stimulator& stimulator, StimulatorValue unusable)
{
    switch (unusable) {
        case StimulatorValue::TimeStep:
            return "time step: " + Shortest(stimulator.timeStepUsec) + " us is not a finite number above 0";
        case StimulatorValue::AmpStep:
            return "amplitude step: " + Shortest(stimulator.ampStepUa) + " uA is not a finite number above 0";
        case StimulatorValue::AmpMax:
            return "largest amplitude: " + Shortest(*stimulator.ampMaxUa) +
                   " uA is not a finite number, 0 or above";
        case StimulatorValue::Budget:
            break;
    }
    return "budget: " + std::to_string(stimulator.budget) + " words is not within 1 to " +
           std::to_string(StimPattern::MaxWords);
}

namespace {

std::string PlainSentence(const Asked& asked, const Irregularity& irregularity)
{
    const std::string item = Quoted(asked.At(irregularity.item));
    switch (irregularity.kind) {
        case Irregular::ControlCharacter:
            return "byte " + std::to_string(irregularity.item.begin + 1) + " is a control character";
        case Irregular::PhaseCount:
            return std::to_string(asked.phases.size()) + (asked.phases.size() == 1 ? " phase" : " phases") +
                   ": a Lilly pattern has 5, a plain pattern takes any number";
        case Irregular::BlankAfterPhases:
            return "field 2: a blank after the last \")\"";
        case Irregular::PhaseForm:
            return Name(irregularity.phase) + ": " + item + ": a phase is (length,amplitude)";
        default:
            break;
    }
    if (irregularity.phase >= 0) return Name(irregularity.phase) + ": " + NumberSentence(asked, irregularity);
    return "field " + std::to_string(irregularity.field) + ": " + FieldSentence(asked, irregularity);
}

}  // namespace

std::string Sentence(const Asked& asked, const Irregularity& irregularity)
{
    const std::string hint = HintOn(asked, irregularity);
    return PlainSentence(asked, irregularity) + (hint.empty() ? hint : " (" + hint + ")");
}

std::string Sentence(const Report& report, const Finding& finding)
{
    const Deviations& d = report.deviations;
    switch (finding.cause) {
        case Cause::LengthRead:
            return DriftSentence(finding, "the reader rounds lengths to whole microseconds");
        case Cause::LeftoversDropped:
            return DriftSentence(finding, "a leftover of at most half a microsecond is dropped");
        case Cause::CountsRoundedUp:
            return DriftSentence(finding,
                                 "a phase that ends just before the end of a time step gets the whole step");
        case Cause::CyclesRounded:
            return Joined({CyclesSentence(d), ": a train of ", Rounded(d.trainMsec.asked),
                           " ms in periods of ", Rounded(d.periodUsec.asked), " us",
                           TrainSentence(d.trainMsec)});
        case Cause::BalanceMode:
            return BalanceModeSentence(d);
        case Cause::NotBalanced:
            return "balance mode " + Rounded(d.balanceMode.played) +
                   " is set, but phase 3 does not balance phase 1";
        case Cause::ForeignWords:
            return "the words are not those of the phases";
        default:
            return Name(finding.phase) + ": " + PhaseSentence(report, finding);
    }
}

std::string Sentence(const std::vector<Total>& totals, const std::vector<std::string>& names)
{
    constexpr int Millionths = 6;
    std::string text;
    for (const Total& total : totals) {
        const auto [what, unit] = NameAndUnit(total.item);
        std::string asked = Rounded(total.value.asked);
        std::string played = Rounded(total.value.played);
        if (asked == played) {
            asked = Rounded(total.value.asked, Millionths);
            played = Rounded(total.value.played, Millionths);
        }
        text += text.empty() ? "as a whole: " : "; ";
        text += what;
        if (total.phase >= 0)
            text +=
                " of " + (names.empty() ? Name(total.phase) : names[static_cast<std::size_t>(total.phase)]);
        text += " is " + played + unit + ", not " + asked;
    }
    return text;
}

std::vector<std::string> DeviationSentences(const Report& report, bool largestFirst)
{
    std::vector<std::string> sentences;
    std::vector<Finding> sorted;
    if (largestFirst) {
        sorted = report.deviations.findings;
        std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
            return std::fabs(a.largestUsec) > std::fabs(b.largestUsec);
        });
    }
    for (const Finding& finding : largestFirst ? sorted : report.deviations.findings)
        // The library warns of the amplitudes that it rounds.
        if (finding.cause != Cause::AmplitudeRead && !IsBalanceFinding(finding) &&
            finding.Notable(report.stimulator))
            sentences.push_back(Sentence(report, finding));
    const std::vector<Total> totals = NotableTotals(report.stimulator, report.deviations);
    if (!totals.empty()) sentences.push_back(Sentence(totals));
    return sentences;
}

const char* KSentence()
{
    return "k was fitted to electrodes on cat cortex (McCreery 1990, doi:10.1109/10.102812); microelectrodes "
           "do not follow it (Cogan 2016, doi:10.1088/1741-2560/13/2/021001)";
}

namespace {

bool IsOfCharge(Limit limit)
{
    return limit == Limit::PhaseCharge || limit == Limit::Density || limit == Limit::K;
}

}  // namespace

std::string Sentence(const Excess& excess)
{
    constexpr int Decimals = 6;  // a limit may be exceeded by little
    const LimitKind& kind = KindOf(excess.limit);
    const auto text = [&kind](double value) {
        return Rounded(value, Decimals) + (*kind.unit == '\0' ? "" : std::string(" ") + kind.unit);
    };
    const std::string value = std::isinf(excess.value) && IsOfCharge(kind.limit)
                                  ? "the current never pauses or changes its sign"
                                  : text(excess.value);
    return std::string(kind.name) + " exceeded: " + value + ", the limit is " + text(excess.most);
}

std::vector<std::string> ExcessSentences(const std::vector<Excess>& excesses)
{
    std::vector<std::string> sentences;
    sentences.reserve(excesses.size() + 1);
    for (const Excess& excess : excesses) sentences.push_back(Sentence(excess));
    const auto isOfK = [](const Excess& excess) { return excess.limit == Limit::K; };
    if (std::any_of(excesses.begin(), excesses.end(), isOfK)) sentences.emplace_back(KSentence());
    return sentences;
}

std::string Sentence(const TotalCurrent& total, double mostUa)
{
    return "max-total-current exceeded: " + Rounded(total.magnitude.ua) + " uA at " +
           Rounded(total.magnitude.atMsec) + " ms, the limit is " + Rounded(mostUa) + " uA";
}

std::string Sentence(const Loosened& loosened)
{
    const SettingKind& kind = SettingKinds()[loosened.setting];
    return std::string(kind.name) + " " + TextWithUnit(kind, loosened.value) + " is less strict than the " +
           TextWithUnit(kind, loosened.strict) + " of " + loosened.place;
}

std::string Sentence(const Summary& summary)
{
    std::string text = std::to_string(summary.patterns) + " patterns, " + std::to_string(summary.within) +
                       " within the limits, " + std::to_string(summary.refused) + " refused";
    const char* separator = "; largest ";
    for (const LimitKind& kind : LimitKinds()) {
        const Summary::Worst& worst = summary.worst[static_cast<std::size_t>(kind.limit)];
        if (worst.place.empty() || Rounded(worst.value) == "0") continue;
        text += separator + std::string(kind.what) + ": " + Rounded(worst.value) +
                (*kind.unit == '\0' ? "" : std::string(" ") + kind.unit) + " (" + worst.place + ")";
        separator = ", ";
    }
    if (!summary.worst[static_cast<std::size_t>(Limit::K)].place.empty())
        text += "; " + std::string(KSentence());
    return text;
}

std::vector<std::string> RefusalSentences(const Report& report)
{
    const Encoding& encoding = report.encoding;
    std::vector<std::string> sentences = encoding.errors;
    if (!encoding.refusal || encoding.refusal->reason == RefusalReason::NotRead) return sentences;
    if (encoding.refusal->reason != RefusalReason::Irregular) {
        sentences.push_back(ReasonSentence(*encoding.refusal));
        return sentences;
    }
    return IrregularitySentences(encoding.asked);
}

std::string Sentence(const Overlap& overlap, const char* numbered)
{
    const auto& [earlier, later] = overlap;
    return "channel " + std::to_string(later.channel) + " still plays the train of " + numbered + " " +
           std::to_string(earlier.number) +
           (std::isinf(earlier.endUsec) ? ", which has no end"
                                        : " until " + Rounded(earlier.endUsec / UsecPerMsec) + " ms") +
           ", when that of " + numbered + " " + std::to_string(later.number) + " starts at " +
           std::to_string(later.startMsec) + " ms";
}

std::vector<std::string> IrregularityWarnings(const Report& report)
{
    const std::optional<Refusal>& refusal = report.encoding.refusal;
    if (refusal && refusal->reason == RefusalReason::Irregular) return {};
    return IrregularitySentences(report.encoding.asked);
}

std::vector<std::string> WarningSentences(const Report& report)
{
    std::vector<std::string> sentences = IrregularityWarnings(report);
    for (const Loosened& loosened : report.limits.loosened) sentences.push_back(Sentence(loosened));
    if (!report.encoding.Encoded()) return sentences;
    for (const Finding& finding : report.deviations.findings)
        if (IsBalanceFinding(finding)) sentences.push_back(Sentence(report, finding));
    return sentences;
}

std::string MeetingSentence(const Refusal& refusal)
{
    if (refusal.meets < 0) return {};
    return Name(refusal.failing) + " meets " + Rounded(refusal.carriedUsec) + " us of a time step that " +
           Name(refusal.meets) + " has begun";
}

std::string FirstCommandSentence(const Encoding& encoding)
{
    const StimPattern& pattern = Base(encoding.pattern);
    const int counted = playback::CyclesOf(encoding.words[0]);
    const int cycles = pattern.CycleCount();
    if (counted >= cycles || pattern.IsContinuous()) return {};
    return "word 0 counts " + std::to_string(counted) + " of " + std::to_string(cycles) +
           " cycles; play prints the commands for the others";
}

std::string LateBlockSentence(const Timeline& timeline, const Host& host)
{
    return "with a poll every " + std::to_string(host.pollMsec) + " ms, a block comes up to " +
           Rounded(timeline.longestGapMsec) + " ms after the one before has ended";
}

std::string CutSentence(const ScheduledTrain& train, std::int64_t untilMsec)
{
    if (train.startMsec >= untilMsec)
        return "left out: it starts at " + std::to_string(train.startMsec) + " ms";
    if (!(train.endUsec > static_cast<double>(untilMsec) * UsecPerMsec)) return {};
    return "cut: its words play longer; the host must stop channel " + std::to_string(train.channel) +
           " at " + std::to_string(untilMsec) + " ms";
}

std::string RepairSentence(const Refusal& refusal)
{
    if (!refusal.repairs) return {};
    return "Repaired, the list would be " + PhaseListText(refusal.repaired) + ", which " +
           (refusal.repairFits ? "fits" : "does not fit either");
}

std::string PhaseListText(const std::vector<phase>& phases)
{
    std::string text;
    for (const phase& p : phases) {
        text += '(';
        AppendShortest(text, p.len);
        text += ',';
        AppendShortest(text, p.amp);
        text += ')';
    }
    return text;
}

std::string NameOfPhase(const std::vector<phase>& phases, int index)
{
    if (index < 0 || index >= static_cast<int>(phases.size())) return "an earlier phase";
    const phase& p = phases[static_cast<std::size_t>(index)];
    return Name(index) + " (" + Shortest(p.len) + " us, " + Shortest(p.amp) + " uA)";
}

}  // namespace preview
