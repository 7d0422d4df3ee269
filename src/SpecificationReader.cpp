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

// Reads a whole number of up to seven digits at the start of text, and removes it. Such numbers are exact in a float.
bool ReadWhole(std::string_view& text, float& value)
{
    int whole = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        if (digits == 7) return false;
        whole = 10 * whole + (text[digits] - '0');
    }
    value = static_cast<float>(whole);
    text.remove_prefix(digits);
    return digits > 0;
}

bool Skip(std::string_view& text, char c)
{
    if (text.empty() || text.front() != c) return false;
    text.remove_prefix(1);
    return true;
}

// Reads an item of whole numbers, "(200,-30)", as most are, at the start of text, and removes it. ReadItem reads others.
bool ReadWholeItem(std::string_view& text, phase& p)
{
    std::string_view rest = text;
    if (!Skip(rest, '(') || !ReadWhole(rest, p.len) || !Skip(rest, ',')) return false;
    const bool negative = Skip(rest, '-');
    if (!ReadWhole(rest, p.amp) || (!rest.empty() && !Skip(rest, ')'))) return false;
    if (negative) p.amp = -p.amp;
    text = rest;
    return true;
}

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
        for (std::string_view rest = m_field; !rest.empty();) {
            phase p{};
            bool read = ReadWholeItem(rest, p);
            if (!read) {
                const std::string_view item = CutPiece(rest, ')');
                if (item.empty()) continue;
                read = ReadItem(item, p);
            }
            if (read && RoundAmplitude(p.amp))
                phases.push_back(p);
            else
                m_errors.push_back(Quoting("Invalid phase specification string: [", m_field, "]"));
            ++m_index;
        }
        return phases;
    }

 private:
    // Every "(" of an item counts as a blank.
    static bool ReadItem(std::string_view item, phase& p)
    {
        const Fields<3> values(Stripped(item, '('), ',');
        if (values.count != 2 || !ReadLength(StrippedInFront(values.field[0], '('), p.len)) return false;
        p.amp = static_cast<float>(ReadNumber(StrippedInFront(values.field[1], '(')));
        return true;
    }

    static bool ReadLength(std::string_view text, float& len)
    {
        const float usec = std::round(static_cast<float>(ReadNumber(text)));
        len = static_cast<float>(ToInt(usec));
        return FitsInt(usec);
    }

    bool RoundAmplitude(float& amp)
    {
        if (!(m_ampStep > 0) || !std::isfinite(m_ampStep)) return false;
        const float asked = amp;
        if (asked == 0) {
            amp = 0;  // -0, too
            return true;
        }
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
    double msec = 0;
    if (BracketedValue(field, value) && !ReadPlain(value, msec)) {
        if (value.find("inf") != std::string_view::npos || value.find("INF") != std::string_view::npos)
            return LargestFloat;
        msec = ReadNumber(value);
    }
    const auto rounded = static_cast<float>(msec);
    if (!(rounded > 0))
        errors.push_back(Quoting("invalid train duration specification string [", field, "]"));
    return rounded;
}

}  // namespace TarvUtil::Internal
