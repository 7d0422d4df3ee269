// A host that plays several long trains at once. One command holds at most 4095 cycles; the rest follows in
// blocks, and the host sends each block when it is due, the earliest first.

#include <cstdio>
#include <set>

#include "ContinuedItemPlay.h"
#include "LillyPattern.h"

namespace {
constexpr int Channels = 3;
constexpr int Budget = 101;  // words, word 0 included
constexpr long PollMsec = 10;

LillyPattern Pulse(float hz, float trainMsec)
{
    LillyPattern pattern(Budget, 20.0f, 0.0f, 0.0f, 10.0f, 1, 100.0f);
    pattern.SetPhase1Amp(-50.0f);
    pattern.SetFrequency(hz);
    pattern.SetTrainLength(trainMsec);
    return pattern;
}

// Replaces the stimulator: counts the cycles that it received.
struct Stimulator
{
    void Send(int channel, long nowMsec, const unsigned int* words, int count)
    {
        cycles[channel] += static_cast<int>(words[0]);
        std::printf("%6ld ms  channel %d  %4u cycles  %d words\n", nowMsec, channel, words[0], count);
    }

    int cycles[Channels] = {};
};
}  // namespace

int main()
{
    LillyPattern patterns[Channels] = {Pulse(130.0f, 100000.0f), Pulse(200.0f, 50000.0f),
                                       Pulse(50.0f, 20000.0f)};
    StimPattern* slots[Channels] = {&patterns[0], &patterns[1], &patterns[2]};
    Stimulator stimulator;
    unsigned int words[Budget];

    // Ordered by due time; two plays may be due at the same time.
    std::multiset<ContinuedItemPlay> plays;
    const auto keep = [&plays](const ContinuedItemPlay& play) {
        if (play.RemCycles() > 0) plays.insert(play);
    };
    for (int channel = 0; channel < Channels; ++channel) {
        const int count = slots[channel]->WordArray(words, 0);
        if (count <= 0) return 1;
        stimulator.Send(channel, 0, words, count);
        keep(ContinuedItemPlay({channel, &slots[channel]}, static_cast<int>(words[0]), 0));
    }

    for (long now = 0; !plays.empty(); now += PollMsec) {
        while (!plays.empty() && plays.begin()->ReadyToContinue(now)) {
            ContinuedItemPlay play = *plays.begin();
            plays.erase(plays.begin());
            const int count = play.ContinueCmds(now, reinterpret_cast<unsigned char*>(words));
            if (count <= 0) return 1;
            stimulator.Send(play.Channel(), now, words, count);
            keep(play);
        }
    }

    for (int channel = 0; channel < Channels; ++channel)
        if (stimulator.cycles[channel] != patterns[channel].CycleCount()) return 1;
}
