// Owner of one file descriptor.
#pragma once

#include <utility>

/// Closes its descriptor when it goes; -1 stands for none. Movable, not copyable.
class CDescriptor
{
public:
    CDescriptor() noexcept = default;
    explicit CDescriptor(int descriptor) noexcept
        : mDescriptor(descriptor)
    {
    }
    CDescriptor(CDescriptor&& other) noexcept
        : mDescriptor(other.Release())
    {
    }
    CDescriptor& operator=(CDescriptor&& other) noexcept
    {
        Reset(other.Release());
        return *this;
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor() { Reset(); }

    int Get() const noexcept { return mDescriptor; }
    bool IsOpen() const noexcept { return mDescriptor >= 0; }
    int Release() noexcept { return std::exchange(mDescriptor, -1); } ///< the caller closes it from now on
    void Reset(int descriptor = -1) noexcept; ///< closes the old one, never retried after EINTR

private:
    int mDescriptor = -1;
};
