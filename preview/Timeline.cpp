#include "Timeline.h"

#include <algorithm>
#include <cmath>

#include "ContinuedItemPlay.h"
#include "Units.h"

namespace preview {
namespace {

// Polls the record of a play from its start on. Of the polls only those are made at which a block can be due.
class Player
{
 public:
    Player(const Stimulator& stimulator, const Encoding& encoding, const Host& host, std::int64_t startMsec)
        : m_host(host),
          m_pattern(encoding.pattern),
          m_slot(&Base(m_pattern)),
          m_words(encoding.words),
          m_cycleMsec(playback::PeriodUsec(m_words, stimulator.Scale()) / UsecPerMsec)
    {
        m_timeline.startMsec = startMsec;
        m_timeline.endMsec = static_cast<double>(startMsec);
        m_timeline.continuous = m_slot->IsContinuous();
        m_timeline.cyclesAsked = m_slot->CycleCount();
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    Timeline Play()
    {
        const int first = playback::CyclesOf(m_words[0]);
        const std::int64_t start = m_timeline.startMsec;
        ContinuedItemPlay play({0, &m_slot}, first, Host::Clock(start));
        Send({m_host.PollAt(start), start, first, play.RemCycles()});
        while (play.RemCycles() > 0 && !Stopped()) {
            const std::int64_t due = play.m_nextMsec;
            const std::int64_t now = m_host.PollAt(due + 3);
            if (!play.ReadyToContinue(Host::Clock(now))) break;
            if (play.ContinueCmds(Host::Clock(now), reinterpret_cast<unsigned char*>(m_words.data())) < 1)
                break;
            Send({now, due, playback::CyclesOf(m_words[0]), play.RemCycles()});
        }
        return m_timeline;
    }

 private:
    bool Stopped() const { return m_timeline.continuous && m_timeline.blocks.size() >= m_host.blocks; }

    void Send(const Block& block)
    {
        const auto sent = static_cast<double>(block.sentMsec);
        m_timeline.longestGapMsec = std::max(m_timeline.longestGapMsec, sent - m_timeline.endMsec);
        m_timeline.endMsec = std::max(m_timeline.endMsec, sent) + block.cycles * m_cycleMsec;
        m_timeline.cyclesSent += block.cycles;
        m_timeline.blocks.push_back(block);
    }

    const Host m_host;
    AnyPattern m_pattern;
    StimPattern* m_slot;
    std::vector<unsigned int> m_words;
    const double m_cycleMsec;  // as the words play it
    Timeline m_timeline;
};

}  // namespace

Timeline TimelineOf(const Stimulator& stimulator, const Encoding& encoding, const Host& host,
                    std::int64_t startMsec)
{
    return Player(stimulator, encoding, host, startMsec).Play();
}

std::int64_t NextMsec(std::int64_t startMsec, double trainMsec)
{
    constexpr double NoiseMsec = 1e-6;
    return startMsec + static_cast<std::int64_t>(std::ceil(trainMsec - NoiseMsec));
}

}  // namespace preview
