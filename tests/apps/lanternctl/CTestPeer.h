// A peer that says what it is told, whatever it is asked.
#pragma once

#include "software/utility/CDescriptor.h"

#include <array>
#include <atomic>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <utility>

/// A TCP socket with a port of its own on loopback.
struct SBoundSocket
{
    SBoundSocket()
        : mSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(mSocket.Get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            getsockname(mSocket.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no port on loopback");
        mPort = std::to_string(ntohs(address.sin_port));
    }

    CDescriptor mSocket;
    std::string mPort;
};

/// Accepts one client and, once that has sent something, repeats its answer until the client goes.
class CTestPeer
{
public:
    explicit CTestPeer(std::string answer)
        : mAnswer(std::move(answer))
    {
        if (listen(mListener.mSocket.Get(), 1) != 0)
            throw std::runtime_error("unable to listen");
        mThread = std::thread([this] { Serve(); });
    }
    ~CTestPeer()
    {
        mIsEnding = true;
        mThread.join();
    }

    const std::string& GetPort() const { return mListener.mPort; }

private:
    static constexpr int kStep = 5; // ms

    bool IsReady(int descriptor) const
    {
        pollfd waiting{descriptor, POLLIN, 0};
        while (!mIsEnding)
        {
            if (poll(&waiting, 1, kStep) > 0)
                return true;
        }
        return false;
    }

    void Serve()
    {
        if (!IsReady(mListener.mSocket.Get()))
            return;
        const CDescriptor client(accept(mListener.mSocket.Get(), nullptr, nullptr));
        std::array<char, 4096> request;
        if (!IsReady(client.Get()) || recv(client.Get(), request.data(), request.size(), 0) <= 0)
            return;
        bool isTaken = true;
        while (!mIsEnding && isTaken)
        {
            isTaken = send(client.Get(), mAnswer.data(), mAnswer.size(), MSG_NOSIGNAL) > 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    const std::string mAnswer;
    SBoundSocket mListener;
    std::atomic<bool> mIsEnding{false};
    std::thread mThread;
};
