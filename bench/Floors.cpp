#include "Floors.h"

#include <charconv>
#include <cstring>
#include <new>

namespace bench {
namespace {

struct Selected
{
    static float Kept(float rest) { return rest > StimPattern::IgnoreUsec ? rest : 0; }
};

struct Predicted
{
    static float Kept(float rest)
    {
        if (!(rest > StimPattern::IgnoreUsec)) return 0;
        asm volatile("");  // no compiler selects across it
        return rest;
    }
};

// What is left of a time when its whole time steps are taken.
float Rest(float time, float timeStep)
{
    const float whole = time / timeStep;
    const auto count = static_cast<float>(static_cast<int>(whole + StimPattern::IgnoreFrac));
    return (whole - count) * timeStep;
}

template <typename How>
float Chain(const std::vector<phase>& phases, float timeStep, float ampStep, float firstLen)
{
    float carried = How::Kept(Rest(firstLen, timeStep));
    float steps = phases[0].amp / ampStep;
    for (std::size_t i = 1; i < phases.size(); ++i) {
        carried = How::Kept(Rest(carried + phases[i].len, timeStep));
        steps += phases[i].amp / ampStep;
    }
    return carried + steps;
}

}  // namespace

float ChainSelected(const std::vector<phase>& phases, float timeStepUsec, float ampStepUa, float firstLen)
{
    return Chain<Selected>(phases, timeStepUsec, ampStepUa, firstLen);
}

float ChainPredicted(const std::vector<phase>& phases, float timeStepUsec, float ampStepUa, float firstLen)
{
    return Chain<Predicted>(phases, timeStepUsec, ampStepUa, firstLen);
}

int CarriedInto(const std::vector<phase>& phases, float timeStepUsec)
{
    int met = 0;
    float carried = 0;
    for (const phase& p : phases) {
        if (carried > 0) ++met;
        carried = Selected::Kept(Rest(carried + p.len, timeStepUsec));
    }
    return met;
}

double ReadNumbers(const std::vector<std::string_view>& numbers)
{
    double sum = 0;
    for (const std::string_view number : numbers) {
        double value = 0;
        std::from_chars(number.data(), number.data() + number.size(), value);
        sum += value;
    }
    return sum;
}

char* PrintNumbers(const std::vector<float>& numbers, float first, char* out, char* end)
{
    float value = first;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i != 0) value = numbers[i];
        out = std::to_chars(out, end, static_cast<double>(value), std::chars_format::fixed, 6).ptr;
    }
    return out;
}

void CopyWords(unsigned int* to, const unsigned int* from, int count)
{
    std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof *to);
}

void ClearPattern()
{
    static char memory[sizeof(StimPattern)];
    std::memset(memory, 0, sizeof memory);
    asm volatile("" : : "r"(memory) : "memory");
}

void Allocate(std::size_t bytes)
{
    void* memory = ::operator new(bytes);
    asm volatile("" : : "r"(memory) : "memory");
    ::operator delete(memory);
}

}  // namespace bench
