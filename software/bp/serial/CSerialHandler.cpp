// The passes over the lines, and what is for several of them.
#include "software/bp/serial/CSerialHandler.h"

#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CVarnholtSerialParser.h"
#include "software/bp/serial/NSerialRouting.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/CTurn.h"
#include "software/utility/NPosix.h"

#include <cstdint>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CSerialHandler";

constexpr unsigned char GetNumber(std::size_t index) noexcept
{
    return static_cast<unsigned char>(NSerialRouting::kFirstPort << index);
}
static_assert(GetNumber(CSerialHandler::kMaxPorts - 1) == NSerialRouting::kLastPort);
} // namespace

struct CSerialHandler::SLine
{
    // In this order: the parser goes first.
    std::unique_ptr<CCommPort> mPort;
    std::unique_ptr<CEventLink> mLink;
    std::unique_ptr<CSerialParser> mParser; // null: closed
    std::uint64_t mTag = 0;                 // its index; that of who comes and goes is beyond all indices
    bool mReadable = false;
    bool mIsWatched = true;
    bool mWatchesWrite = false;
};

CSerialHandler::CSerialHandler(LinkFactory makeLink, const IMonotonicClock& clock, ILog& log)
    : mMakeLink(std::move(makeLink))
    , mClock(clock)
    , mLog(log)
    , mWake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!mWake.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to create an event descriptor");
    mSelect.AddWake(mWake.Get());
}

CSerialHandler::~CSerialHandler() = default;

unsigned char CSerialHandler::AddPort(std::unique_ptr<CCommPort> port)
{
    if (mLines.size() >= kMaxPorts)
        throw CException(__func__, kSource, __LINE__, false, "At most %zu serial ports", kMaxPorts);
    const unsigned char number = GetNumber(mLines.size());
    port->SetNumber(number);
    auto line = std::make_unique<SLine>();
    line->mPort = std::move(port);
    line->mLink = mMakeLink();
    line->mParser = std::make_unique<CVarnholtSerialParser>(line->mLink.get(), this, line->mPort.get(), mLog);
    line->mTag = mLines.size();
    mSelect.Add(line->mPort->GetDescriptor(), line->mTag);
    if (line->mPort->GetPeerDescriptor() >= 0)
        mSelect.Add(line->mPort->GetPeerDescriptor(), line->mTag + kMaxPorts);
    mLog.Log("Serial port %s opened as port %d, protocol %s", line->mPort->GetName().c_str(), number,
             line->mParser->GetProtocol());
    mLines.push_back(std::move(line));
    return number;
}

void CSerialHandler::Wake() noexcept
{
    const std::uint64_t one = 1;
    // It can only fail when it is signalled already.
    static_cast<void>(NPosix::RetryOnInterrupt([&] { return ::write(mWake.Get(), &one, sizeof one); }));
}

void CSerialHandler::ClearWake() noexcept
{
    std::uint64_t count = 0;
    static_cast<void>(NPosix::RetryOnInterrupt([&] { return ::read(mWake.Get(), &count, sizeof count); }));
}

void CSerialHandler::Update()
{
    ClearWake();
    TakeReady();
    for (const auto& line : mLines)
    {
        if (line->mParser != nullptr)
            Serve(*line);
    }
    for (const auto& line : mLines) // a relay or a notification may have closed one that was served before
    {
        if (line->mParser != nullptr && line->mParser->IsClosed())
            Close(*line);
        else if (line->mParser != nullptr)
            Watch(*line);
    }
}

void CSerialHandler::TakeReady()
{
    mSelect.Wait(0);
    for (const CSelectWrapper::SReady& ready : mSelect.GetReady())
    {
        SLine& line = *mLines[ready.mTag % kMaxPorts];
        if (ready.mTag >= kMaxPorts)
        {
            line.mPort->LookForPeer();
            continue;
        }
        line.mReadable = ready.mReadable;
        if (ready.mWritable)
            line.mParser->FlushOutput();
    }
}

void CSerialHandler::Serve(SLine& line)
{
    CSerialParser& parser = *line.mParser;
    parser.EndIdleLogIn();
    bool hasWork = std::exchange(line.mReadable, false) || parser.HasInput();
    CTurn turn(kQuantum);
    for (unsigned i = 0; i < kMessagesPerPass && hasWork && parser.IsSelectable() && !turn.IsOver(); ++i)
    {
        turn.Start();
        parser.ProcessData();
        hasWork = parser.HasInput();
    }
    if (hasWork && parser.IsSelectable())
        Wake();
}

// A line that waits or that nobody holds is not watched at all, since a hang-up would be reported again and
// again.
void CSerialHandler::Watch(SLine& line)
{
    const int descriptor = line.mPort->GetDescriptor();
    const bool watches = line.mParser->IsSelectable() && line.mPort->IsConnected();
    if (watches != line.mIsWatched)
    {
        if (watches)
            mSelect.Add(descriptor, line.mTag);
        else
            mSelect.Remove(descriptor);
        line.mIsWatched = watches;
        line.mWatchesWrite = false;
    }
    const bool write = watches && line.mPort->HasOutput();
    if (write != line.mWatchesWrite)
        mSelect.Watch(descriptor, line.mTag, true, write);
    line.mWatchesWrite = write;
}

void CSerialHandler::Close(SLine& line)
{
    mSelect.Remove(line.mPort->GetDescriptor());
    mSelect.Remove(line.mPort->GetPeerDescriptor());
    line.mParser.reset();
    line.mLink.reset();
    mLog.LogError("Serial port %s closed", line.mPort->GetName().c_str());
    line.mPort.reset();
}

void CSerialHandler::RelayMessage(const CSerialParser* from, const unsigned char* bytes, int length,
                                  unsigned char mask)
{
    for (const auto& line : mLines)
    {
        if (line->mParser != nullptr && line->mParser.get() != from && (line->mPort->GetNumber() & mask) != 0)
            line->mParser->RelayMessage(bytes, length);
    }
}

void CSerialHandler::BroadcastKey(int key)
{
    for (const auto& line : mLines)
    {
        if (line->mParser != nullptr)
            line->mParser->BroadcastKey(key);
    }
}

void CSerialHandler::ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code)
{
    for (const auto& line : mLines)
    {
        if (line->mParser != nullptr)
            line->mParser->ProcessErrors(text, level, code);
    }
}
