// Any content of a region gives a text or an exception; a text that is written again is the same record.
#include "software/bp/hwlogic/CHdfEeprom.h"

#include "simulator/CSimulatedEeprom.h"
#include "software/utility/CException.h"
#include "software/utility/CMonotonicClockLowRes.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace
{
constexpr std::uint32_t kPage = 16;
constexpr std::size_t kReservedSize = 4; // any content is taken, zeros are written

void Require(bool holds)
{
    if (!holds)
        std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    if (size < CHdfEeprom::kHeaderSize || size > 0x1000)
        return 0;
    const auto length = static_cast<std::uint32_t>(size);
    const CMonotonicClockLowRes clock;
    CSimulatedEeprom eeprom({(length + kPage - 1) / kPage * kPage, kPage, 0}, clock);
    Require(eeprom.Write(0, data, length));
    CHdfEeprom storage("region", eeprom, 0, static_cast<std::uint16_t>(size));
    std::string text;
    try
    {
        storage.Read(text);
    }
    catch (const CException&)
    {
        return 0;
    }
    Require(storage.IsStoragePresent() == !text.empty());
    if (text.empty())
        return 0;
    storage.Write(text);
    std::vector<std::uint8_t> record(CHdfEeprom::kHeaderSize + text.size());
    Require(eeprom.Read(0, record.data(), static_cast<std::uint32_t>(record.size())));
    Require(std::equal(record.begin() + kReservedSize, record.end(), data + kReservedSize));
    return 0;
}
