// The exchanges in the guides to the serial line and the local IPC, held against the program.
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CIpcMessage.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CSerialTerminal.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

namespace
{
using Bytes = std::vector<unsigned char>;

std::string ToHex(const Bytes& bytes)
{
    std::ostringstream text;
    text << std::hex;
    for (const unsigned char byte : bytes)
        text << (byte < 0x10 ? "0" : "") << int{byte} << ' ';
    return text.str();
}

Bytes FromHex(const std::string& text)
{
    std::istringstream in(text);
    in >> std::hex;
    Bytes bytes;
    for (unsigned byte = 0; in >> byte;)
        bytes.push_back(static_cast<unsigned char>(byte));
    return bytes;
}

// What stands in an indented block: its mark ("<", "1>", ...) and what follows; an empty mark for any other
// line.
struct SLine
{
    std::string mMark;
    std::string mText;
};
SLine ReadLine(const std::string& line)
{
    constexpr std::size_t kIndent = 4;
    const std::size_t blank = line.find(' ', kIndent);
    if (line.compare(0, kIndent, "    ") != 0 || blank == std::string::npos)
        return {};
    return {line.substr(kIndent, blank - kIndent), line.substr(blank + 1)};
}

class Guides : public testing::Test
{
protected:
    // "lanternd --serial pty", as a guide has it.
    void Start(const std::string& command)
    {
        std::istringstream words(command);
        std::vector<std::string> arguments;
        std::string word;
        words >> word;
        ASSERT_EQ(word, "lanternd");
        while (words >> word)
            arguments.push_back(word);
        mDaemon.reset();
        mDaemon = std::make_unique<CDaemonProcess>(mFolder.File("s" + std::to_string(mStarts++)), arguments);
    }
    static std::vector<SLine> Read(const std::string& name)
    {
        std::ifstream file(LANTERN_TEST_DOCS_DIR "/" + name);
        EXPECT_TRUE(file.is_open()) << name;
        std::vector<SLine> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(ReadLine(line));
        return lines;
    }

    CTemporaryFolder mFolder;
    int mStarts = 0;
    std::unique_ptr<CDaemonProcess> mDaemon;
};

// What the next receive gives; nothing at the end and after ten seconds.
Bytes Receive(const CDescriptor& socket, std::size_t size)
{
    constexpr int kPatienceMs = 10000;
    Bytes bytes(size);
    pollfd wait{socket.Get(), POLLIN, 0};
    const ssize_t count = ::poll(&wait, 1, kPatienceMs) > 0 ? ::recv(socket.Get(), bytes.data(), size, 0) : 0;
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

// One message of the stream, or what came instead.
Bytes ReceiveMessage(const CDescriptor& socket)
{
    Bytes message;
    for (std::size_t length = CIpcMessage::kHeaderSize; message.size() < length;)
    {
        const Bytes more = Receive(socket, length - message.size());
        if (more.empty())
            break;
        message.insert(message.end(), more.begin(), more.end());
        if (message.size() >= CIpcMessage::kHeaderSize &&
            !CIpcMessage::MeasureMessage(message.data(), message.size(), length))
            break;
    }
    return message;
}

// The guide's addresses lie in the default run directory, ours in another.
Bytes MoveAddress(const Bytes& bytes, const std::string& from, const std::string& to)
{
    CIpcMessage message;
    std::string address;
    if (!CIpcMessage::IsWellFormed(bytes.data(), bytes.size()) ||
        !message.DeserializeMessage(bytes.data(), "guide") || !message.GetArg(0, address) || address != from)
        return bytes;
    message.AddArg(0, to);
    unsigned char* moved = nullptr;
    const unsigned size = message.SerializeMessage(moved);
    return {moved, moved + size};
}
} // namespace

TEST_F(Guides, TheExchangesOfTheSerialGuideAreReal)
{
    std::unique_ptr<CSerialTerminal> ports[2];
    unsigned exchanges = 0;
    for (const auto& [mark, text] : Read("serial.md"))
    {
        SCOPED_TRACE(text);
        if (mark == "$")
        {
            ASSERT_NO_FATAL_FAILURE(Start(text));
            ports[0] = std::make_unique<CSerialTerminal>(mDaemon->GetRunDir() + "/serial0");
            if (mDaemon->GetReady("serial").find("serial1") != std::string::npos)
                ports[1] = std::make_unique<CSerialTerminal>(mDaemon->GetRunDir() + "/serial1");
        }
        else if (mark == ">" || mark == "1>")
        {
            ports[mark == ">" ? 0 : 1]->Send(text);
            ++exchanges;
        }
        else if (mark == "<" || mark == "1<")
        {
            ASSERT_EQ(ports[mark == "<" ? 0 : 1]->Receive(), text);
        }
    }
    EXPECT_GT(exchanges, 20u); // it was read at all
}

TEST_F(Guides, TheExchangesOfTheIpcGuideAreReal)
{
    const std::string socketName = "4711_panel_0.notify";
    CDescriptor connection;
    CDescriptor listener;
    CDescriptor packets;
    unsigned exchanges = 0;
    for (const auto& [mark, text] : Read("ipc.md"))
    {
        SCOPED_TRACE(text);
        if (mark == "$")
        {
            ASSERT_NO_FATAL_FAILURE(Start(text));
            listener = NIpcSocket::Listen(mDaemon->GetRunDir() + "/" + socketName, SOCK_SEQPACKET);
            connection = CDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            ASSERT_EQ(NIpcSocket::Connect(connection, NIpcSocket::MakeServerName(mDaemon->GetRunDir())), 0);
        }
        else if (mark == ">")
        {
            const Bytes bytes = MoveAddress(FromHex(text), NIpcSocket::kRunDirectory + socketName,
                                            mDaemon->GetRunDir() + "/" + socketName);
            ASSERT_EQ(::send(connection.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                      static_cast<ssize_t>(bytes.size()));
            ++exchanges;
        }
        else if (mark == "<")
        {
            ASSERT_EQ(ToHex(ReceiveMessage(connection)), ToHex(FromHex(text)));
        }
        else if (mark == "*") // a packet on the notification socket
        {
            if (!packets.IsOpen())
                packets = CDescriptor(::accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            ASSERT_EQ(ToHex(Receive(packets, CIpcMessage::kMaxSize)), ToHex(FromHex(text)));
        }
    }
    EXPECT_GE(exchanges, 8u); // it was read at all
}
