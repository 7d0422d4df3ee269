// Any text into the strict reader, and into a second one that goes from left to right: a text is regular when it has the
// form that the manual gives, and then its numbers are those of strtod. What is irregular is named by its place.

#include "Asked.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "Fuzz.h"

using namespace preview;

namespace {

// The form "head:(length,amplitude)...:DurationMsec=[ms]:ChargeBalanceIdx=[mode]", with blanks around every part.
class Form
{
 public:
    Form(std::string text, PatternKind kind) : m_text(std::move(text)), m_kind(kind) {}

    bool Regular()
    {
        const auto control = [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; };
        if (std::any_of(m_text.begin(), m_text.end(), control)) return false;
        if (!Head() || !Take(':') || !Phases() || !Take(':') || !Train()) return false;
        if (m_at == m_text.size()) return true;
        return m_kind == PatternKind::Lilly && Take(':') && Balance() && m_at == m_text.size();
    }

    std::vector<AskedPhase> phases;
    double trainMsec = 0;
    int balanceMode = 0;

 private:
    bool Take(char c)
    {
        const bool found = m_at < m_text.size() && m_text[m_at] == c;
        if (found) ++m_at;
        return found;
    }
    bool Take(const std::string& word)
    {
        const bool found = m_text.compare(m_at, word.size(), word) == 0;
        if (found) m_at += word.size();
        return found;
    }
    bool Blanks()
    {
        while (Take(' ') || Take('\t')) {
        }
        return true;
    }
    // Whether c stands here, blanks around it.
    bool Between(char c) { return Blanks() && Take(c) && Blanks(); }

    bool Head()
    {
        Blanks();
        if (m_at < m_text.size() && m_text[m_at] == '(') return false;
        m_at = std::min(m_text.find(':'), m_text.size());
        try {
            (void)nlohmann::json(m_text.substr(0, m_at)).dump();
        } catch (const nlohmann::json::type_error&) {
            return false;  // not UTF-8
        }
        return m_at > 0;
    }

    std::size_t Digits()
    {
        const std::size_t from = m_at;
        while (m_at < m_text.size() && m_text[m_at] >= '0' && m_text[m_at] <= '9') ++m_at;
        return m_at - from;
    }
    bool Sign()
    {
        if (!Take('-')) Take('+');
        return true;
    }
    bool Number(double& value)
    {
        const std::size_t from = m_at;
        Sign();
        std::size_t digits = Digits();
        if (Take('.')) digits += Digits();
        if (digits == 0) return false;
        if ((Take('e') || Take('E')) && Sign() && Digits() == 0) return false;
        value = std::strtod(m_text.substr(from, m_at - from).c_str(), nullptr);
        return std::isfinite(static_cast<float>(value));
    }

    bool Phases()
    {
        do {
            AskedPhase p;
            if (!Between('(') || !Number(p.lenUsec) || !Between(',') || !Number(p.ampUa) || !Blanks() ||
                !Take(')'))
                return false;
            phases.push_back(p);
        } while (m_at < m_text.size() && m_text[m_at] != ':');
        return m_kind == PatternKind::Plain || phases.size() == 5;
    }

    bool Opening(const char* name)
    {
        return Blanks() && Take(std::string(name)) && Between('=') && Between('[');
    }
    bool Train()
    {
        if (!Opening("DurationMsec")) return false;
        const bool endless = Take("inf") || Take("INF");
        if (endless) trainMsec = HUGE_VAL;
        return (endless || Number(trainMsec)) && Between(']');
    }
    bool Balance()
    {
        if (!Opening("ChargeBalanceIdx") || m_at == m_text.size()) return false;
        balanceMode = m_text[m_at++] - '0';
        return balanceMode >= 0 && balanceMode <= 4 && Between(']');
    }

    const std::string m_text;
    const PatternKind m_kind;
    std::size_t m_at = 0;
};

bool SamePhase(const AskedPhase& a, const AskedPhase& b)
{
    return a.lenUsec == b.lenUsec && a.ampUa == b.ampUa;
}

bool SamePhases(const std::vector<AskedPhase>& a, const std::vector<AskedPhase>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), SamePhase);
}

void CheckPlaces(const Asked& asked)
{
    Require(asked.irregularities.size() == std::min(asked.irregular, Asked::MaxIrregularities),
            "the first irregularities are kept");
    const auto within = [&](const Span& span) {
        return span.begin <= asked.text.size() && span.size <= asked.text.size() - span.begin;
    };
    for (const Irregularity& found : asked.irregularities)
        Require(within(found.item) && found.field >= 0 && found.phase >= -1, "an irregularity has a place");
    for (const Span& span : {asked.head, asked.phaseField, asked.durationField, asked.balanceField})
        Require(within(span), "a field is in the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::vector<std::string> pieces{"Head:",
                                                 "(0,0)",
                                                 "(200,-300)",
                                                 "(66,0)(200,300)",
                                                 "(",
                                                 ")",
                                                 ",",
                                                 ":",
                                                 "DurationMsec=[",
                                                 "DurationMsec",
                                                 "=[",
                                                 "inf",
                                                 "INF",
                                                 "]",
                                                 "ChargeBalanceIdx=[",
                                                 "1e400",
                                                 "-.5e+3",
                                                 "+5.",
                                                 "0x1p3",
                                                 "nan",
                                                 " ",
                                                 "\t",
                                                 "\xC3\xA9"};
    FuzzedDataProvider in(data, size);
    const PatternKind kind = in.ConsumeBool() ? PatternKind::Plain : PatternKind::Lilly;
    Asked used;
    ReadAsked(AnyText(in, pieces, 100), kind, used);
    const std::string text = AnyText(in, pieces, 1000);

    Asked asked;
    ReadAsked(text, kind, asked);
    CheckPlaces(asked);
    Form form(text, kind);
    Require(form.Regular() == (asked.irregular == 0), "regular is what has the form");
    Require(
        asked.irregular > 0 || (SamePhases(asked.phases, form.phases) && asked.trainMsec == form.trainMsec &&
                                asked.balanceMode == form.balanceMode),
        "a regular text is read as it is written");

    // Into the memory of another text.
    ReadAsked(text, kind, used);
    CheckPlaces(used);
    const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    Require(used.irregular == asked.irregular && used.phases.size() == asked.phases.size() &&
                same(used.trainMsec, asked.trainMsec) && used.balanceMode == asked.balanceMode &&
                used.balanceField.size == asked.balanceField.size,
            "nothing is left of the text before");
    return 0;
}
