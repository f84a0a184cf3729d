// A serial port whose wire is in memory.
#pragma once

#include "software/bp/serial/CCommPort.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include <sys/eventfd.h>

/// Gives the bytes it was fed in pieces, and keeps what was written.
class CScriptedPort : public CCommPort
{
public:
    CScriptedPort()
        : CCommPort("scripted", CDescriptor(::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK))) // always readable
    {
    }

    int Read(unsigned char* bytes, int size) override
    {
        if (mInput.empty())
            return mIsUnplugged ? 0 : kNothingYet;
        const std::size_t count = std::min({mInput.size(), static_cast<std::size_t>(size), mPiece});
        std::copy_n(mInput.begin(), count, bytes);
        mInput.erase(0, count);
        return static_cast<int>(count);
    }
    bool Write(const unsigned char* bytes, int size) override
    {
        if (mFails)
            throw CException("Write", "test", 1, false, "pulled out");
        if (!mIsStuck)
            mOutput.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
        return !mIsStuck;
    }
    bool WriteChar(char c) override
    {
        const auto byte = static_cast<unsigned char>(c);
        return Write(&byte, 1);
    }
    std::string Take() { return std::exchange(mOutput, {}); }

    std::string mInput;
    std::size_t mPiece = 4096; // bytes that one read gives at most
    bool mIsUnplugged = false;
    bool mFails = false;
    bool mIsStuck = false;

private:
    std::string mOutput;
};
