// Who gets in, and who does not: limits of clients and descriptors, over real sockets.
#include "software/bp/c4j/CJsonRpcTcpServer.h"

#include "tests/software/bp/c4j/CJsonRpcFixture.h"
#include "tests/support/CDescriptorLimit.h"

#include <chrono>
#include <deque>
#include <string>

namespace
{
class CJsonRpcListenerTest : public CJsonRpcFixture
{
protected:
    CJsonRpcListenerTest() { AddEcho(); }
};

TEST_F(CJsonRpcListenerTest, ConnectionsAboveTheLimitAreClosed)
{
    CJsonRpcTcpServer::SLimits limits;
    limits.mMaxClients = 2;
    mServer.SetLimits(limits);
    std::deque<CRawClient> clients;
    for (int i = 0; i < 5; ++i)
        clients.emplace_back(mServer.GetPort());
    ASSERT_TRUE(PumpUntil(
        [&]
        {
            clients[4].Read();
            return clients[4].HasEnded();
        }));
    const std::string line = "JSON-RPC client limit of 2 reached; further connections are closed";
    EXPECT_EQ(mLog.Count(line), 1u);
    EXPECT_EQ(mServer.GetClientCount(), 2u);

    clients[0].Close();
    ASSERT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == 1; }));
    clients.emplace_back(mServer.GetPort());
    EXPECT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == 2; }));
    clients.emplace_back(mServer.GetPort());
    EXPECT_TRUE(PumpUntil([&] { return mLog.Count(line) == 2; }));
}

TEST_F(CJsonRpcListenerTest, OneAddressDoesNotTakeAllPlaces)
{
    CJsonRpcTcpServer::SLimits limits;
    limits.mMaxClientsPerPeer = 2;
    mServer.SetLimits(limits);
    std::deque<CRawClient> clients;
    const auto connectFrom = [&](const char* address)
    {
        sockaddr_in source{};
        source.sin_family = AF_INET;
        ::inet_pton(AF_INET, address, &source.sin_addr);
        clients.emplace_back(CRawClient::SUnconnected{});
        ASSERT_EQ(::bind(clients.back().GetSocket(), reinterpret_cast<sockaddr*>(&source), sizeof source), 0);
        clients.back().Connect(mServer.GetPort());
    };
    const auto isClosed = [&]
    {
        return PumpUntil(
            [&]
            {
                clients.back().Read();
                return clients.back().HasEnded();
            });
    };
    const auto line = [](const std::string& address)
    {
        return "JSON-RPC client limit of 2 for one address reached by " + address +
               "; its further connections are closed";
    };
    const unsigned first = SJsonRpcClient::mGlobalId;
    for (const char* address : {"127.0.0.1", "127.0.0.1", "127.0.0.2", "127.0.0.2"})
        connectFrom(address);
    EXPECT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == 4; }));
    for (const char* address : {"127.0.0.1", "127.0.0.1", "127.0.0.2", "127.0.0.1"})
    {
        connectFrom(address);
        EXPECT_TRUE(isClosed());
    }
    EXPECT_EQ(mLog.Count(line("127.0.0.1")), 1u);
    EXPECT_EQ(mLog.Count(line("127.0.0.2")), 1u);
    EXPECT_EQ(mServer.GetClientCount(), 4u);

    mServer.ForceClose(first); // room for one again
    connectFrom("127.0.0.1");
    EXPECT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == 4; }));
    connectFrom("127.0.0.1");
    EXPECT_TRUE(isClosed());
    EXPECT_EQ(mLog.Count(line("127.0.0.1")), 2u);
    EXPECT_EQ(mLog.Count(line("127.0.0.2")), 1u);
}

TEST_F(CJsonRpcListenerTest, RunningOutOfDescriptorsPausesAcceptingAndNothingElse)
{
    CRawClient served(mServer.GetPort());
    const unsigned servedId = Accepted(served);
    std::deque<CRawClient> refused; // sockets made before there is none left
    for (int i = 0; i < 3; ++i)
        refused.emplace_back(CRawClient::SUnconnected{});
    CRawClient waiting(CRawClient::SUnconnected{});
    // The lowest free number is the limit: nothing more can be opened.
    const CDescriptorLimit limit(static_cast<rlim_t>(CDescriptor(::dup(served.GetSocket())).Get()));
    ASSERT_TRUE(limit.IsSet());

    for (CRawClient& client : refused)
        client.Connect(mServer.GetPort());
    for (CRawClient& client : refused) // whoever cannot be served is told
        ASSERT_TRUE(PumpUntil(
            [&]
            {
                client.Read();
                return client.HasEnded();
            }));
    waiting.Connect(mServer.GetPort());
    const auto start = std::chrono::steady_clock::now();
    mServer.WaitMessage(50);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(49)) << "it spins";
    served.WriteMessage(Request(1, "echo"));
    ASSERT_TRUE(PumpUntilReceived(served, Echoed(1).size()));
    EXPECT_EQ(mLog.Count("Unable to accept JSON-RPC connections: Too many open files (24); they are closed "
                         "until there is room"),
              1u);

    const unsigned waitingId = SJsonRpcClient::mGlobalId;
    mServer.ForceClose(servedId);
    EXPECT_TRUE(PumpUntil([&] { return mServer.IsClientConnected(waitingId); }));
    EXPECT_EQ(mLog.Count("JSON-RPC connections are accepted again"), 1u);
}
} // namespace
