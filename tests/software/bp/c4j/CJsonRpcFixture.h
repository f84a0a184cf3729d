// A JSON-RPC server on the loopback interface, and plain sockets that talk to it.
#pragma once

#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/CDescriptor.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A message as it stands on the wire.
inline std::string WithNul(const std::string& text)
{
    return text + '\0';
}

/// Sends bytes as they are given and keeps what comes back. Never blocks.
class CRawClient
{
public:
    explicit CRawClient(unsigned short port, int receiveBuffer = 0)
        : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        if (receiveBuffer > 0) // before connecting, because it limits the window
            ::setsockopt(mSocket.Get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        Connect(port);
    }
    struct SUnconnected
    {
    };
    explicit CRawClient(SUnconnected)
        : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
    }

    void Connect(unsigned short port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        if (::connect(mSocket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("connect failed");
        const int on = 1;
        ::setsockopt(mSocket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }

    /// @returns whether all of it fitted
    bool Write(const std::string& bytes)
    {
        return ::send(mSocket.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    /// A whole message, with its NUL.
    bool WriteMessage(const std::string& text) { return Write(WithNul(text)); }

    void Read()
    {
        char buffer[65536];
        ssize_t size;
        while ((size = ::recv(mSocket.Get(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
            mReceived.append(buffer, static_cast<std::size_t>(size));
        mEnded = mEnded || size == 0 || (size < 0 && errno != EAGAIN);
    }

    bool HasEnded() const { return mEnded; }
    std::string& Received() { return mReceived; }
    int GetSocket() const { return mSocket.Get(); }
    std::string GetName() const
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(mSocket.Get(), reinterpret_cast<sockaddr*>(&address), &size);
        return "127.0.0.1-" + std::to_string(ntohs(address.sin_port));
    }

    void Close() { mSocket.Reset(); }
    void Abort() // the peer sees a reset
    {
        const linger none{1, 0};
        ::setsockopt(mSocket.Get(), SOL_SOCKET, SO_LINGER, &none, sizeof none);
        Close();
    }

private:
    CDescriptor mSocket;
    std::string mReceived;
    bool mEnded = false;
};

/// Methods are added as functions; the server is pumped until something is so.
class CJsonRpcFixture : public testing::Test
{
protected:
    using Function = std::function<void(const Json::Value& request, Json::Value& response)>;

    void AddMethod(const std::string& name, Function function)
    {
        auto& entry = mFunctions.emplace_back(std::make_unique<SFunction>(SFunction{std::move(function)}));
        mServer.AddMethod(
            std::make_unique<Json::Rpc::RpcMethod<SFunction>>(*entry, &SFunction::Call, name).release());
    }

    /// A method whose result is its params.
    void AddEcho()
    {
        AddMethod("echo",
                  [](const Json::Value& request, Json::Value& response)
                  {
                      response["id"] = request["id"];
                      response["result"] = request["params"];
                  });
    }

    /// @returns whether it became so, within a time that no machine needs
    bool PumpUntil(const std::function<bool()>& isSo)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!isSo())
        {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            mServer.ProcessMessages();
        }
        return true;
    }
    bool PumpUntilReceived(CRawClient& client, std::size_t bytes)
    {
        return PumpUntil(
            [&]
            {
                client.Read();
                return client.Received().size() >= bytes || client.HasEnded();
            });
    }
    void PumpIdle() // until nothing is left to do
    {
        for (int i = 0; i < 3; ++i)
            mServer.ProcessMessages();
    }

    /// The id of a client that connects now.
    unsigned Accepted(const CRawClient& client)
    {
        const unsigned id = SJsonRpcClient::mGlobalId;
        EXPECT_TRUE(PumpUntil([&] { return mServer.IsClientConnected(id); })) << client.GetName();
        return id;
    }

    static std::string Request(int id, const std::string& method, const std::string& params = "[]")
    {
        return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":")" + method +
               R"(","params":)" + params + "}";
    }
    static std::string Echoed(int id, const std::string& params = "[]")
    {
        return R"({"id":)" + std::to_string(id) + R"(,"result":)" + params + "}" + '\0';
    }
    static std::string Descriptor(unsigned id) { return "JSON_TCP." + std::to_string(id); }

    CRecordingLog mLog;
    CManualClock mClock{1000000};
    CEventDispatcher mDispatcher{mLog};
    CJsonRpcServer mServer{mDispatcher, "127.0.0.1", 0, mClock, mLog};

private:
    struct SFunction
    {
        Function mFunction;
        bool Call(const Json::Value& request, Json::Value& response)
        {
            mFunction(request, response);
            return true;
        }
    };
    std::vector<std::unique_ptr<SFunction>> mFunctions;
};
