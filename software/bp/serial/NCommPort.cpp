// Takes a description apart.
#include "software/bp/serial/NCommPort.h"

#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/CPseudoPort.h"
#include "software/utility/CException.h"

#include <charconv>
#include <system_error>

namespace
{
constexpr char kSource[] = "software/bp/serial/NCommPort";
constexpr char kPseudo[] = "pty";
} // namespace

NCommPort::SDevice NCommPort::Split(const std::string& description)
{
    const std::size_t colon = description.rfind(':');
    // Devices may have colons in their names: /dev/serial/by-path/pci-0000:00:14.0-usb-0:2:1.0-port0
    const bool hasBaud = colon != std::string::npos && description.find('/', colon) == std::string::npos &&
                         description.find_first_not_of("0123456789", colon + 1) == std::string::npos;
    if (!hasBaud)
        return {description, CCommPort::kDefaultBaud};
    unsigned baud = 0;
    const auto parsed =
        std::from_chars(description.data() + colon + 1, description.data() + description.size(), baud);
    if (parsed.ec != std::errc())
        throw CException(__func__, kSource, __LINE__, false, "Invalid baud rate in %s", description.c_str());
    return {description.substr(0, colon), baud};
}

std::unique_ptr<CCommPort> NCommPort::Open(const std::string& description, const std::string& link)
{
    if (description == kPseudo)
        return std::make_unique<CPseudoPort>(link);
    const SDevice device = Split(description);
    return std::make_unique<CCommPort>(device.mName, device.mBaud);
}
