// Termios devices, and the output that a port does not take at once.
#include "software/bp/serial/CCommPort.h"

#include "software/bp/serial/NTerminal.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CCommPort";

CDescriptor OpenDevice(const std::string& device, unsigned baud)
{
    speed_t speed = B0;
    if (!NTerminal::FindSpeed(baud, speed))
        throw CException(__func__, kSource, __LINE__, false, "Unsupported baud rate %u", baud);
    // Without blocking also while it opens: a modem line might never come.
    CDescriptor port(NPosix::RetryOnInterrupt(
        [&] { return ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }));
    if (!port.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to open serial port %s", device.c_str());
    if (::isatty(port.Get()) == 0)
        throw CException(__func__, kSource, __LINE__, true, "%s is no serial port", device.c_str());
    // Two that read from one wire would each get half; the side of a pseudo-terminal is a wire of its own.
    const bool isWire = !NTerminal::IsPseudo(port.Get());
    if (!NTerminal::SetRaw(port.Get(), speed) || (isWire && ::ioctl(port.Get(), TIOCEXCL) != 0))
        throw CException(__func__, kSource, __LINE__, true, "Unable to set up serial port %s",
                         device.c_str());
    ::tcflush(port.Get(), TCIFLUSH); // what came in at another speed
    return port;
}

bool IsNotNow(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK;
}
} // namespace

CCommPort::CCommPort(const std::string& device, unsigned baud)
    : CCommPort(device, OpenDevice(device, baud))
{
}

CCommPort::CCommPort(std::string name, CDescriptor descriptor)
    : mName(std::move(name))
    , mDescriptor(std::move(descriptor))
{
}

CCommPort::~CCommPort() = default;

int CCommPort::Read(unsigned char* bytes, int size)
{
    const ssize_t count = NPosix::RetryOnInterrupt(
        [&] { return ::read(mDescriptor.Get(), bytes, static_cast<std::size_t>(size)); });
    if (count < 0)
        return IsNotNow(errno) ? kNothingYet : 0;
    return static_cast<int>(count);
}

bool CCommPort::Write(const unsigned char* bytes, int size)
{
    // One message may always wait, however long it is.
    if (HasOutput() && mOutput.size() + static_cast<std::size_t>(size) > kMaxOutput)
        return false;
    mOutput.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    Flush();
    return true;
}

bool CCommPort::WriteChar(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return Write(&byte, 1);
}

void CCommPort::DropOutput() noexcept
{
    mOutput.clear();
}

void CCommPort::Flush()
{
    std::size_t written = 0;
    while (written < mOutput.size())
    {
        const ssize_t count = NPosix::RetryOnInterrupt(
            [&] { return ::write(mDescriptor.Get(), mOutput.data() + written, mOutput.size() - written); });
        if (count < 0 && !IsNotNow(errno))
            throw CException(__func__, kSource, __LINE__, true, "Unable to write to serial port %s",
                             mName.c_str());
        if (count <= 0)
            break;
        written += static_cast<std::size_t>(count);
    }
    mOutput.erase(0, written);
}
