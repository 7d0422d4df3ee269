#include "Encoding.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "SpecificationText.h"

namespace preview {
namespace {

using TarvUtil::Internal::Pieces;

// The reader quotes the whole field for each faulty item. In a very long field this would take the square of its length
// in memory, so only the first faulty item is reported.
constexpr std::size_t LongField = 8192;

std::string FaultyItem(const StimPattern& pattern, std::string_view field, float ampStepUa)
{
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
    Pieces items(field, ')');
    for (std::string_view item; errors.empty() && items.NextNotEmpty(item); warnings.clear())
        pattern.PhasesFromStr(std::string(item), ampStepUa, errors, warnings);
    return errors.empty() ? std::string() : errors.front();
}

// The reader repeats the message on a field for each faulty item, and ends some messages with a line feed.
void Tidy(std::vector<std::string>& messages)
{
    for (std::string& message : messages) message.erase(message.find_last_not_of('\n') + 1);
    messages.erase(std::unique(messages.begin(), messages.end()), messages.end());
}

// Restores the first state of a pattern, except for its counters, and removes its phases. FromString returns true even
// if the pattern refuses the list; without phases this can be detected. A copy of a fresh pattern would copy its whole
// word array.
void MakeEmpty(AnyPattern& pattern)
{
    Base(pattern).ClearPhases();
    if (auto* lilly = std::get_if<LillyPattern>(&pattern)) lilly->SetChargeBalanceMode(0);
}

void Refuse(RefusalReason reason, Encoding& encoding)
{
    encoding.refusal.emplace().reason = reason;
}

void ReadPattern(const Stimulator& stimulator, Encoding& encoding)
{
    StimPattern& pattern = Base(encoding.pattern);
    const std::string_view field = encoding.asked.At(encoding.asked.phaseField);
    if (field.size() > LongField) {
        std::string fault = FaultyItem(pattern, field, stimulator.ampStepUa);
        if (!fault.empty()) {
            encoding.errors.push_back(std::move(fault));
            return Refuse(RefusalReason::NotRead, encoding);
        }
    }
    bool taken = false;
    try {
        taken =
            pattern.FromString(encoding.asked.text, stimulator.ampStepUa, encoding.errors, encoding.warnings);
    } catch (const std::out_of_range&) {
        return Refuse(RefusalReason::NotBalanced, encoding);
    }
    Tidy(encoding.errors);
    Tidy(encoding.warnings);
    if (!taken)
        return Refuse(encoding.errors.empty() ? RefusalReason::NoPhases : RefusalReason::NotRead, encoding);
    if (pattern.PhaseCount() == 0) encoding.refusal = RefusalOf(stimulator, PhasesRead(stimulator, encoding));
}

void EncodePattern(const Stimulator& stimulator, Encoding& encoding)
{
    StimPattern& pattern = Base(encoding.pattern);
    unsigned int words[StimPattern::MaxWords];
    encoding.words.assign(words, words + std::max(pattern.WordArray(words, 0), 0));
    if (!encoding.Encoded()) encoding.refusal = RefusalOf(stimulator, pattern.Phases());
}

void Clear(Encoding& encoding)
{
    encoding.errors.clear();
    encoding.warnings.clear();
    encoding.words.clear();
    encoding.refusal.reset();
}

Asked AskedOf(AnyPattern pattern)
{
    constexpr std::string_view Head = "Pattern";
    StimPattern& base = Base(pattern);
    Asked asked;
    asked.text.append(Head).append(":").append(base.ToString());
    asked.head = {0, Head.size()};
    for (const phase& p : base.Phases())
        asked.phases.push_back({static_cast<double>(p.len), static_cast<double>(p.amp)});
    asked.trainMsec = base.IsContinuous() ? std::numeric_limits<double>::infinity()
                                          : static_cast<double>(base.TrainLength());
    if (const auto* lilly = std::get_if<LillyPattern>(&pattern)) asked.balanceMode = lilly->BalanceMode();
    return asked;
}

}  // namespace

void Encode(const Stimulator& stimulator, std::string_view text, Reading reading, Encoding& encoding)
{
    Clear(encoding);
    ReadAsked(text, stimulator.pattern, encoding.asked);
    MakeEmpty(encoding.pattern);
    if (reading == Reading::Strict && encoding.asked.irregular != 0)
        Refuse(RefusalReason::Irregular, encoding);
    else
        ReadPattern(stimulator, encoding);
    if (!encoding.refusal) EncodePattern(stimulator, encoding);
}

void Encode(const Stimulator& stimulator, const AnyPattern& pattern, Encoding& encoding)
{
    Clear(encoding);
    encoding.asked = AskedOf(pattern);
    encoding.pattern = pattern;
    if (encoding.asked.phases.empty())
        Refuse(RefusalReason::NoPhases, encoding);
    else
        EncodePattern(stimulator, encoding);
}

std::vector<phase> PhasesRead(const Stimulator& stimulator, const Encoding& encoding)
{
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
    return Base(encoding.pattern)
        .PhasesFromStr(std::string(encoding.asked.At(encoding.asked.phaseField)), stimulator.ampStepUa,
                       errors, warnings);
}

}  // namespace preview
