// The 16-bit one is shared with other formats, the 32-bit one is zlib's.
#include "cep/CCRC.h"

#include "software/utility/NCrc16.h"

#include <zlib.h>

using namespace LibMarlix;

std::uint16_t CCRC::calcCRC16(std::uint16_t initial, const unsigned char* data, std::size_t length) noexcept
{
    return NCrc16::Update8005(initial, data, length);
}

std::uint32_t CCRC::calcCRC32(std::uint32_t initial, const unsigned char* data, std::size_t length) noexcept
{
    const std::uint32_t inverted = ~initial; // zlib inverts what it is given, and its result
    if (length == 0)
        return inverted; // zlib answers 0 to a null pointer, whatever the start
    return static_cast<std::uint32_t>(crc32_z(inverted, data, length));
}
