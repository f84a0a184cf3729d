// One client's connection to the control process.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Cuts what a client sends into messages and holds back what its socket does not take of the replies.
/// Non-blocking.
class CIpcConnection
{
public:
    /// Bytes taken at one time: what one client can keep the others waiting with.
    static constexpr std::size_t kReadSize = 4096;
    /// Bytes of replies that wait for a client; one that lets more pile up is dropped.
    static constexpr std::size_t kMaxPending = std::size_t{1} << 20;

    enum class ERead
    {
        Data, ///< look for messages
        Nothing,
        Closed, ///< end of the stream, or the connection broke
    };

    /// @param name  of the peer, for the log and as the sender of its messages
    CIpcConnection(CDescriptor socket, std::string name);

    int Get() const noexcept { return mSocket.Get(); }
    const std::string& GetName() const noexcept { return mName; }

    ERead Read(); ///< takes at most `kReadSize` bytes
    /// The next whole message of what was read, which stays valid until the next `Read`; null when there is
    /// none. @param error  set to what is wrong when the stream can not be believed any more, else emptied
    const unsigned char* NextMessage(std::string& error);
    std::size_t GetUnread() const noexcept { return mFilled - mTaken; } ///< bytes of a half message

    std::vector<unsigned char>& GetOutput() noexcept { return mOutput; } ///< replies are appended here
    std::size_t GetPending() const noexcept { return mOutput.size() - mSent; }
    bool Flush(); ///< sends what the socket takes. @returns false when the connection broke

    bool IsWatchedForWriting() const noexcept { return mWatchedForWriting; }
    void SetWatchedForWriting(bool watched) noexcept { mWatchedForWriting = watched; }

private:
    CDescriptor mSocket;
    std::string mName;
    std::vector<unsigned char> mInput; // of fixed size
    std::size_t mFilled = 0;           // bytes of mInput that have arrived
    std::size_t mTaken = 0;            // bytes of these that were messages
    std::vector<unsigned char> mOutput;
    std::size_t mSent = 0; // bytes of mOutput that have left
    bool mWatchedForWriting = false;
};
