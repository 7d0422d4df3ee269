#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {
long count = 0;
}  // namespace

long bench::Allocations()
{
    return count;
}

void* operator new(std::size_t size)
{
    ++count;
    void* memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
