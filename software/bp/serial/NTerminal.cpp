// One row for each baud rate.
#include "software/bp/serial/NTerminal.h"

#include "software/utility/NPosix.h"

#include <algorithm>
#include <iterator>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace
{
struct SSpeed
{
    unsigned mBaud;
    speed_t mSpeed;
};

constexpr SSpeed kSpeeds[] = {
    {1200, B1200},     {2400, B2400},     {4800, B4800},     {9600, B9600},
    {19200, B19200},   {38400, B38400},   {57600, B57600},   {115200, B115200},
    {230400, B230400}, {460800, B460800}, {921600, B921600},
};
} // namespace

bool NTerminal::FindSpeed(unsigned baud, speed_t& speed) noexcept
{
    const auto found = std::find_if(std::begin(kSpeeds), std::end(kSpeeds),
                                    [=](const SSpeed& s) { return s.mBaud == baud; });
    if (found == std::end(kSpeeds))
        return false;
    speed = found->mSpeed;
    return true;
}

bool NTerminal::SetRaw(int descriptor, speed_t speed) noexcept
{
    termios settings{};
    if (::tcgetattr(descriptor, &settings) != 0)
        return false;
    ::cfmakeraw(&settings); // 8 data bits, no parity, no echo, no translation
    settings.c_cflag |= static_cast<tcflag_t>(CLOCAL | CREAD);
    settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
    settings.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXANY);
    settings.c_cc[VMIN] = 1; // with 0 an empty line would read like one that was unplugged
    settings.c_cc[VTIME] = 0;
    if (speed != B0 && ::cfsetspeed(&settings, speed) != 0)
        return false;
    return NPosix::RetryOnInterrupt([&] { return ::tcsetattr(descriptor, TCSANOW, &settings); }) == 0;
}

bool NTerminal::IsPseudo(int descriptor) noexcept
{
    // Major device numbers that Linux keeps for them (Documentation/admin-guide/devices.txt).
    constexpr unsigned kFirstMajor = 136;
    constexpr unsigned kLastMajor = 143;
    struct stat device
    {
    };
    if (::fstat(descriptor, &device) != 0)
        return false;
    const unsigned number = major(device.st_rdev);
    return number >= kFirstMajor && number <= kLastMajor;
}
