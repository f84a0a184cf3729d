// Ranges are cut at the ends of pages and blocks, and where a transaction of the master ends.
#include "software/bp/rtl/CI2cEeprom.h"

#include "software/bp/rtl/CI2cFpga.h"
#include "software/bp/rtl/NPoll.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/NReason.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "software/bp/rtl/CI2cEeprom";
constexpr std::uint8_t kErased = 0xFF;
constexpr std::uint32_t kMostAddressBytes = 2;
constexpr std::uint32_t kMostPage = 256;  // bytes
constexpr std::uint32_t kMostBlocks = 8;  // the device number has three bits to spare
constexpr std::uint32_t kBitsPerByte = 8; // of an address

CI2cEeprom::SKind Checked(const CI2cEeprom::SKind& kind, std::uint8_t device)
{
    const bool hasAddress = kind.mAddressBytes >= 1 && kind.mAddressBytes <= kMostAddressBytes;
    const bool hasPages = kind.mPageSize >= 1 && kind.mPageSize <= kMostPage &&
                          (kind.mPageSize & (kind.mPageSize - 1)) == 0 && kind.mSize >= 1 &&
                          kind.mSize % kind.mPageSize == 0;
    const std::uint32_t lastBlock =
        hasAddress && hasPages ? (kind.mSize - 1) >> (kind.mAddressBytes * kBitsPerByte) : kMostBlocks;
    if (lastBlock >= kMostBlocks || device + lastBlock > CI2cFpga::kLastDevice)
        throw CException("CI2cEeprom", kSource, __LINE__, false,
                         "EEPROM of %u bytes with pages of %u and %u bytes of address at %#x cannot be",
                         kind.mSize, kind.mPageSize, kind.mAddressBytes, unsigned{device});
    return kind;
}
} // namespace

CI2cEeprom::CI2cEeprom(CI2cFpga& bus, std::uint8_t device, const SKind& kind, const IMonotonicClock& clock,
                       ILog& log)
    : mBus(bus)
    , mDevice(device)
    , mKind(Checked(kind, device))
    , mBlockSize(1u << (kind.mAddressBytes * kBitsPerByte))
    , mTimer(clock)
    , mLog(log)
{
}

bool CI2cEeprom::IsInside(std::uint32_t offset, std::uint32_t length) const noexcept
{
    return offset <= mKind.mSize && length <= mKind.mSize - offset;
}

bool CI2cEeprom::Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length)
{
    if (!IsInside(offset, length) || (data == nullptr && length != 0))
        return false;
    for (std::uint32_t done = 0; done < length;)
    {
        const std::uint32_t at = offset + done;
        const std::uint32_t piece =
            std::min({length - done, CI2cFpga::kMaxLength, mBlockSize - at % mBlockSize});
        std::uint8_t tx[kMostAddressBytes];
        if (!Exchange(at, tx, PutAddress(at, tx), data + done, piece))
            return false;
        done += piece;
    }
    return true;
}

bool CI2cEeprom::Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length)
{
    return (data != nullptr || length == 0) && WriteAll(offset, data, length);
}

bool CI2cEeprom::Erase(std::uint32_t offset, std::uint32_t length)
{
    return WriteAll(offset, nullptr, length);
}

// Without data the cells are erased.
bool CI2cEeprom::WriteAll(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length)
{
    if (!IsInside(offset, length))
        return false;
    const std::uint32_t most = CI2cFpga::kMaxLength - mKind.mAddressBytes;
    for (std::uint32_t done = 0; done < length;)
    {
        const std::uint32_t at = offset + done;
        const std::uint32_t piece = std::min({length - done, most, mKind.mPageSize - at % mKind.mPageSize});
        if (!WritePiece(at, data == nullptr ? nullptr : data + done, piece))
            return false;
        done += piece;
    }
    if (length == 0)
        return true;
    // An address alone writes nothing; taken, it tells that the last write has come to its end.
    const std::uint32_t last = offset + length - 1;
    std::uint8_t tx[kMostAddressBytes];
    return Exchange(last, tx, PutAddress(last, tx), nullptr, 0);
}

bool CI2cEeprom::WritePiece(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length)
{
    std::uint8_t tx[CI2cFpga::kMaxLength];
    const std::uint32_t size = PutAddress(offset, tx);
    if (data == nullptr)
        std::fill_n(tx + size, length, kErased);
    else
        std::copy_n(data, length, tx + size);
    return Exchange(offset, tx, size + length, nullptr, 0);
}

bool CI2cEeprom::Exchange(std::uint32_t offset, const std::uint8_t* tx, std::uint32_t txLength,
                          std::uint8_t* rx, std::uint32_t rxLength)
{
    const auto device = static_cast<std::uint8_t>(mDevice + offset / mBlockSize);
    try
    {
        mTimer.ArmTimer();
        if (NPoll::UntilMs(mTimer, mKind.mWriteMs,
                           [&] { return mBus.TryWriteRead(device, tx, txLength, rx, rxLength); }))
            return true;
        mLog.LogError("EEPROM on %s: device %#x does not acknowledge for %u ms", mBus.GetName(),
                      unsigned{device}, mKind.mWriteMs);
    }
    catch (const CException& error)
    {
        mLog.LogError("EEPROM on %s: %s", mBus.GetName(), NReason::Of(error).c_str());
    }
    return false;
}

// Length of the address.
std::uint32_t CI2cEeprom::PutAddress(std::uint32_t offset, std::uint8_t* tx) const noexcept
{
    for (std::uint32_t i = 0; i < mKind.mAddressBytes; ++i)
        tx[i] = static_cast<std::uint8_t>(offset >> ((mKind.mAddressBytes - 1 - i) * kBitsPerByte));
    return mKind.mAddressBytes;
}
