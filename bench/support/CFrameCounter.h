// Where messages end in a stream.
#pragma once

#include <array>
#include <cstddef>

enum class EFraming
{
    Nul,    ///< JSON-RPC: each ends in a NUL
    Length, ///< local IPC: each has its length in its header
};

/// Counts the messages of one stream, however it is cut; what they say is not looked at.
class CFrameCounter
{
public:
    explicit CFrameCounter(EFraming framing)
        : mFraming(framing)
    {
    }

    /// @returns how many messages end in these bytes
    /// @throws CException for a header that gives a length below its own
    std::size_t Count(const char* bytes, std::size_t size);

private:
    std::size_t CountLengths(const char* bytes, std::size_t size);

    static constexpr std::size_t kHeaderSize = 24; // bytes

    EFraming mFraming;
    std::array<unsigned char, kHeaderSize> mHeader{};
    std::size_t mSeen = 0;   // bytes of the message that has begun
    std::size_t mLength = 0; // of it, once its header is whole
};
