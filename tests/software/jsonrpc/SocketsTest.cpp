// Server, Client, UdpServer and UdpClient over the loopback interface.
#include "software/jsonrpc/Client.h"
#include "software/jsonrpc/RpcMethod.h"
#include "software/jsonrpc/Server.h"
#include "software/jsonrpc/UdpClient.h"
#include "software/jsonrpc/UdpServer.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>

namespace
{
constexpr char kLoopback[] = "127.0.0.1";

class CPing
{
public:
    bool Ping(const Json::Value& request, Json::Value& response)
    {
        response["result"] = request["fd"];
        return true;
    }
};

TEST(JsonRpcServer, TellsThePortThatItGotAndRefusesATakenOne)
{
    Json::Rpc::Server server(kLoopback, 0);
    EXPECT_EQ(server.GetSocket(), -1);
    ASSERT_TRUE(server.Bind());
    EXPECT_NE(server.GetPort(), 0);
    EXPECT_FALSE(server.Bind()) << "bound already";
    ASSERT_EQ(::listen(server.GetSocket(), 1), 0);

    Json::Rpc::Server second(kLoopback, server.GetPort());
    EXPECT_FALSE(second.Bind());
    EXPECT_EQ(errno, EADDRINUSE);

    server.Close();
    EXPECT_EQ(server.GetSocket(), -1);
    EXPECT_TRUE(second.Bind());
    EXPECT_FALSE(Json::Rpc::Server("no such address", 0).Bind());
}

TEST(JsonRpcClient, ConnectsByNameAndReportsRefusal)
{
    Json::Rpc::Server server(kLoopback, 0);
    ASSERT_TRUE(server.Bind());
    ASSERT_EQ(::listen(server.GetSocket(), 4), 0);
    Json::Rpc::Client client("no such host", server.GetPort());
    EXPECT_FALSE(client.Connect());
    client.SetAddress("localhost");
    ASSERT_TRUE(client.Connect(1000));
    EXPECT_GE(client.GetSocket(), 0);
    EXPECT_TRUE(client.Connect()) << "again";

    server.Close();
    EXPECT_FALSE(client.Connect(1000));
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(client.GetSocket(), -1);
}

TEST(JsonRpcClient, DoesNotWaitForeverForAServerThatDoesNotAccept)
{
    Json::Rpc::Server server(kLoopback, 0);
    ASSERT_TRUE(server.Bind());
    ASSERT_EQ(::listen(server.GetSocket(), 0), 0);
    Json::Rpc::Client first(kLoopback, server.GetPort());
    Json::Rpc::Client second(kLoopback, server.GetPort());
    Json::Rpc::Client third(kLoopback, server.GetPort());
    ASSERT_TRUE(first.Connect(1000)); // fills the queue of connections that nobody accepts
    (void)second.Connect(50);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(third.Connect(50));
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(JsonRpcUdp, EachDatagramIsAnsweredToItsSender)
{
    Json::Rpc::UdpServer server(kLoopback, 0);
    ASSERT_TRUE(server.Bind());
    CPing ping;
    auto method = std::make_unique<Json::Rpc::RpcMethod<CPing>>(ping, &CPing::Ping, "ping");
    ASSERT_TRUE(server.AddMethod(method.release()));
    EXPECT_FALSE(server.WaitMessage(0));

    Json::Rpc::UdpClient first(kLoopback, server.GetPort());
    Json::Rpc::UdpClient second(kLoopback, server.GetPort());
    ASSERT_TRUE(first.Connect());
    ASSERT_TRUE(second.Connect());
    ASSERT_TRUE(first.Send(R"({"jsonrpc":"2.0","id":1,"method":"ping"})"));
    ASSERT_TRUE(second.Send("nonsense"));
    ASSERT_TRUE(first.Send(R"({"jsonrpc":"2.0","method":"ping"})")); // no answer
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(server.WaitMessage(1000));

    std::string answer;
    sockaddr_in sender{};
    ASSERT_TRUE(first.Receive(answer, sender, 1000));
    EXPECT_EQ(answer, R"({"result":-1})");
    EXPECT_EQ(ntohs(sender.sin_port), server.GetPort());
    ASSERT_TRUE(second.Receive(answer, sender, 1000));
    EXPECT_EQ(answer, R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})");
    EXPECT_FALSE(first.Receive(answer, sender, 0));
}
} // namespace
