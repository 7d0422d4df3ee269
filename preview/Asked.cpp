#include "Asked.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "LillyBalance.h"
#include "LillyRepair.h"
#include "NumberText.h"
#include "Numbers.h"
#include "SpecificationText.h"
#include "Utf8.h"

namespace preview {
namespace {

using namespace TarvUtil::Internal;

bool IsSpace(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view WithoutSpaces(std::string_view text)
{
    while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
    return text;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

std::size_t SkipDigits(std::string_view text, std::size_t at)
{
    while (at < text.size() && IsDigit(text[at])) ++at;
    return at;
}

std::size_t SkipSign(std::string_view text, std::size_t at)
{
    return at < text.size() && (text[at] == '-' || text[at] == '+') ? at + 1 : at;
}

bool IsControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (byte < ' ' && c != '\t') || byte == 0x7F;
}

// Reads texts of the usual form in one pass: whole numbers of few digits and no blanks, as in
//
//     Head:(200,-60)(100,0):DurationMsec=[1000]:ChargeBalanceIdx=[1]
//
// AskedReader reads the same of them, and all others.
class PlainReader
{
 public:
    PlainReader(PatternKind kind, Asked& asked)
        : m_kind(kind), m_asked(asked), m_at(asked.text.data()), m_end(m_at + asked.text.size())
    {}

    // False if the text has another form; what was read until then is of no use.
    bool Read()
    {
        if (!ReadHead() || !Skip(':')) return false;
        const char* begin = m_at;
        while (Peek() == '(')
            if (!ReadItem()) return false;
        m_asked.phaseField = From(begin);
        const std::size_t count = m_asked.phases.size();
        if (m_kind == PatternKind::Lilly ? count != LillyPhaseCount : count == 0) return false;
        if (!Skip(':')) return false;
        begin = m_at;
        if (!Skip("DurationMsec=[") || !ReadWhole(m_asked.trainMsec) || !Skip(']')) return false;
        m_asked.durationField = From(begin);
        return m_at == m_end || (m_kind == PatternKind::Lilly && ReadBalance());
    }

 private:
    char Peek() const { return m_at == m_end ? '\0' : *m_at; }
    bool Skip(char c)
    {
        if (Peek() != c) return false;
        ++m_at;
        return true;
    }
    bool Skip(std::string_view text)
    {
        if (std::string_view(m_at, static_cast<std::size_t>(m_end - m_at)).substr(0, text.size()) != text)
            return false;
        m_at += text.size();
        return true;
    }
    Span From(const char* begin) const
    {
        return {static_cast<std::size_t>(begin - m_asked.text.data()),
                static_cast<std::size_t>(m_at - begin)};
    }

    bool ReadHead()
    {
        const char* const begin = m_at;
        if (Peek() == '(' || Peek() == ' ') return false;
        while (m_at != m_end && *m_at != ':' && *m_at >= ' ' && *m_at < 0x7F) ++m_at;
        m_asked.head = From(begin);
        return m_at != begin;
    }

    bool ReadWhole(double& value)
    {
        constexpr std::ptrdiff_t MaxDigits = 9;
        const char* const begin = m_at;
        int whole = 0;
        for (; IsDigit(Peek()) && m_at - begin < MaxDigits; ++m_at) whole = 10 * whole + (*m_at - '0');
        value = static_cast<double>(whole);
        return m_at != begin;
    }

    bool ReadItem()
    {
        AskedPhase p;
        if (!Skip('(') || !ReadWhole(p.lenUsec) || !Skip(',')) return false;
        const bool negative = Skip('-');
        if (!ReadWhole(p.ampUa) || !Skip(')')) return false;
        if (negative) p.ampUa = -p.ampUa;
        m_asked.phases.push_back(p);
        return true;
    }

    bool ReadBalance()
    {
        if (!Skip(':')) return false;
        const char* const begin = m_at;
        if (!Skip("ChargeBalanceIdx=[")) return false;
        m_asked.balanceMode = Peek() - '0';
        if (m_asked.balanceMode < 0 || m_asked.balanceMode > MaxBalanceMode) return false;
        ++m_at;
        if (!Skip(']')) return false;
        m_asked.balanceField = From(begin);
        return m_at == m_end;
    }

    const PatternKind m_kind;
    Asked& m_asked;
    const char* m_at;
    const char* const m_end;
};

class AskedReader
{
 public:
    AskedReader(PatternKind kind, Asked& asked) : m_kind(kind), m_asked(asked) {}

    void Read()
    {
        FindControlCharacters();
        const std::string_view text = m_asked.text;
        int field = 0;
        for (std::size_t begin = 0;;) {
            const std::size_t end = std::min(text.find(':', begin), text.size());
            if (end == begin && !text.empty())
                Note({Irregular::FieldEmpty, field + 1, -1, false, {begin, 0}});
            else if (end != begin)
                ReadField(++field, {begin, end - begin});
            if (end == text.size()) break;
            begin = end + 1;
        }
        if (field < FieldOfDuration) Note({Irregular::FieldMissing, field + 1, -1, false, {0, text.size()}});
    }

 private:
    static constexpr int FieldOfHead = 1, FieldOfPhases = 2, FieldOfDuration = 3, FieldOfBalance = 4;

    void Note(const Irregularity& irregularity)
    {
        if (m_headMissing) return;  // the fields are not in their places: one message is enough
        ++m_asked.irregular;
        if (m_asked.irregularities.size() < Asked::MaxIrregularities)
            m_asked.irregularities.push_back(irregularity);
    }

    Span Of(std::string_view piece) const
    {
        return {static_cast<std::size_t>(piece.data() - m_asked.text.data()), piece.size()};
    }

    void FindControlCharacters()
    {
        // Counted without a branch: there is hardly ever one.
        if (std::count_if(m_asked.text.begin(), m_asked.text.end(), IsControl) == 0) return;
        for (std::size_t i = 0; i < m_asked.text.size(); ++i)
            if (IsControl(m_asked.text[i])) Note({Irregular::ControlCharacter, 0, -1, false, {i, 1}});
    }

    void ReadField(int field, Span span)
    {
        switch (field) {
            case FieldOfHead:
                return ReadHead(span);
            case FieldOfPhases:
                m_asked.phaseField = span;
                return ReadPhases();
            case FieldOfDuration:
                m_asked.durationField = span;
                return ReadDuration();
            case FieldOfBalance:
                m_asked.balanceField = span;
                return ReadBalanceMode();
            default:
                Note({Irregular::FieldExtra, field, -1, false, span});
        }
    }

    void ReadHead(Span span)
    {
        m_asked.head = span;
        const std::string_view head = m_asked.At(span);
        if (WithoutSpaces(head).substr(0, 1) == "(") {
            Note({Irregular::HeadMissing, FieldOfHead, -1, false, span});
            m_headMissing = true;
        } else if (!IsUtf8(head)) {
            Note({Irregular::HeadNotUtf8, FieldOfHead, -1, false, span});
        }
    }

    void ReadPhases()
    {
        const std::string_view field = m_asked.At(m_asked.phaseField);
        const std::size_t irregular = m_asked.irregular;
        Pieces items(field, ')');
        int index = 0;
        for (std::string_view item; items.Next(item); ++index) {
            const bool closed = item.data() + item.size() != field.data() + field.size();
            ReadItem(index, item, closed);
        }
        const bool countable =
            m_asked.irregular == irregular || m_asked.phases.size() == static_cast<std::size_t>(index);
        if (m_kind == PatternKind::Lilly && countable && m_asked.phases.size() != LillyPhaseCount)
            Note({Irregular::PhaseCount, FieldOfPhases, -1, false, m_asked.phaseField});
    }

    void ReadItem(int index, std::string_view item, bool closed)
    {
        if (!closed && index > 0 && WithoutSpaces(item).empty())
            return Note({Irregular::BlankAfterPhases, FieldOfPhases, -1, false, Of(item)});
        // As the library cuts an item.
        const Fields<3> values(Stripped(item, '('), ',');
        if (values.count == 2)
            m_asked.phases.push_back({ReadNumber(StrippedInFront(values.field[0], '(')),
                                      ReadNumber(StrippedInFront(values.field[1], '('))});
        const std::string_view inner = WithoutSpaces(item);
        const std::size_t comma = inner.find(',');
        if (!closed || inner.substr(0, 1) != "(" || inner.find('(', 1) != std::string_view::npos ||
            comma == std::string_view::npos || inner.find(',', comma + 1) != std::string_view::npos)
            return Note({Irregular::PhaseForm, FieldOfPhases, index, false, Of(item)});
        CheckNumber(inner.substr(1, comma - 1), FieldOfPhases, index, false);
        CheckNumber(inner.substr(comma + 1), FieldOfPhases, index, true);
    }

    void CheckNumber(std::string_view text, int field, int phase, bool isAmp)
    {
        const std::string_view number = WithoutSpaces(text);
        if (!IsDecimal(number))
            Note({Irregular::Number, field, phase, isAmp, Of(number)});
        else if (!std::isfinite(static_cast<float>(ReadNumber(number))))
            Note({Irregular::NotFinite, field, phase, isAmp, Of(number)});
    }

    void ReadDuration()
    {
        const std::string_view field = m_asked.At(m_asked.durationField);
        std::string_view value;
        if (BracketedValue(field, value)) {
            const bool endless =
                value.find("inf") != std::string_view::npos || value.find("INF") != std::string_view::npos;
            m_asked.trainMsec = endless ? std::numeric_limits<double>::infinity() : ReadNumber(value);
        }
        if (!CheckForm(field, "DurationMsec", FieldOfDuration, value)) return;
        if (value != "inf" && value != "INF") CheckNumber(value, FieldOfDuration, -1, false);
    }

    void ReadBalanceMode()
    {
        const std::string_view field = m_asked.At(m_asked.balanceField);
        std::string_view value;
        if (BracketedValue(field, value)) m_asked.balanceMode = ReadInt(value);
        if (m_kind == PatternKind::Plain)
            return Note({Irregular::BalanceNotTaken, FieldOfBalance, -1, false, m_asked.balanceField});
        if (!CheckForm(field, "ChargeBalanceIdx", FieldOfBalance, value)) return;
        if (value.size() != 1 || !IsDigit(value[0]) || value[0] - '0' > MaxBalanceMode)
            Note({Irregular::BalanceMode, FieldOfBalance, -1, false, Of(value)});
    }

    // Whether the field is name=[value], perhaps with blanks between; value is then what stands in the brackets.
    bool CheckForm(std::string_view field, std::string_view name, int number, std::string_view& value)
    {
        const std::size_t open = std::min(field.find('['), field.size());
        const std::size_t equals = std::min(field.find('='), open);
        const std::string_view found = WithoutSpaces(field.substr(0, equals));
        if (found != name) {
            Note({Irregular::FieldName, number, -1, false, Of(found)});
            return false;
        }
        const std::string_view rest = WithoutSpaces(field.substr(open));
        if (WithoutSpaces(field.substr(equals, open - equals)) != "=" || rest.size() < 2 ||
            rest.find('[', 1) != std::string_view::npos || rest.find(']') != rest.size() - 1) {
            Note({Irregular::FieldForm, number, -1, false, Of(WithoutSpaces(field))});
            return false;
        }
        value = WithoutSpaces(rest.substr(1, rest.size() - 2));
        return true;
    }

    const PatternKind m_kind;
    Asked& m_asked;
    bool m_headMissing = false;
};

}  // namespace

bool IsDecimal(std::string_view text)
{
    const std::size_t first = SkipSign(text, 0);
    std::size_t at = SkipDigits(text, first);
    std::size_t digits = at - first;
    if (at < text.size() && text[at] == '.') {
        const std::size_t end = SkipDigits(text, at + 1);
        digits += end - at - 1;
        at = end;
    }
    if (digits == 0) return false;
    if (at == text.size()) return true;
    if (text[at] != 'e' && text[at] != 'E') return false;
    const std::size_t exponent = SkipSign(text, at + 1);
    return SkipDigits(text, exponent) == text.size() && exponent < text.size();
}

namespace {

void Clear(Asked& asked)
{
    asked.head = asked.phaseField = asked.durationField = asked.balanceField = {};
    asked.phases.clear();
    asked.trainMsec = 0;
    asked.balanceMode = 0;
    asked.irregularities.clear();
    asked.irregular = 0;
}

}  // namespace

void ReadAsked(std::string_view text, PatternKind kind, Asked& asked)
{
    asked.text.assign(text);
    Clear(asked);
    if (PlainReader(kind, asked).Read()) return;
    Clear(asked);
    AskedReader(kind, asked).Read();
}

}  // namespace preview
