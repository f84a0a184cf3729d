// What the two directions of a connection share.
#pragma once

#include <cstddef>
#include <string>

namespace NJsonRpcBuffer
{
constexpr std::size_t kKeptBytes = std::size_t{64} << 10; // of an empty buffer; larger ones are given back

/// A long text passes now and then; its memory must not stay with each client that ever had one.
inline void Empty(std::string& buffer)
{
    if (buffer.capacity() > kKeptBytes)
        std::string().swap(buffer);
    else
        buffer.clear();
}
} // namespace NJsonRpcBuffer
