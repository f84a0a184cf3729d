// Counts what the calling thread takes from the heap, for promises of "no allocation".
#pragma once

#include <cstddef>

/// Counts calls of operator new by this thread from its construction on.
class CAllocationCount
{
public:
    CAllocationCount() noexcept;
    std::size_t Get() const noexcept;

private:
    std::size_t mStart;
};
