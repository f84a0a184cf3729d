// One way of writing a page for all who write.
#include "simulator/CSimulatedEeprom.h"

#include "software/utility/CException.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "simulator/CSimulatedEeprom";
constexpr std::uint8_t kErased = 0xFF;
constexpr std::uint32_t kMostSize = 0x10000; // two bytes of address
constexpr std::size_t kAddressSize = 2;

enum ECommand : std::uint8_t
{
    eWrite = 0x02,
    eRead = 0x03,
    eReadStatus = 0x05,
    eWriteEnable = 0x06,
};
constexpr std::uint8_t kStatusBusy = 1;
constexpr std::uint8_t kStatusWriteEnabled = 2;

std::uint32_t AddressIn(const std::vector<std::uint8_t>& bytes, std::size_t at, std::uint32_t size) noexcept
{
    return (std::uint32_t{bytes[at]} << 8 | bytes[at + 1]) % size;
}

CSimulatedEeprom::SKind Checked(const CSimulatedEeprom::SKind& kind)
{
    if (kind.mSize == 0 || kind.mSize > kMostSize || kind.mPageSize == 0 || kind.mSize % kind.mPageSize != 0)
        throw CException("CSimulatedEeprom", kSource, __LINE__, false,
                         "EEPROM of %u bytes cannot have pages of %u", kind.mSize, kind.mPageSize);
    return kind;
}
} // namespace

CSimulatedEeprom::CSimulatedEeprom(const SKind& kind, const IMonotonicClock& clock)
    : mKind(Checked(kind))
    , mCells(kind.mSize, kErased)
    , mWear(kind.mSize / kind.mPageSize)
    , mCycle(clock)
{
}

void CSimulatedEeprom::RestorePower() noexcept
{
    mHasPower = true;
    mCellsLeft.reset();
    mIsInCycle = false;
    mIsWriteEnabled = false;
    mAddress = 0;
}

bool CSimulatedEeprom::IsInside(std::uint32_t offset, std::uint32_t length) const noexcept
{
    return offset <= mKind.mSize && length <= mKind.mSize - offset;
}

bool CSimulatedEeprom::Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length)
{
    if (!mHasPower || !IsInside(offset, length) || (data == nullptr && length != 0))
        return false;
    std::copy_n(mCells.begin() + offset, length, data);
    return true;
}

bool CSimulatedEeprom::Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length)
{
    return (data != nullptr || length == 0) && WriteRange(offset, length, data);
}

bool CSimulatedEeprom::Erase(std::uint32_t offset, std::uint32_t length)
{
    return WriteRange(offset, length, nullptr);
}

// Page by page; without data the cells are erased.
bool CSimulatedEeprom::WriteRange(std::uint32_t offset, std::uint32_t length, const std::uint8_t* data)
{
    if (!mHasPower || !IsInside(offset, length))
        return false;
    for (std::uint32_t done = 0; done < length;)
    {
        const std::uint32_t at = offset + done;
        const std::uint32_t piece = std::min(length - done, mKind.mPageSize - at % mKind.mPageSize);
        if (!WritePage(at, piece, data == nullptr ? nullptr : data + done))
            return false;
        done += piece;
    }
    return true;
}

bool CSimulatedEeprom::WritePage(std::uint32_t offset, std::uint32_t length, const std::uint8_t* data)
{
    ++mWear[offset / mKind.mPageSize];
    std::fill_n(mCells.begin() + offset, length, kErased);
    for (std::uint32_t i = 0; i < length; ++i)
    {
        if (mCellsLeft && (*mCellsLeft)-- == 0)
        {
            mHasPower = false;
            return false;
        }
        if (data != nullptr)
            mCells[offset + i] = data[i];
    }
    return true;
}

// As a chip has it: behind the end of the page comes its beginning.
void CSimulatedEeprom::WriteRound(std::uint32_t offset, const std::uint8_t* data, std::size_t length)
{
    const std::uint32_t first = offset / mKind.mPageSize * mKind.mPageSize;
    std::vector<std::uint8_t> page(mCells.begin() + first, mCells.begin() + first + mKind.mPageSize);
    for (std::size_t i = 0; i < length; ++i)
        page[(offset - first + i) % mKind.mPageSize] = data[i];
    WritePage(first, mKind.mPageSize, page.data());
    mIsInCycle = true;
    mCycle.ArmTimer();
}

void CSimulatedEeprom::ReadOn(std::vector<std::uint8_t>& rx) noexcept
{
    for (std::uint8_t& byte : rx)
    {
        byte = mCells[mAddress];
        mAddress = (mAddress + 1) % mKind.mSize;
    }
}

bool CSimulatedEeprom::IsBusy()
{
    mIsInCycle = mIsInCycle && !mCycle.HasTimerExpiredMs(mKind.mWriteMs);
    return mIsInCycle;
}

bool CSimulatedEeprom::TransferI2c(const std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx)
{
    if (!mHasPower || IsBusy())
        return false;
    if (tx.size() >= kAddressSize)
        mAddress = AddressIn(tx, 0, mKind.mSize);
    if (tx.size() > kAddressSize)
        WriteRound(mAddress, tx.data() + kAddressSize, tx.size() - kAddressSize);
    ReadOn(rx);
    return true;
}

bool CSimulatedEeprom::TransferSpi(const std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx)
{
    std::fill(rx.begin(), rx.end(), kErased); // nobody drives the line
    if (!mHasPower || tx.empty())
        return false;
    const bool isBusy = IsBusy();
    const std::uint8_t command = tx[0];
    if (command == eReadStatus)
        std::fill(rx.begin(), rx.end(),
                  static_cast<std::uint8_t>((isBusy ? kStatusBusy : 0) |
                                            (mIsWriteEnabled ? kStatusWriteEnabled : 0)));
    if (isBusy)
        return true;
    if (command == eWriteEnable)
        mIsWriteEnabled = true;
    if (tx.size() <= kAddressSize)
        return true;
    if (command == eRead)
    {
        mAddress = AddressIn(tx, 1, mKind.mSize);
        ReadOn(rx);
    }
    else if (command == eWrite && mIsWriteEnabled)
    {
        mIsWriteEnabled = false;
        WriteRound(AddressIn(tx, 1, mKind.mSize), tx.data() + 1 + kAddressSize, tx.size() - 1 - kAddressSize);
    }
    return true;
}
