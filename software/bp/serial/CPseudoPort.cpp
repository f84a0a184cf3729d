// The master side talks; one descriptor of the slave side is held and never read.
#include "software/bp/serial/CPseudoPort.h"

#include "software/bp/serial/NTerminal.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <climits>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CPseudoPort";

CDescriptor OpenMaster()
{
    CDescriptor master(
        NPosix::RetryOnInterrupt([] { return ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC); }));
    if (!master.IsOpen() || ::grantpt(master.Get()) != 0 || ::unlockpt(master.Get()) != 0 ||
        ::fcntl(master.Get(), F_SETFL, O_RDWR | O_NONBLOCK) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to open a pseudo-terminal");
    return master;
}

std::string GetNameOfSlave(int master)
{
    char name[PATH_MAX];
    if (::ptsname_r(master, name, sizeof name) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to open a pseudo-terminal");
    return name;
}

CDescriptor OpenSlave(const std::string& name)
{
    CDescriptor slave(
        NPosix::RetryOnInterrupt([&] { return ::open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); }));
    // Raw before anybody else opens it: an echo would come back to us as commands.
    if (!slave.IsOpen() || !NTerminal::SetRaw(slave.Get(), B0))
        throw CException(__func__, kSource, __LINE__, true, "Unable to set up pseudo-terminal %s",
                         name.c_str());
    return slave;
}

void MakeLink(const std::string& link, const std::string& target)
{
    struct stat entry
    {
    };
    if (::lstat(link.c_str(), &entry) == 0 && !S_ISLNK(entry.st_mode))
        throw CException(__func__, kSource, __LINE__, false, "%s exists and is no link", link.c_str());
    // By another name first, so that there is no moment without a link.
    const std::string temporary = link + ".new";
    ::unlink(temporary.c_str());
    if (::symlink(target.c_str(), temporary.c_str()) != 0 || ::rename(temporary.c_str(), link.c_str()) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to link %s to %s", link.c_str(),
                         target.c_str());
}

bool LeadsTo(const std::string& link, const std::string& target)
{
    char name[PATH_MAX];
    const ssize_t length = ::readlink(link.c_str(), name, sizeof name);
    return length > 0 && target == std::string(name, static_cast<std::size_t>(length));
}
} // namespace

CPseudoPort::CPseudoPort(const std::string& link)
    : CPseudoPort(link, OpenMaster())
{
}

CPseudoPort::CPseudoPort(const std::string& link, CDescriptor master)
    : CCommPort(link, std::move(master))
    , mLink(link)
    , mSlaveName(GetNameOfSlave(GetDescriptor()))
    , mSlave(OpenSlave(mSlaveName))
{
    MakeLink(mLink, mSlaveName);
}

CPseudoPort::~CPseudoPort()
{
    if (LeadsTo(mLink, mSlaveName))
        ::unlink(mLink.c_str());
}
