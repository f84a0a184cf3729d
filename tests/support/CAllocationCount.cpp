// Replaces operator new and delete of the test program.
#include "tests/support/CAllocationCount.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local std::size_t tAllocations = 0;

void* Allocate(std::size_t size)
{
    ++tAllocations;
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}
} // namespace

// The standard library's other forms call these; a sanitizer's nothrow form does not, so it is replaced too.
void* operator new(std::size_t size)
{
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++tAllocations;
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

CAllocationCount::CAllocationCount() noexcept
    : mStart(tAllocations)
{
}

std::size_t CAllocationCount::Get() const noexcept
{
    return tAllocations - mStart;
}
