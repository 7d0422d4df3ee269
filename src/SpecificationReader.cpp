#include "SpecificationReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "NumberText.h"
#include "Numbers.h"
#include "SpecificationText.h"
#include "StimAtom.h"

namespace TarvUtil::Internal {
namespace {

// Reads the items of a phase-list field, one after the other.
class PhaseReader
{
 public:
    PhaseReader(std::string_view field, float ampStepUa, std::vector<std::string>& errors,
                std::vector<std::string>& warnings)
        : m_field(field), m_ampStep(ampStepUa), m_errors(errors), m_warnings(warnings)
    {}

    std::vector<phase> Read()
    {
        std::vector<phase> phases;
        phases.reserve(static_cast<std::size_t>(std::count(m_field.begin(), m_field.end(), ')')) + 1);
        Pieces items(m_field, ')');
        for (std::string_view item; items.NextNotEmpty(item); ++m_index) {
            phase p{};
            if (ReadItem(item, p))
                phases.push_back(p);
            else
                m_errors.push_back(Quoting("Invalid phase specification string: [", m_field, "]"));
        }
        return phases;
    }

 private:
    // Every "(" of an item counts as a blank.
    bool ReadItem(std::string_view item, phase& p)
    {
        const Fields<3> values(Stripped(item, '('), ',');
        if (values.count != 2 || !(m_ampStep > 0) || !std::isfinite(m_ampStep)) return false;
        return ReadLength(StrippedInFront(values.field[0], '('), p.len) &&
               ReadAmplitude(StrippedInFront(values.field[1], '('), p.amp);
    }

    static bool ReadLength(std::string_view text, float& len)
    {
        const float usec = std::round(static_cast<float>(ReadNumber(text)));
        len = static_cast<float>(ToInt(usec));
        return FitsInt(usec);
    }

    bool ReadAmplitude(std::string_view text, float& amp)
    {
        const float asked = static_cast<float>(ReadNumber(text));
        amp = 0;
        if (asked == 0) return true;
        const float ratio = asked / m_ampStep;
        if (!FitsInt(std::fabs(ratio) + 0.5f)) return false;
        const int steps = ToInt(std::fabs(ratio) + 0.5f);
        constexpr int MaxSteps = static_cast<int>(StimAtom::MaxAmpSteps);
        int kept = std::max(steps, 1);
        if (ratio > 0 && steps > MaxSteps) {
            kept = MaxSteps;
            m_warnings.push_back("Phase[" + std::to_string(m_index) +
                                 "]: Number of ADC stim output steps reduced from [" + std::to_string(steps) +
                                 "] to [" + std::to_string(MaxSteps) + "].\n");
        }
        amp = static_cast<float>(kept) * (ratio < 0 ? -m_ampStep : m_ampStep);
        if (amp != asked) WarnOfAmplitude(asked, amp);
        return true;
    }

    void WarnOfAmplitude(float asked, float kept)
    {
        std::string warning = "Phase[" + std::to_string(m_index) + "]: Original amplitude [";
        AppendNumber(warning, asked);
        warning += " uA] is now [";
        AppendNumber(warning, kept);
        warning += " uA].\n";
        m_warnings.push_back(std::move(warning));
    }

    std::string_view m_field;
    float m_ampStep;
    std::vector<std::string>& m_errors;
    std::vector<std::string>& m_warnings;
    int m_index = 0;
};

}  // namespace

std::vector<phase> ReadPhases(std::string_view field, float ampStepUa, std::vector<std::string>& errors,
                              std::vector<std::string>& warnings)
{
    return PhaseReader(field, ampStepUa, errors, warnings).Read();
}

float ReadDuration(std::string_view field, std::vector<std::string>& errors)
{
    std::string_view value;
    float msec = 0;
    if (BracketedValue(field, value)) {
        if (value.find("inf") != std::string_view::npos || value.find("INF") != std::string_view::npos)
            return LargestFloat;
        msec = static_cast<float>(ReadNumber(value));
    }
    if (!(msec > 0)) errors.push_back(Quoting("invalid train duration specification string [", field, "]"));
    return msec;
}

}  // namespace TarvUtil::Internal
