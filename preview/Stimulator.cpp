#include "Stimulator.h"

#include <cmath>

#include "StimAtom.h"

namespace preview {

float Stimulator::AmpMaxUa() const
{
    return ampMaxUa.value_or(static_cast<float>(StimAtom::MaxAmpSteps) * ampStepUa);
}

playback::Scale Stimulator::Scale() const
{
    return {static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)};
}

std::optional<StimulatorValue> Stimulator::Unusable() const
{
    const auto positive = [](float value) { return std::isfinite(value) && value > 0; };
    if (!positive(timeStepUsec)) return StimulatorValue::TimeStep;
    if (!positive(ampStepUa)) return StimulatorValue::AmpStep;
    if (ampMaxUa && !(std::isfinite(*ampMaxUa) && *ampMaxUa >= 0)) return StimulatorValue::AmpMax;
    if (budget < 1 || budget > StimPattern::MaxWords) return StimulatorValue::Budget;
    return std::nullopt;
}

AnyPattern MakePattern(const Stimulator& s)
{
    if (s.pattern == PatternKind::Plain)
        return PlainPattern(s.budget, s.timeStepUsec, s.ampStepUa, s.AmpMaxUa());
    return LillyPattern(s.budget, s.timeStepUsec, 0, 0, s.ampStepUa, 0, s.AmpMaxUa());
}

StimPattern& Base(AnyPattern& pattern)
{
    return std::visit([](StimPattern& base) -> StimPattern& { return base; }, pattern);
}

const StimPattern& Base(const AnyPattern& pattern)
{
    return std::visit([](const StimPattern& base) -> const StimPattern& { return base; }, pattern);
}

}  // namespace preview
