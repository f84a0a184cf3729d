// A byte stream through a real connection: however it is cut, the replies are those of the whole, and each is
// a message. The input's first byte sizes the table of cuts, which follows; the rest is the stream.
#include "software/bp/serial/CIpcEventDispatcher.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CIpcNotifyServer.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/IControlProxy.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CSilentLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class CAgreeableProxy : public IControlProxy
{
public:
    bool ApplyValue(const std::string&, int) override { return true; }
    bool ApplyText(const std::string&, const std::string&) override { return true; }
};

// A temporary folder under a name that is the same in every run, so that kept inputs can register the
// notification socket in it.
constexpr int kFolderDescriptor = 200;
constexpr char kServerSocket[] = "/proc/self/fd/200/s";
constexpr char kNotifySocket[] = "/proc/self/fd/200/f.notify";

class CFolder
{
public:
    CFolder()
    {
        Require(::mkdtemp(mPath) != nullptr);
        const CDescriptor folder(::open(mPath, O_PATH | O_DIRECTORY | O_CLOEXEC));
        Require(::dup3(folder.Get(), kFolderDescriptor, O_CLOEXEC) == kFolderDescriptor);
    }
    ~CFolder() { std::filesystem::remove_all(mPath); }

private:
    char mPath[32] = "/tmp/lantern-fuzz-XXXXXX";
};

class CControlProcess
{
public:
    CControlProcess()
    {
        SListEntry entry;
        entry.mText = "HDMI 1";
        mSource.AddList({entry});
        mNotify.Open();
    }

    // What a new connection receives for a stream that is sent in pieces of these sizes, in turn.
    std::string Exchange(std::string_view stream, std::string_view sizes)
    {
        Reset();
        const CDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        Require(NIpcSocket::Connect(socket, kServerSocket) == 0);
        mServer.ProcessEvents();
        std::string received;
        bool open = true;
        for (std::size_t turn = 0; !stream.empty() && open; ++turn)
        {
            const std::size_t wanted =
                sizes.empty() ? 4096
                              : static_cast<unsigned char>(sizes[turn % sizes.size()]) + std::size_t{1};
            const ssize_t sent =
                ::send(socket.Get(), stream.data(), std::min(wanted, stream.size()), MSG_NOSIGNAL);
            if (sent <= 0)
                break;
            stream.remove_prefix(static_cast<std::size_t>(sent));
            mServer.ProcessEvents();
            open = Collect(socket.Get(), received);
        }
        ::shutdown(socket.Get(), SHUT_WR);
        for (int pass = 0; open; ++pass)
        {
            Require(pass < 100); // the server comes to an end
            mServer.ProcessEvents();
            open = Collect(socket.Get(), received);
        }
        std::list<CIpcMessage> notifications;
        mNotify.Collect(notifications);
        return received;
    }

private:
    void Reset()
    {
        mDispatcher.GetNotificationManager().NotifyUnregisterAll(kNotifySocket);
        mPower.SetValue(0);
        mHall.SetText("Hall");
        mSource.SetValue(0);
    }

    // @returns whether more may come
    static bool Collect(int socket, std::string& received)
    {
        char buffer[65536];
        ssize_t size;
        while ((size = ::recv(socket, buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
            received.append(buffer, static_cast<std::size_t>(size));
        return size < 0 && errno == EAGAIN;
    }

    CSilentLog mLog{CSilentLog::ELines::Composed};
    CAgreeableProxy mProxy;
    const CFolder mFolder;
    CEventDispatcher mDispatcher{mLog};
    CProjCon mPower{eDisplayBoolean, mDispatcher, mProxy, "PWR", false, false, eAccessProtected, 0, 0, false};
    CProjCon mHall{eDisplayText, mDispatcher, mProxy,          "NME", false, 0,
                   64,           "Hall",      eAccessOperator, 0,     0,     false};
    CProjCon mSource{eDisplayList, mDispatcher, mProxy, "SRC+MAIN", false, 0, eAccessOperator, 0, 0, false};
    CIpcEventDispatcher mServer{mDispatcher, kServerSocket, mLog};
    CIpcNotifyServer mNotify{kNotifySocket};
};

void RequireMessages(std::string_view bytes)
{
    while (!bytes.empty())
    {
        const auto* const start = reinterpret_cast<const unsigned char*>(bytes.data());
        std::size_t length = 0;
        Require(CIpcMessage::MeasureMessage(start, bytes.size(), length) && length != 0 &&
                length <= bytes.size() && CIpcMessage::IsWellFormed(start, length));
        CIpcMessage reply;
        reply.DeserializeMessage(start, nullptr);
        Require(reply.HasFlag(eFlagReply));
        bytes.remove_prefix(length);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static CControlProcess process;
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (input.empty())
        return 0;
    const std::size_t cuts = std::min<std::size_t>(data[0] % 16, size - 1);
    const std::string_view stream = input.substr(1 + cuts);
    const std::string cut = process.Exchange(stream, input.substr(1, cuts));
    Require(cut == process.Exchange(stream, {}));
    RequireMessages(cut);
    return 0;
}
