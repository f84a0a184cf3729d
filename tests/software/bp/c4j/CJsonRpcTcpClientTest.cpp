// The client end: framing of what is sent and of what comes back.
#include "software/bp/c4j/CJsonRpcTcpClient.h"

#include "software/jsonrpc/Server.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CException.h"

#include <sys/socket.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <optional>
#include <string>

namespace
{
// The far end is a plain socket, so that a test decides each byte.
class CJsonRpcTcpClientTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.Bind());
        ASSERT_EQ(::listen(mServer.GetSocket(), 1), 0);
        mClient.emplace("127.0.0.1", mServer.GetPort());
        ASSERT_TRUE(mClient->Connect());
        mFarEnd.Reset(::accept(mServer.GetSocket(), nullptr, nullptr));
        ASSERT_TRUE(mFarEnd.IsOpen());
    }

    void Put(const std::string& bytes)
    {
        ASSERT_EQ(::send(mFarEnd.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    std::string Get(std::size_t bytes)
    {
        std::string text(bytes, ' ');
        return ::recv(mFarEnd.Get(), text.data(), bytes, MSG_WAITALL) == static_cast<ssize_t>(bytes) ? text
                                                                                                     : "";
    }

    Json::Rpc::Server mServer{"127.0.0.1", 0};
    std::optional<CJsonRpcTcpClient> mClient;
    CDescriptor mFarEnd;
};

TEST_F(CJsonRpcTcpClientTest, SendsExactlyOneNul)
{
    mClient->Send("text");
    mClient->Send(std::string("more\0", 5));
    mClient->Send("");
    EXPECT_EQ(Get(11), std::string("text\0more\0\0", 11));
}

TEST_F(CJsonRpcTcpClientTest, CutsMessagesAndDropsWhatIsNone)
{
    const std::string stream("one\0\0"
                             "5 digits\0two\0",
                             18);
    const std::deque<std::string> expected{"one", "two"};
    for (std::size_t cut = 1; cut < stream.size(); ++cut)
    {
        SCOPED_TRACE(cut);
        std::deque<std::string> messages;
        Put(stream.substr(0, cut));
        mClient->Recv(messages, true);
        Put(stream.substr(cut));
        mClient->Recv(messages, true);
        EXPECT_EQ(messages, expected);
    }
    std::deque<std::string> messages;
    mClient->Recv(messages, false); // returns at once
    EXPECT_TRUE(messages.empty());
}

TEST_F(CJsonRpcTcpClientTest, FailuresAreExceptions)
{
    const auto messageOf = [](auto call) -> std::string
    {
        try
        {
            call();
        }
        catch (const CException& failure)
        {
            return failure.GetMessage();
        }
        return "no exception";
    };
    std::deque<std::string> messages;
    std::string message;
    EXPECT_EQ(messageOf([&] { mClient->Recv(message); }),
              "Not implemented.  Use Recv(std::deque<std::string>) instead");
    mFarEnd.Reset();
    EXPECT_EQ(messageOf([&] { mClient->Recv(messages, true); }), "Unable to recv data from server");
    EXPECT_EQ(messageOf(
                  [&]
                  {
                      for (int i = 0; i < 100; ++i) // the first may still find the far end half open
                          mClient->Send("text");
                  }),
              "Unable to send data to server");
    mClient->Close();
    EXPECT_EQ(messageOf([&] { mClient->Send("text"); }), "Unable to send data to server");
    EXPECT_EQ(messageOf([&] { mClient->Recv(messages, false); }), "Unable to recv data from server");
}

TEST_F(CJsonRpcTcpClientTest, AServerThatTakesNothingIsNotWaitedFor)
{
    const std::string chunk(4096, 'x');
    while (::send(mClient->GetSocket(), chunk.data(), chunk.size(), MSG_DONTWAIT) > 0)
        continue; // until nothing more fits
    try
    {
        mClient->Send("text");
        ADD_FAILURE() << "nobody reads";
    }
    catch (const CException& failure)
    {
        EXPECT_EQ(failure.GetSystemError(), EAGAIN);
    }
    EXPECT_GE(mClient->GetSocket(), 0) << "nothing was cut, so the connection stays";
}
} // namespace
