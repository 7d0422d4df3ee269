#pragma once

// Counts the allocations of a program that this is linked into, those of the library included.
namespace bench {

// Calls of operator new since the program started.
long Allocations();

}  // namespace bench
