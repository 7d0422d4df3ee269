#pragma once

#include "StimAtom.h"

// The packing of a command word, and the sink through which the words of a pattern reach a buffer.
namespace TarvUtil::Internal {

// The arguments are the fields of StimAtom, in their order.
inline unsigned int PackWord(int amp, unsigned int timeSteps, bool ampAfterSplit, unsigned int splitUsec,
                             bool inPulse, bool flag14)
{
    unsigned int magnitude = static_cast<unsigned int>(amp);
    if (amp < 0) magnitude = 0U - magnitude;
    if (magnitude > StimAtom::MaxAmpSteps) magnitude = StimAtom::MaxAmpSteps;
    return timeSteps << 16U | (inPulse ? 1U << 15U : 0U) | (flag14 ? 1U << 14U : 0U) |
           (ampAfterSplit ? 1U << 13U : 0U) | splitUsec << 8U | (amp > 0 ? 1U << 7U : 0U) | magnitude;
}

// Word 0 of a word array: the number of cycles in bits 0 to 11, the bits above clear.
constexpr int MaxCyclesPerCommand = 4095;
constexpr unsigned int CycleMask = 0xFFFU;

// Owns the limit of a buffer and the low-half rule: bits 0 to 15 of every word are what the phases say, or a
// fixed value in their place.
class CommandSink
{
 public:
    CommandSink(unsigned int* words, int maxWords) : m_words(words), m_maxWords(maxWords) {}

    void FixLowHalf(unsigned short value)
    {
        m_keep = 0xFFFF0000U;
        m_lowHalf = value;
    }

    // Puts a word with flag 14 clear. False, and nothing written, when the buffer is full.
    bool Put(int amp, unsigned int timeSteps, bool ampAfterSplit, unsigned int splitUsec, bool inPulse)
    {
        if (m_count >= m_maxWords) return false;
        const unsigned int word = PackWord(amp, timeSteps, ampAfterSplit, splitUsec, inPulse, false);
        m_words[m_count++] = (word & m_keep) | m_lowHalf;
        return true;
    }

    int Count() const { return m_count; }

 private:
    unsigned int* m_words;
    int m_maxWords;
    int m_count = 0;
    unsigned int m_keep = 0xFFFFFFFFU;
    unsigned int m_lowHalf = 0;
};

}  // namespace TarvUtil::Internal
