#include "StimAtom.h"

#include "CommandWord.h"

StimAtom::StimAtom() : StimAtom(0, 1, false, 0, true, true) {}

StimAtom::StimAtom(int amp, unsigned int timeSteps, bool ampAfterSplit, unsigned int splitUsec, bool inPulse,
                   bool flag14)
    : m_amp(amp),
      m_timeSteps(timeSteps),
      m_ampAfterSplit(ampAfterSplit),
      m_splitUsec(splitUsec),
      m_inPulse(inPulse),
      m_flag14(flag14)
{}

void StimAtom::Reset()
{
    *this = StimAtom();
}

bool StimAtom::WriteCmd(unsigned int* word) const
{
    if (word == nullptr) return false;
    *word =
        TarvUtil::Internal::PackWord({m_amp, m_timeSteps, m_ampAfterSplit, m_splitUsec, m_inPulse, m_flag14});
    return true;
}
