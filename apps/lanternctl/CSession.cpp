// The one place that knows where output goes and how a projector is reached.
#include "apps/lanternctl/CSession.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CIpcLink.h"
#include "apps/lanternctl/CSerialLine.h"
#include "apps/lanternctl/CSerialLink.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NPassword.h"
#include "software/bp/security/CSecret.h"

#include <cerrno>
#include <cstring>
#include <ostream>
#include <unistd.h>

ETransport SClientOptions::GetTransport() const noexcept
{
    if (!mRunDirectory.empty())
        return eOverIpc;
    return mSerial.empty() ? eOverTcp : eOverSerial;
}

CSession::CSession(const SClientOptions& options, std::ostream& out, std::ostream& error, bool isTerminal)
    : mOptions(options)
    , mOut(out)
    , mError(error)
    , mIsTerminal(isTerminal)
    , mStyle(CTerminalStyle::ForDescriptor(STDOUT_FILENO))
    , mErrorStyle(CTerminalStyle::ForDescriptor(STDERR_FILENO))
{
}

CSession::~CSession() = default;

IProjectorLink& CSession::GetLink()
{
    if (mLink)
        return *mLink;
    switch (mOptions.GetTransport())
    {
    case eOverTcp: mLink = OpenTcpLink(); break;
    case eOverIpc: mLink = std::make_unique<CIpcLink>(mOptions.mRunDirectory, GetTimeout()); break;
    case eOverSerial: mLink = OpenSerialLink(); break;
    }
    return *mLink;
}

CTcpLink& CSession::GetTcpLink()
{
    if (!mTcpLink)
        mTcpLink = OpenTcpLink();
    return *mTcpLink;
}

std::unique_ptr<CTcpLink> CSession::OpenTcpLink()
{
    auto link = std::make_unique<CTcpLink>(mOptions.mHost, mOptions.mPort, GetTimeout());
    if (!mOptions.mUser.empty())
        link->LogIn(mOptions.mUser, CSecret(NPassword::GetForLogIn(mOptions.mUser)).Get());
    return link;
}

std::unique_ptr<IProjectorLink> CSession::OpenSerialLink()
{
    auto link = std::make_unique<CSerialLink>(mOptions.mSerial, GetTimeout());
    if (!mOptions.mUser.empty())
        link->LogIn(mOptions.mUser, CSecret(NPassword::GetForLogIn(mOptions.mUser)).Get());
    return link;
}

CSerialLine& CSession::GetSerialLine()
{
    if (!mSerialLine)
        mSerialLine = std::make_unique<CSerialLine>(mOptions.mSerial, GetTimeout());
    return *mSerialLine;
}

void CSession::Complain(const std::string& sentence)
{
    mError << mErrorStyle.Red("lanternctl:") << ' ' << NDisplayText::Printable(sentence) << std::endl;
}

bool CSession::Flush()
{
    errno = 0;
    if (mOut.flush())
        return true;
    const int error = errno; // of the write that failed, in this call or in an earlier one
    if (error == EPIPE || error == 0)
        return false;
    throw CCommandFailure(EExitCode::WrongUsage,
                          std::string("unable to write to standard output: ") + std::strerror(error));
}
