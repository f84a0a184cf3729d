// A noisy line in front of a real control process. Whatever is written must be read without an error, and
// what is passed on must be passed on by the next unit as it is.
#include "software/bp/serial/CVarnholtSerialParser.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CIpcEventDispatcher.h"
#include "software/bp/serial/CIpcLocalClient.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/CSerialHandler.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ILogIn.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"
#include "tests/support/CScriptedPort.h"
#include "tests/support/CTemporaryFolder.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class CEveryoneMay : public ILogIn
{
public:
    void LogIn(const std::string&, const std::string&, const std::string&, Done done) override
    {
        done({eAccessProtected, ""});
    }
};

/// A control process with one control of each kind.
class CProjector
{
public:
    CProjector() { mSource.AddList({SListEntry(), SListEntry()}); }

    CRecordingLog mLog;
    CRecordingProxy mProxy;
    CManualClock mClock{100};
    CEveryoneMay mLogIn;
    CTemporaryFolder mFolder;
    CEventDispatcher mDispatcher{mLog};
    CProjCon mPower{eDisplayBoolean, mDispatcher, mProxy, "PWR", false, false, eAccessOperator, 1, 2, false};
    CProjCon mCorner{eDisplayInteger, mDispatcher, mProxy, "KST+TLPX", false, -400, 400, 7,
                     eAccessOperator, 3,           4,      0,          false};
    CProjCon mSource{eDisplayList, mDispatcher, mProxy, "SRC", false, 0, eAccessOperator, 5, 6, false};
    CProjCon mName{eDisplayText, mDispatcher, mProxy,          "NME", false, 0,
                   255,          "Hall",      eAccessOperator, 7,     8,     false};
    CProjCon mService{eDisplayInteger,  mDispatcher, mProxy, "SVO", false, -50, 50, 5,
                      eAccessProtected, 9,           10,     0,     false};
    CIpcEventDispatcher mServer{mDispatcher, NIpcSocket::MakeServerName(mFolder.GetPath()), mLog};
};

/// Two ports of one unit, the second of which gets what the first passes on.
class CUnit
{
public:
    explicit CUnit(CProjector& projector)
        : mHandler(
              [&projector]
              {
                  return std::make_unique<CEventLink>(projector.mLog,
                                                      std::make_unique<CIpcLocalClient>(projector.mServer));
              },
              projector.mClock, projector.mLog)
    {
        mHandler.SetLogIn(&projector.mLogIn);
        for (CScriptedPort*& port : mPorts)
        {
            auto scripted = std::make_unique<CScriptedPort>();
            port = scripted.get();
            mHandler.AddPort(std::move(scripted));
        }
    }

    void Feed(std::string bytes, std::size_t piece)
    {
        bytes += "\")"; // ends a text that was left open
        mPorts[0]->mPiece = piece;
        mPorts[0]->mInput = std::move(bytes);
        const std::size_t passes = mPorts[0]->mInput.size() + 2;
        for (std::size_t pass = 0; pass < passes && !mPorts[0]->mInput.empty(); ++pass)
            mHandler.Update();
        mHandler.Update();
        Require(mPorts[0]->mInput.empty());
        mAnswered = mPorts[0]->Take();
        mRelayed = mPorts[1]->Take();
    }

    std::string mAnswered;
    std::string mRelayed;

private:
    CSerialHandler mHandler;
    CScriptedPort* mPorts[2] = {};
};

bool HasSyntaxError(const CProjector& projector)
{
    for (const CRecordingLog::SLine& line : projector.mLog.GetLines())
    {
        if (line.mText.rfind("Syntax Error: ", 0) == 0)
            return true;
    }
    return false;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    constexpr int kOwnAddress = 7;
    if (size == 0)
        return 0;
    static CProjector projector;
    CVarnholtSerialParser::UpdateAddress(kOwnAddress);
    projector.mLog.Clear();
    projector.mProxy.Take();

    // In pieces, the first byte says how large.
    CUnit first(projector);
    first.Feed(std::string(data + 1, data + size), std::size_t{1} + data[0]);

    projector.mLog.Clear();
    CUnit reader(projector);
    reader.Feed(first.mAnswered, first.mAnswered.size() + 1);
    Require(!HasSyntaxError(projector));

    CUnit second(projector);
    second.Feed(first.mRelayed, first.mRelayed.size() + 1);
    Require(!HasSyntaxError(projector));
    Require(second.mRelayed == first.mRelayed);
    return 0;
}
