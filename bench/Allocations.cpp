#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

long& Count()
{
    static long count = 0;
    return count;
}

}  // namespace

long bench::Allocations()
{
    return Count();
}

// Replaces the allocation of the program, the library included.
void* operator new(std::size_t size)
{
    ++Count();
    void* memory = std::malloc(size);  // NOLINT(cppcoreguidelines-no-malloc)
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);  // NOLINT(cppcoreguidelines-no-malloc)
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);  // NOLINT(cppcoreguidelines-no-malloc)
}
