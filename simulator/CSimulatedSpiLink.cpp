// The FPGA's end of the line.
#include "simulator/CSimulatedSpiLink.h"

#include "simulator/CSimulatedFpga.h"
#include "software/utility/CException.h"
#include "software/utility/NByteOrder.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "simulator/CSimulatedSpiLink";
constexpr std::uint32_t kWord = 4;
constexpr std::uint32_t kHeader = 4;
constexpr std::uint32_t kMost = 256; // bytes of a payload, written as 0

[[noreturn]] void Refuse(const char* what)
{
    throw CException("Transact", kSource, __LINE__, false, "Simulated SPI line: %s", what);
}
} // namespace

void CSimulatedSpiLink::Transact(CHkbFpga::SMessage& message)
{
    if (mIsGone)
        Refuse("nobody answers");
    if (message.mTx == nullptr || message.mTxLength < kHeader)
        Refuse("a message has no header");
    const std::uint8_t* header = message.mTx;
    const bool isRead = (header[0] & 1) != 0;
    const std::uint32_t page = header[0] >> 1;
    const std::uint32_t length = header[1] == 0 ? kMost : header[1];
    const std::uint32_t address = header[2] | (header[3] & 0xF0u) << 4;
    const bool increment = (header[3] & 0x08) != 0;
    const std::uint32_t sent = message.mTxLength - kHeader;
    if ((header[3] & 0x07) != 0 || address % kWord != 0)
        Refuse("a header has bits that it must not have");
    if (sent != (isRead ? 0 : length) || message.mRxLength != (isRead ? length : 0))
        Refuse("the lengths of header and message disagree");
    if (isRead)
        Read(page, address, increment, message.mRx, length);
    else
        Write(page, address, increment, message.mTx + kHeader, length);
}

void CSimulatedSpiLink::Write(std::uint32_t page, std::uint32_t address, bool increment,
                              const std::uint8_t* bytes, std::uint32_t size)
{
    for (std::uint32_t done = 0; done < size; done += kWord)
    {
        const std::uint32_t at = address + (increment ? done : 0);
        const std::uint32_t count = std::min(kWord, size - done);
        std::uint8_t word[kWord] = {};
        if (count < kWord) // the bytes behind stay as they are
            NByteOrder::PutLe32(word, mFpga.Read(page, at));
        std::copy_n(bytes + done, count, word);
        mFpga.Write(page, at, NByteOrder::GetLe32(word));
    }
}

void CSimulatedSpiLink::Read(std::uint32_t page, std::uint32_t address, bool increment, std::uint8_t* bytes,
                             std::uint32_t size)
{
    for (std::uint32_t done = 0; done < size; done += kWord)
    {
        std::uint8_t word[kWord];
        NByteOrder::PutLe32(word, mFpga.Read(page, address + (increment ? done : 0)));
        std::copy_n(word, std::min(kWord, size - done), bytes + done);
    }
}
