#pragma once

// Word 0 of a word array: the number of cycles in bits 0 to 11, the bits above clear.
namespace TarvUtil::Internal {

constexpr int MaxCyclesPerCommand = 4095;
constexpr unsigned int CycleMask = 0xFFFU;

}  // namespace TarvUtil::Internal
