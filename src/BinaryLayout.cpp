// The layout of the plain classes, and values, which hosts have compiled in. If one differs, the build fails.

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "ContinuedItemPlay.h"
#include "LillyPattern.h"
#include "PatternHelper.h"
#include "StimAtom.h"
#include "StimPattern.h"
#include "StimTrain.h"

namespace {
// The members as a C program would declare them: the platform aligns the pointer and the 64-bit times.
struct ItemInC
{
    int channel;
    void* patternSlot;
};
struct PlayInC
{
    int channel;
    void* patternSlot;
    int remCycles;
    std::int64_t startMsec;
    std::int64_t nextMsec;
};
}  // namespace

static_assert(sizeof(float) == 4 && sizeof(int) == 4 && sizeof(unsigned int) == 4 && sizeof(bool) == 1);

static_assert(std::is_standard_layout_v<phase> && std::is_trivial_v<phase>);
static_assert(sizeof(phase) == 8 && alignof(phase) == 4);
static_assert(offsetof(phase, len) == 0 && offsetof(phase, amp) == 4);

static_assert(std::is_standard_layout_v<StimAtom> && std::is_trivially_copyable_v<StimAtom>);
static_assert(sizeof(StimAtom) == 20 && alignof(StimAtom) == 4);
static_assert(offsetof(StimAtom, m_amp) == 0 && offsetof(StimAtom, m_timeSteps) == 4);
static_assert(offsetof(StimAtom, m_ampAfterSplit) == 8 && offsetof(StimAtom, m_splitUsec) == 12);
static_assert(offsetof(StimAtom, m_inPulse) == 16 && offsetof(StimAtom, m_flag14) == 17);

static_assert(std::is_standard_layout_v<StimItem> && sizeof(StimItem) == sizeof(ItemInC));
static_assert(offsetof(StimItem, channel) == 0);
static_assert(offsetof(StimItem, patternSlot) == offsetof(ItemInC, patternSlot));

static_assert(std::is_standard_layout_v<ContinuedItemPlay>);
static_assert(sizeof(ContinuedItemPlay) == sizeof(PlayInC) && alignof(ContinuedItemPlay) == alignof(PlayInC));
static_assert(offsetof(ContinuedItemPlay, m_channel) == 0);
static_assert(offsetof(ContinuedItemPlay, m_patternSlot) == offsetof(PlayInC, patternSlot));
static_assert(offsetof(ContinuedItemPlay, m_remCycles) == offsetof(PlayInC, remCycles));
static_assert(offsetof(ContinuedItemPlay, m_startMsec) == offsetof(PlayInC, startMsec));
static_assert(offsetof(ContinuedItemPlay, m_nextMsec) == offsetof(PlayInC, nextMsec));
static_assert(sizeof(void*) != 8 || (sizeof(ContinuedItemPlay) == 40 && sizeof(StimItem) == 16));

static_assert(std::is_empty_v<StimTrain> && std::is_empty_v<PatternHelper>);

// Values that hosts have compiled in.
static_assert(StimPattern::MaxWords == 1024 && StimAtom::MaxAmpSteps == 100);
static_assert(StimPattern::IgnoreUsec == 0.5f && StimPattern::IgnoreFrac == 0.015f);
static_assert(LillyPattern::MinEndLenUsec == 33.333332f);
static_assert(StimPattern::Positive == 0 && StimPattern::Negative == 1 && StimPattern::Absolute == 2);
static_assert(Stim::WithSign == 0 && Stim::Magnitude == 1);
static_assert(Stim::NegativeFirst == 0 && Stim::PositiveFirst == 1);
static_assert(LillyPattern::Phase1 == 1 && LillyPattern::Phase2 == 3);
static_assert(LillyPattern::Len == 0 && LillyPattern::Amp == 1);
static_assert(LillyPattern::AdjustIPI == 1 && LillyPattern::AdjustPhase2 == 2 &&
              LillyPattern::AdjustOffset == 4);
