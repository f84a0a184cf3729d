// The one place that knows where output goes and how a projector is reached.
#include "apps/lanternctl/CSession.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/NDisplayText.h"

#include <cerrno>
#include <cstring>
#include <ostream>
#include <unistd.h>

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
    if (!mLink)
        mLink = std::make_unique<CTcpLink>(mOptions.mHost, mOptions.mPort,
                                           std::chrono::milliseconds(mOptions.mTimeoutMs));
    return *mLink;
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
