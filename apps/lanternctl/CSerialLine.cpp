// Opening a terminal that others use too, and bytes in both directions.
#include "apps/lanternctl/CSerialLine.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "software/bp/serial/NCommPort.h"
#include "software/bp/serial/NTerminal.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace
{
constexpr std::chrono::milliseconds kLockInterval{10}; // between two tries

NCommPort::SDevice ReadDescription(const std::string& description, speed_t& speed)
{
    try
    {
        NCommPort::SDevice device = NCommPort::Split(description);
        if (NTerminal::FindSpeed(device.mBaud, speed))
            return device;
    }
    catch (const CException&) // a number beyond all numbers
    {
    }
    throw CCommandFailure(EExitCode::WrongUsage, "no such baud rate: " + description);
}

// An advisory lock ends with its process, however that ends. The terminal's own exclusive mode would not: the
// daemon holds the other side of a pseudo-terminal open, and nobody else could open it ever after.
void Lock(const std::string& name, int descriptor, const NWait::Deadline& deadline)
{
    while (NPosix::RetryOnInterrupt([=] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) != 0)
    {
        if (errno != EWOULDBLOCK)
            NWait::FailNoConnection(name, std::strerror(errno));
        if (NWait::HasPassed(deadline))
            NWait::FailNoConnection(name, "another client uses the line");
        std::this_thread::sleep_for(kLockInterval);
    }
}
} // namespace

CSerialLine::CSerialLine(const std::string& description, std::chrono::milliseconds timeout)
    : mPort(Open(description, timeout))
{
}

CSerialLine::CPort CSerialLine::Open(const std::string& description, std::chrono::milliseconds timeout)
{
    speed_t speed = B0;
    const NCommPort::SDevice device = ReadDescription(description, speed);
    // Without blocking also while it opens: a modem line might never come.
    CDescriptor descriptor(NPosix::RetryOnInterrupt(
        [&] { return ::open(device.mName.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }));
    if (!descriptor.IsOpen())
        NWait::FailNoConnection(device.mName, std::strerror(errno));
    if (::isatty(descriptor.Get()) == 0)
        NWait::FailNoConnection(device.mName, "it is no serial line");
    Lock(device.mName, descriptor.Get(), NWait::After(timeout));
    if (!NTerminal::SetRaw(descriptor.Get(), speed))
        NWait::FailNoConnection(device.mName, std::strerror(errno));
    ::tcflush(descriptor.Get(), TCIFLUSH); // said to whoever was here before
    return CPort(device.mName, std::move(descriptor));
}

void CSerialLine::Send(const std::string& line)
{
    try
    {
        mPort.Write(reinterpret_cast<const unsigned char*>(line.data()), static_cast<int>(line.size()));
    }
    catch (const CException&)
    {
        NWait::FailLost(GetName());
    }
}

bool CSerialLine::HasUnsent() const
{
    int queued = 0; // bytes that the system keeps for the port
    return mPort.HasOutput() || (::ioctl(mPort.GetDescriptor(), TIOCOUTQ, &queued) == 0 && queued > 0);
}

IProjectorLink::EWait CSerialLine::Receive(const NWait::Deadline& deadline, int interrupt)
{
    const auto wait = NWait::ForInput(mPort.GetDescriptor(), deadline, interrupt, mPort.HasOutput());
    if (wait != IProjectorLink::EWait::Change)
        return wait;
    std::array<unsigned char, 4096> bytes;
    const int count = mPort.Read(bytes.data(), static_cast<int>(bytes.size()));
    if (count == 0)
        NWait::FailLost(GetName());
    if (count > 0)
        mReader.Take({reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(count)});
    if (mPort.HasOutput())
        Send({}); // what waits
    return wait;
}
