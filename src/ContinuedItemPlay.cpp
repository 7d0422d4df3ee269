#include "ContinuedItemPlay.h"

#include <algorithm>
#include <cstring>

#include "CommandWord.h"
#include "Numbers.h"

using namespace TarvUtil::Internal;

namespace {
// A block may be sent later than this after its due time; checked with the stimulators in the field.
constexpr int DueDelayMsec = 2;
}  // namespace

ContinuedItemPlay::ContinuedItemPlay(StimItem item, int cyclesStarted, long nowMsec)
    : m_channel(item.channel),
      m_patternSlot(item.patternSlot),
      m_remCycles(0),
      m_startMsec(nowMsec),
      m_nextMsec(nowMsec)
{
    const StimPattern* pattern = Pattern();
    if (pattern == nullptr) return;
    const int cycles = pattern->CycleCount();
    m_remCycles =
        pattern->IsContinuous() ? cycles : SaturateToInt(static_cast<std::int64_t>(cycles) - cyclesStarted);
}

ContinuedItemPlay::ContinuedItemPlay(const ContinuedItemPlay& other) = default;
ContinuedItemPlay& ContinuedItemPlay::operator=(const ContinuedItemPlay& other) = default;

bool ContinuedItemPlay::operator==(const ContinuedItemPlay& other) const
{
    return m_channel == other.m_channel && m_patternSlot == other.m_patternSlot &&
           m_startMsec == other.m_startMsec;
}

bool ContinuedItemPlay::operator<(const ContinuedItemPlay& other) const
{
    if (m_nextMsec != other.m_nextMsec) return m_nextMsec < other.m_nextMsec;
    return m_remCycles < other.m_remCycles;
}

int ContinuedItemPlay::RemCycles() const
{
    return m_remCycles;
}

int ContinuedItemPlay::Channel() const
{
    return m_channel;
}

StimPattern* ContinuedItemPlay::Pattern() const
{
    return m_patternSlot == nullptr ? nullptr : *m_patternSlot;
}

bool ContinuedItemPlay::ReadyToContinue(long nowMsec) const
{
    return SaturatingAdd(m_nextMsec, DueDelayMsec) < nowMsec;
}

float ContinuedItemPlay::ContinuePeriodMsec() const
{
    const StimPattern* pattern = Pattern();
    return pattern == nullptr ? 0.0f : pattern->Period() * static_cast<float>(MaxCyclesPerCommand);
}

int ContinuedItemPlay::ContinueCmds(long nowMsec, unsigned char* buf)
{
    StimPattern* pattern = Pattern();
    if (buf == nullptr || m_remCycles < 1 || !ReadyToContinue(nowMsec) || pattern == nullptr) return -1;
    if (!pattern->Update()) return -1;
    // Like WordArray this updates once more: a repair hook is asked twice for each block.
    const int count = pattern->CopyWords(buf);
    if (count < 0) return -1;

    const int block = std::min(m_remCycles, MaxCyclesPerCommand);
    if (block < MaxCyclesPerCommand) {
        unsigned int word = 0;
        std::memcpy(&word, buf, sizeof word);
        word = ReplaceCycles(word, block);
        std::memcpy(buf, &word, sizeof word);
    }
    if (!pattern->IsContinuous()) m_remCycles -= block;
    m_nextMsec = SaturatingAdd(m_nextMsec, ToInt64(ContinuePeriodMsec()));
    return count;
}
