#pragma once

// The balance modes of a Lilly pattern: 0 does not balance, 1 to 4 rebuild phase 2 with the charge of phase 1.
namespace TarvUtil::Internal {

constexpr int MaxBalanceMode = 4;

// How many times weaker and longer phase 2 is than phase 1.
inline float BalanceRatio(int mode)
{
    constexpr float Ratios[] = {2, 4, 8};  // of modes 2 to 4
    return mode < 2 || mode > MaxBalanceMode ? 1.0f : Ratios[mode - 2];
}

}  // namespace TarvUtil::Internal
