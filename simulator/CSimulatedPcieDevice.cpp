// What the driver and the FPGA's end of the link do with each request.
#include "simulator/CSimulatedPcieDevice.h"

#include "simulator/CSimulatedFpga.h"
#include "software/bp/rtl/NPtPacket.h"
#include "software/utility/CByteReader.h"
#include "software/utility/CException.h"
#include "software/utility/NByteOrder.h"

#include <algorithm>
#include <cerrno>

namespace
{
constexpr std::size_t kWord = 4;
constexpr unsigned kLateAttempts = 4;
constexpr std::uint32_t kDmaAddressFlag = 0x80000000;
constexpr std::uint32_t kPayloadMask = 0x7FC;

int Refuse(int error) noexcept
{
    errno = error;
    return -1;
}

// The pointers in the records are of this very process.
unsigned char* ToPointer(std::uint64_t address) noexcept
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is what the records hold
    return reinterpret_cast<unsigned char*>(static_cast<std::uintptr_t>(address));
}

// A pointer is there exactly when there are bytes.
bool IsBuffer(std::uint64_t pointer, std::uint32_t bytes) noexcept
{
    return (pointer != 0) == (bytes != 0);
}

// Where a packet goes: the page in the channel's bits, where the reference design has it.
struct STarget
{
    std::uint32_t mPage;
    std::uint32_t mAddress;
    bool mIncrement;
};

STarget TargetOf(std::uint64_t header, NPtPacket::EPacket packet) noexcept
{
    return {static_cast<std::uint32_t>(NPtPacket::Extract(header, packet, NPtPacket::ePlace)),
            static_cast<std::uint32_t>(NPtPacket::Extract(header, packet, NPtPacket::eAddress)),
            NPtPacket::Extract(header, packet, NPtPacket::eIncrement) != 0};
}
} // namespace

int CSimulatedPcieDevice::Ioctl(unsigned long request, void* argument)
{
    struct SRequest
    {
        unsigned long mNumber;
        int (CSimulatedPcieDevice::*mServe)(unsigned char* record);
    };
    // Written out here too: the numbers are what both ends have to agree on.
    static constexpr SRequest kRequests[] = {
        {0x40085A05, &CSimulatedPcieDevice::Send},      {0x80085A04, &CSimulatedPcieDevice::Receive},
        {0x80085A06, &CSimulatedPcieDevice::ReadBar1},  {0x80085A0C, &CSimulatedPcieDevice::ReadVsync},
        {0x40045A0B, &CSimulatedPcieDevice::EnableDma}, {0x40085A0D, &CSimulatedPcieDevice::SendDma},
        {0x40085A0E, &CSimulatedPcieDevice::ResetDma},  {0x80085A0F, &CSimulatedPcieDevice::ReadDmaStatus},
    };
    if (mMode == EMode::Gone)
        return Refuse(ENODEV);
    const auto found = std::find_if(std::begin(kRequests), std::end(kRequests),
                                    [=](const SRequest& row) { return row.mNumber == request; });
    if (found == std::end(kRequests))
        return Refuse(ENOTTY);
    if (argument == nullptr)
        return Refuse(EFAULT);
    try
    {
        return (this->*found->mServe)(static_cast<unsigned char*>(argument));
    }
    catch (const CException&) // the FPGA has nothing there
    {
        return Refuse(EIO);
    }
}

int CSimulatedPcieDevice::WriteWords(std::uint32_t page, std::uint32_t address, bool increment,
                                     const unsigned char* bytes, std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kWord)
        mFpga.Write(page, address + (increment ? static_cast<std::uint32_t>(done) : 0),
                    NByteOrder::GetLe32(bytes + done));
    return 0;
}

int CSimulatedPcieDevice::ReadWords(std::uint32_t page, std::uint32_t address, bool increment,
                                    unsigned char* bytes, std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kWord)
    {
        unsigned char word[kWord];
        NByteOrder::PutLe32(word,
                            mFpga.Read(page, address + (increment ? static_cast<std::uint32_t>(done) : 0)));
        std::copy_n(word, std::min(kWord, size - done), bytes + done);
    }
    return 0;
}

// u32 byte count, 4 reserved bytes, u64 header, u64 payload pointer
int CSimulatedPcieDevice::Send(unsigned char* record)
{
    CByteReader in(record, 24);
    const std::uint32_t bytes = in.GetLe32();
    const std::uint32_t reserved = in.GetLe32();
    const std::uint64_t header = in.GetLe64();
    const std::uint64_t payload = in.GetLe64();
    const NPtPacket::EPacket packet = NPtPacket::Identify(header);
    const std::uint64_t headerBytes = NPtPacket::Extract(header, packet, NPtPacket::eWriteBytes);
    const std::uint64_t readBytes = NPtPacket::Extract(header, packet, NPtPacket::eReadBytes);
    if (reserved != 0 || bytes > kMaxBytes || (bytes & kPayloadMask) != headerBytes ||
        !IsBuffer(payload, bytes) || readBytes > kMaxBytes)
        return Refuse(EINVAL);
    mLastHeader = header;
    const STarget target = TargetOf(header, packet);
    switch (packet)
    {
    case NPtPacket::eWrite:
        return WriteWords(target.mPage, target.mAddress, target.mIncrement, ToPointer(payload), headerBytes);
    case NPtPacket::eRequest:
        mIsReplyPending = true;
        mReplyHeader = header;
        mReplySize = readBytes;
        WriteWords(target.mPage, target.mAddress, target.mIncrement, ToPointer(payload), headerBytes);
        return ReadWords(target.mPage, target.mAddress, target.mIncrement, mReply.data(), mReplySize);
    case NPtPacket::eRead: break; // goes with the receive request
    case NPtPacket::eRawData:
    case NPtPacket::eRawControl: return 0; // taken; the reference design does nothing with them
    case NPtPacket::kPacketCount: break;
    }
    return Refuse(EINVAL);
}

// u32 byte count, 4 reserved bytes, u64 header, 8 reserved bytes, u64 buffer pointer
int CSimulatedPcieDevice::Receive(unsigned char* record)
{
    CByteReader in(record, 32);
    const std::uint32_t bytes = in.GetLe32();
    const std::uint32_t reserved = in.GetLe32();
    const std::uint64_t header = in.GetLe64();
    const std::uint64_t reserved2 = in.GetLe64();
    const std::uint64_t buffer = in.GetLe64();
    if (reserved != 0 || reserved2 != 0 || bytes > kMaxBytes || !IsBuffer(buffer, bytes))
        return Refuse(EINVAL);
    if (mMode == EMode::Silent)
        return Refuse(EAGAIN);
    if (mMode == EMode::Late && ++mAttempts < kLateAttempts)
        return Refuse(EAGAIN);
    mAttempts = 0;
    const NPtPacket::EPacket packet = NPtPacket::Identify(header);
    if (packet == NPtPacket::eRead)
    {
        if (NPtPacket::Extract(header, packet, NPtPacket::eReadBytes) != bytes)
            return Refuse(EINVAL);
        const STarget target = TargetOf(header, packet);
        mLastHeader = header;
        ReadWords(target.mPage, target.mAddress, target.mIncrement, mReply.data(), bytes);
        return Answer(record, mReply.data(), bytes);
    }
    if (!mIsReplyPending || header != mReplyHeader || (bytes & kPayloadMask) != mReplySize)
        return Refuse(EINVAL);
    mIsReplyPending = false;
    return Answer(record, mReply.data(), mReplySize);
}

int CSimulatedPcieDevice::Answer(unsigned char* record, const unsigned char* bytes, std::size_t size)
{
    constexpr std::size_t kBufferAt = 24;
    if (mMode == EMode::Short && size >= kWord)
        size -= kWord;
    if (size != 0)
        std::copy_n(bytes, size, ToPointer(NByteOrder::GetLe64(record + kBufferAt)));
    NByteOrder::PutLe32(record, static_cast<std::uint32_t>(size));
    return 0;
}

// u32 count (1), u32 register index, then the value
int CSimulatedPcieDevice::ReadBar1(unsigned char* record)
{
    CByteReader in(record, 8);
    if (in.GetLe32() != 1 || in.GetLe32() != 0)
        return Refuse(EINVAL);
    NByteOrder::PutLe32(record + 8, mIsTxValid ? 1 : 0);
    return 0;
}

int CSimulatedPcieDevice::ReadVsync(unsigned char* record)
{
    constexpr std::uint32_t kUpperHalf = 0xA5A50000; // means nothing, and must not be used
    NByteOrder::PutLe32(record, kUpperHalf | mFpga.GetVsync());
    return 0;
}

int CSimulatedPcieDevice::EnableDma(unsigned char* record)
{
    const std::uint32_t on = NByteOrder::GetLe32(record);
    if (on > 1)
        return Refuse(EINVAL);
    mIsDmaEnabled = on == 1;
    return 0;
}

// u64 data pointer, u32 length, u32 channel, u32 address with bit 31, 4 bytes 0, u64 second pointer, u32
// second length
int CSimulatedPcieDevice::SendDma(unsigned char* record)
{
    CByteReader in(record, 40);
    const std::uint64_t data = in.GetLe64();
    const std::uint32_t length = in.GetLe32();
    const std::uint32_t channel = in.GetLe32();
    const std::uint32_t address = in.GetLe32();
    const std::uint32_t reserved = in.GetLe32();
    const std::uint64_t second = in.GetLe64();
    const std::uint32_t secondLength = in.GetLe32();
    const std::uint32_t reserved2 = in.GetLe32();
    if (!mIsDmaEnabled || reserved != 0 || reserved2 != 0 || (address & kDmaAddressFlag) == 0 ||
        !IsBuffer(data, length) || !IsBuffer(second, secondLength))
        return Refuse(EINVAL);
    const std::uint32_t at = address & ~kDmaAddressFlag;
    WriteWords(channel, at, false, ToPointer(data), length / kWord * kWord);
    return WriteWords(channel, at, false, ToPointer(second), secondLength / kWord * kWord);
}

int CSimulatedPcieDevice::ResetDma(unsigned char* record)
{
    if (NByteOrder::GetLe32(record) != 0)
        return Refuse(EINVAL);
    ++mDmaResets;
    return 0;
}

int CSimulatedPcieDevice::ReadDmaStatus(unsigned char* record)
{
    NByteOrder::PutLe32(record, mDmaStatus);
    return 0;
}
