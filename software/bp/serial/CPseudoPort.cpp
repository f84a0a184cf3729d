// The master side talks. It hangs up as long as nobody has the slave side open, and the kernel tells when
// that is opened.
#include "software/bp/serial/CPseudoPort.h"

#include "software/bp/serial/NTerminal.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <climits>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <termios.h>
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

CDescriptor WatchSlave(const std::string& name)
{
    CDescriptor watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!watch.IsOpen() || ::inotify_add_watch(watch.Get(), name.c_str(), IN_OPEN | IN_CLOSE) < 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to set up pseudo-terminal %s",
                         name.c_str());
    return watch;
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
    , mPeers(WatchSlave(mSlaveName))
{
    OpenSlave(mSlaveName); // from now on the master hangs up; that it is raw stays
    MakeLink(mLink, mSlaveName);
}

// Only that something happened counts: like events that follow each other are reported as one.
bool CPseudoPort::TakeEvents() noexcept
{
    alignas(inotify_event) char events[1024];
    bool hasChanged = false;
    while (NPosix::RetryOnInterrupt([&] { return ::read(mPeers.Get(), events, sizeof events); }) > 0)
        hasChanged = true;
    return hasChanged;
}

void CPseudoPort::LookForPeer()
{
    if (TakeEvents())
        Look();
}

void CPseudoPort::Look() noexcept
{
    pollfd master{GetDescriptor(), POLLIN, 0};
    if (NPosix::RetryOnInterrupt([&] { return ::poll(&master, 1, 0); }) < 0)
        return;
    const bool isHungUp = (master.revents & POLLHUP) != 0;
    mIsConnected = !isHungUp || (master.revents & POLLIN) != 0;
    if (std::exchange(mHasPeer, !isHungUp) && !mHasPeer)
        ForgetPeer();
}

void CPseudoPort::ForgetPeer() noexcept
{
    DropOutput();
    const CDescriptor slave(NPosix::RetryOnInterrupt(
        [&] { return ::open(mSlaveName.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }));
    if (!slave.IsOpen()) // short of descriptors: the next one may see what was meant for this one
        return;
    static_cast<void>(NTerminal::SetRaw(slave.Get(), B0)); // a guest may have changed it
    ::tcflush(slave.Get(), TCIFLUSH);
}

// What somebody said before leaving is read to its end; behind it there is nothing until the next one comes.
int CPseudoPort::Read(unsigned char* bytes, int size)
{
    const int count = CCommPort::Read(bytes, size);
    if (count != 0)
        return count;
    TakeEvents();
    Look(); // in any case, since a close is told before the hang-up
    return kNothingYet;
}

bool CPseudoPort::Write(const unsigned char* bytes, int size)
{
    LookForPeer();
    return !mHasPeer || CCommPort::Write(bytes, size);
}

CPseudoPort::~CPseudoPort()
{
    if (LeadsTo(mLink, mSlaveName))
        ::unlink(mLink.c_str());
}
