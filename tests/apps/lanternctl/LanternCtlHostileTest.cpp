// Serial devices and control sockets that are no projector, or mean no good.
#include "software/bp/serial/NIpcSocket.h"
#include "software/bp/serial/NSerialFormat.h"
#include "software/utility/CIpcMessage.h"
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/apps/lanternctl/CTestDevice.h"
#include "tests/support/CTemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <sys/socket.h>

namespace
{
using testing::HasSubstr;

// The address that a message came from: answers go there.
int SenderOf(const std::string& line)
{
    std::smatch parts;
    const bool isOurs = std::regex_search(line, parts, std::regex("^\\(&\\$65534 ([0-9]{5}) "));
    return isOurs ? std::stoi(parts[1]) : CIpcMessage::kNoAddress;
}

std::string MakeReply(int to, const char* code, int value)
{
    CIpcMessage reply;
    reply.SetCode(code);
    reply.SetSubCode("");
    reply.SetFlags(eFlagReply | eFlagChecksum);
    reply.SetDestination(static_cast<unsigned short>(to));
    reply.AddArg(0, value);
    std::string line;
    NSerialFormat::Format(reply, line);
    return line;
}

CTestDevice::Answer Always(const std::string& text)
{
    return [=](const std::string&) { return text; };
}

// A thread that treats every client of a control socket in the same way.
class CTestControlSocket
{
public:
    CTestControlSocket(const std::string& runDirectory, std::string answer)
        : mAnswer(std::move(answer))
        , mListener(NIpcSocket::Listen(NIpcSocket::MakeServerName(runDirectory), SOCK_STREAM))
        , mThread([this] { Serve(); })
    {
    }
    ~CTestControlSocket()
    {
        mIsEnding = true;
        mThread.join();
    }

private:
    void Serve()
    {
        while (!mIsEnding)
        {
            pollfd waiting{mListener.Get(), POLLIN, 0};
            if (poll(&waiting, 1, 2) <= 0)
                continue;
            const CDescriptor client(accept(mListener.Get(), nullptr, nullptr));
            std::array<char, 256> request;
            const ssize_t count = recv(client.Get(), request.data(), request.size(), 0);
            if (count > 0)
                send(client.Get(), mAnswer.data(), mAnswer.size(), MSG_NOSIGNAL);
        }
    }

    const std::string mAnswer;
    const CDescriptor mListener;
    std::atomic<bool> mIsEnding{false};
    std::thread mThread;
};
} // namespace

TEST(LanternCtlHostile, AnySerialDeviceEndsInAnExitCode)
{
    struct SRow
    {
        const char* mName;
        CTestDevice::Answer mAnswer;
        int mExitCode;
        std::string mErrors;
    };
    const SRow rows[] = {
        {"silence", Always(""), 3, "no answer from "},
        {"noise", Always(std::string("\xff\x00(((\"(\\h$^^$)\r\n(LUM!\"", 20)), 3, "no answer from "},
        {"an echo", [](const std::string& received) { return received; }, 3, "no answer from "},
        {"notifications without end", Always("(LUM!735)"), 3, "no answer from "},
        {"acknowledged, but not answered", Always("$"), 3, "no answer from "},
        {"answers to somebody else",
         [](const std::string& received)
         { return MakeReply((SenderOf(received) + 1) % 1024, "LUM", 7) + "$"; },
         3, "no answer from "},
        {"answers about something else",
         [](const std::string& received) { return MakeReply(SenderOf(received), "BRI", 7) + "$"; }, 3,
         "no answer from "},
        {"answers without end",
         [](const std::string& received) { return MakeReply(SenderOf(received), "LUM", 7); }, 3,
         " answers without end"},
        {"errors of the unit, not of the message", Always("(65535 ERR00003 \"System Error: hot\")"), 3,
         "no answer from "},
        {"always refused", Always("(65535 ERR00104 \"LUM: \x1b[2J\")^"), 1, "LUM: \\x1b[2J (104)"},
        {"never understood", Always("(65535 ERR00010 \"Syntax Error: checksum failed: 7\")"), 1,
         "checksum failed: 7 (10)"},
        {"always the right answer",
         [](const std::string& received) { return MakeReply(SenderOf(received), "LUM", 200) + "$"; }, 0, ""},
    };
    for (const SRow& row : rows)
    {
        SCOPED_TRACE(row.mName);
        CTestDevice device(row.mAnswer);
        CCtlProcess process({"--serial", device.GetName(), "--timeout", "300", "get", "LUM"});
        EXPECT_EQ(process.Wait(), row.mExitCode);
        EXPECT_THAT(process.GetErrors(), HasSubstr(row.mErrors));
    }
    CTestDevice chatter(Always("(LUM!735)"));
    CCtlProcess send({"--serial", chatter.GetName(), "--timeout", "300", "send", "(LUM?)"});
    EXPECT_EQ(send.Wait(), 0); // it ends, though the line is never quiet
    EXPECT_THAT(send.GetOutput(), HasSubstr("(LUM!735)\n"));
}

TEST(LanternCtlHostile, AnyControlSocketEndsInAnExitCode)
{
    CTemporaryFolder folder;
    const std::string name = NIpcSocket::MakeServerName(folder.GetPath());
    const auto run = [&]
    {
        CCtlProcess process({"--ipc", folder.GetPath(), "--timeout", "200", "get", "LUM"});
        EXPECT_EQ(process.Wait(), 3);
        return process.GetErrors();
    };
    {
        SCOPED_TRACE("connected, never answered");
        const CDescriptor listener = NIpcSocket::Listen(name, SOCK_STREAM);
        EXPECT_EQ(run(), "lanternctl: no answer from " + name + " within 200 ms\n");
    }
    EXPECT_EQ(run(), "lanternctl: no connection to " + name + ": Connection refused\n"); // left by a crash
    for (const std::string answer : {"", "HTTP/1.1 400 Bad Request\r\n\r\n"})
    {
        SCOPED_TRACE(answer);
        unlink(name.c_str());
        const CTestControlSocket peer(folder.GetPath(), answer);
        EXPECT_EQ(run(), "lanternctl: connection to " + name + " lost\n");
    }
}
