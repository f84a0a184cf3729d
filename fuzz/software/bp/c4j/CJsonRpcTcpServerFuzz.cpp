// A byte stream through a real connection: however it is cut, the replies are those of the whole.
// The input's first byte sizes the table of cuts, which follows; the rest is the stream.
#include "software/bp/c4j/CC4jStatus.h"
#include "software/bp/c4j/CJsonRpcServer.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/status/CStatusDb.h"
#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CSilentLog.h"
#include "software/utility/IMonotonicClock.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class CStoppedClock : public IMonotonicClock
{
public:
    std::uint32_t GetCounts() const override { return 0; }
    std::uint32_t GetFrequency() const override { return 1000; }
};

class CService
{
public:
    CService()
    {
        using Method = Json::Rpc::RpcMethod<CService>;
        mServer.AddMethod(std::make_unique<Method>(*this, &CService::Echo, "echo").release());
        mServer.AddMethod(std::make_unique<Method>(*this, &CService::Notify, "notify").release());
        mServer.AddMethod(std::make_unique<Method>(*this, &CService::Close, "close").release());
        mStatus.AddGroup("Fans", "fans.png");
        mStatus.AddItem("Fans", 0, "Fan 1");
        mStatus.Set("Fans", 0, eStatusAlarm, "0 rpm");
    }

    CJsonRpcServer& GetServer() { return mServer; }

    // What a new connection receives for a stream that is sent in pieces of these sizes, in turn.
    std::string Exchange(std::string_view stream, std::string_view sizes)
    {
        const CDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(mServer.GetPort());
        Require(::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
        const int on = 1;
        ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        while (mServer.GetClientCount() == 0)
            mServer.WaitMessage(10);

        std::string received;
        for (std::size_t turn = 0; !stream.empty() && mServer.GetClientCount() > 0; ++turn)
        {
            const std::size_t wanted =
                sizes.empty() ? 4096
                              : static_cast<unsigned char>(sizes[turn % sizes.size()]) + std::size_t{1};
            const std::size_t size = std::min(wanted, stream.size());
            const ssize_t sent = ::send(socket.Get(), stream.data(), size, MSG_NOSIGNAL);
            if (sent <= 0)
                break;
            stream.remove_prefix(static_cast<std::size_t>(sent));
            mServer.WaitMessage(10);
            Collect(socket.Get(), received);
        }
        ::shutdown(socket.Get(), SHUT_WR);
        while (mServer.GetClientCount() > 0)
        {
            mServer.WaitMessage(10);
            Collect(socket.Get(), received);
        }
        Collect(socket.Get(), received);
        Require(mServer.GetPendingBytes() == 0);
        return received;
    }

private:
    static void Collect(int socket, std::string& received)
    {
        char buffer[65536];
        ssize_t size;
        while ((size = ::recv(socket, buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
            received.append(buffer, static_cast<std::size_t>(size));
    }

    bool Echo(const Json::Value& request, Json::Value& response)
    {
        response["id"] = request["id"];
        response["result"] = request["params"];
        return true;
    }
    bool Notify(const Json::Value& request, Json::Value& response)
    {
        mServer.NotifyPush({"note", {"JSON_TCP." + std::to_string(request["fd"].asInt())}});
        return Echo(request, response);
    }
    bool Close(const Json::Value& request, Json::Value& response)
    {
        mServer.ForceClose(request["fd"].asUInt());
        return Echo(request, response);
    }

    CSilentLog mLog{CSilentLog::ELines::Composed};
    CStoppedClock mClock;
    CEventDispatcher mDispatcher{mLog};
    CStatusDb mStatus{mLog};
    CJsonRpcServer mServer{mDispatcher, "127.0.0.1", 0, mClock, mLog};
    CC4jStatus mStatusMethods{mServer, mStatus};
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static CService service;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    if (input.empty())
        return 0;
    const std::size_t cuts = std::min<std::size_t>(data[0] % 16, size - 1);
    const std::string_view stream = input.substr(1 + cuts);
    const std::string cut = service.Exchange(stream, input.substr(1, cuts));
    // A connection that a method closes may lose bytes that its peer has not read yet.
    if (stream.find("close") == std::string_view::npos)
        Require(cut == service.Exchange(stream, {}));
    Require(cut.empty() || cut.back() == '\0');
    return 0;
}
