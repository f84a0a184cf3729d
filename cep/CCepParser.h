// Cuts messages out of a stream of bytes.
#pragma once

#include "cep/CMutex.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace LibMarlix
{
class CCepMessage;

/// Collects bytes up to a fixed number. One thread may add bytes while another takes messages.
///
/// `getCepMsg` alone never passes over what begins like a message and can not become one: a single damaged
/// byte would stop the link for good. Its owner calls `dropBlocked` when there is no message, and
/// `dropPending` when the rest of one stays out for too long; or `receive`, which does the first by itself.
class CCepParser
{
public:
    /// @param capacity  bytes; a message that is longer can not be received
    explicit CCepParser(std::size_t capacity);

    /// @returns how many of the bytes were taken: as many as there is room for
    std::size_t addData(const unsigned char* bytes, std::size_t count);
    std::size_t addData(const char* bytes, std::size_t count);

    std::size_t
    getRoom(); ///< bytes that `addData` would take now; above 0 after a `receive` without a message

    /// Takes the next message, whatever its CRC. Bytes in front of it are dropped; those of one that is not
    /// complete, or not sound, stay.
    /// @returns a message that the caller owns, or null
    CCepMessage* getCepMsg();

    /// Drops what can not become a message however many bytes follow: noise, a header that is invalid, a
    /// length that can not be read or exceeds the capacity, properties that break their area.
    /// @returns bytes dropped; 0 when only more bytes can help
    std::size_t dropBlocked();

    /// Gives up the message that the parser is in the middle of: the search goes on behind its first byte,
    /// for a damaged length may have swallowed sound messages.
    /// @returns bytes dropped; 0 when it holds none
    std::size_t dropPending();

    /// Empties it, for a new connection.
    void clear();

    enum class ECrc
    {
        Told, ///< a wrong one is reported with its message
        Right ///< what has a wrong one is passed over
    };
    struct SReceived
    {
        std::unique_ptr<CCepMessage> mMessage; ///< null when only more bytes can help
        std::size_t mDropped = 0;              ///< bytes passed over on the way
        bool mHasRightCrc = false;
    };
    /// Takes the next message and passes over everything that would block it.
    [[nodiscard]] SReceived receive(ECrc crc);

private:
    const unsigned char* front() const noexcept { return mBuffer.data() + mBegin; }
    std::size_t size() const noexcept { return mEnd - mBegin; }
    bool findMsg(std::size_t& at) const noexcept;
    std::size_t findStart() const noexcept;
    bool isBlocking(std::size_t announced) const noexcept;
    std::size_t drop(std::size_t count) noexcept;

    CMutex mMutex;
    std::vector<unsigned char> mBuffer; // of the capacity
    std::size_t mBegin = 0;
    std::size_t mEnd = 0;
};
} // namespace LibMarlix
