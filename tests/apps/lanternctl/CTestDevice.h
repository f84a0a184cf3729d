// A serial line whose other end says what the test wants.
#pragma once

#include "software/utility/CDescriptor.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

/// A pseudo-terminal, as the system makes it: echoing, and by lines. Whatever the client writes is answered,
/// and the last answer is said again and again until the client goes.
class CTestDevice
{
public:
    using Answer = std::function<std::string(const std::string& received)>;

    explicit CTestDevice(Answer answer)
        : mAnswer(std::move(answer))
        , mMaster(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
        if (!mMaster.IsOpen() || grantpt(mMaster.Get()) != 0 || unlockpt(mMaster.Get()) != 0)
            throw std::runtime_error("no pseudo-terminal");
        mName = ptsname(mMaster.Get());
        mSlave.Reset(open(mName.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)); // so that it outlives its clients
        mThread = std::thread([this] { Serve(); });
    }
    ~CTestDevice()
    {
        mIsEnding = true;
        mThread.join();
    }

    const std::string& GetName() const { return mName; }
    int GetSlave() const { return mSlave.Get(); }

private:
    static constexpr int kStep = 2; // ms

    void Serve()
    {
        std::string answer;
        while (!mIsEnding)
        {
            pollfd waiting{mMaster.Get(), POLLIN, 0};
            poll(&waiting, 1, kStep);
            std::array<char, 4096> bytes;
            const ssize_t count = read(mMaster.Get(), bytes.data(), bytes.size());
            if (count > 0)
                answer = mAnswer(std::string(bytes.data(), static_cast<std::size_t>(count)));
            if (write(mMaster.Get(), answer.data(), answer.size()) < 0)
                continue; // it is full: nobody reads
        }
    }

    const Answer mAnswer;
    const CDescriptor mMaster;
    CDescriptor mSlave;
    std::string mName;
    std::atomic<bool> mIsEnding{false};
    std::thread mThread;
};
