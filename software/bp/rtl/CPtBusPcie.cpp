// Every packet is one ioctl; the headers come from the table in NPtPacket.
#include "software/bp/rtl/CPtBusPcie.h"

#include "software/bp/rtl/NPcieDriver.h"
#include "software/bp/rtl/NPoll.h"
#include "software/bp/rtl/NPtBus.h"
#include "software/bp/rtl/NPtPacket.h"
#include "software/utility/CException.h"
#include "software/utility/CPosixFile.h"

#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/rtl/CPtBusPcie";
constexpr std::uint32_t kMaxBytes = NPtBus::kMaxTransfer * NPtBus::kBytesPerWord;
constexpr std::uint32_t kTxValidMs = 100;
constexpr std::uint32_t kLastVsyncCount = 65534; // one less than the counter can tell from none

std::uint64_t ToAddress(const void* pointer) noexcept
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

// Bytes of a payload, whatever its elements are.
std::uint32_t CheckPayload(std::uint32_t count, std::uint32_t bytesPerElement)
{
    if (count > kMaxBytes / bytesPerElement)
        throw CException("Send", kSource, __LINE__, false, "Invalide ptbus payload size");
    return count * bytesPerElement;
}

std::uint32_t CheckReadWords(std::uint8_t channel, std::uint16_t address, std::uint32_t count)
{
    if (count > NPtBus::kMaxTransfer)
        throw CException("Receive", kSource, __LINE__, false,
                         "PtBus Receive: [%d][0x%04X]: Packet size too large: %d words", int{channel},
                         unsigned{address}, static_cast<int>(count));
    return count * NPtBus::kBytesPerWord;
}

std::uint32_t CheckReadBytes(std::uint8_t channel, std::uint16_t address, std::uint32_t count)
{
    if (count > kMaxBytes)
        throw CException("Receive", kSource, __LINE__, false,
                         "PtBus Receive: [%d][0x%04X]: Packet size too large: %d bytes", int{channel},
                         unsigned{address}, static_cast<int>(count));
    return count;
}

std::uint64_t BuildRawData(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
                           std::uint32_t bytes, const bool (&flags)[4])
{
    NPtPacket::Parts parts{};
    parts[NPtPacket::eOpcode] = opcode;
    parts[NPtPacket::eTag] = tag;
    parts[NPtPacket::eFirst] = first;
    parts[NPtPacket::eSecond] = second;
    parts[NPtPacket::eWriteBytes] = bytes;
    parts[NPtPacket::eFlagA] = flags[0];
    parts[NPtPacket::eFlagB] = flags[1];
    parts[NPtPacket::eFlagC] = flags[2];
    parts[NPtPacket::eFlagD] = flags[3];
    return NPtPacket::Build(NPtPacket::eRawData, parts);
}
} // namespace

CPtBusPcie::CPtBusPcie(CPosixFile& file, const IMonotonicClock& clock)
    : mFile(file)
    , mTimer(clock)
{
}

void CPtBusPcie::Send(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
                      const std::uint32_t* data, std::uint32_t count, bool flag11, bool flag10, bool flag9,
                      bool flag8)
{
    const STarget target{opcode, first};
    NPtBus::CheckBuffer(target.mChannel, target.mAddress, data, count);
    const std::uint32_t bytes = CheckPayload(count, NPtBus::kBytesPerWord);
    SendPacket(target, BuildRawData(opcode, tag, first, second, bytes, {flag11, flag10, flag9, flag8}), data,
               bytes);
}

void CPtBusPcie::Send(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
                      const std::uint8_t* data, std::uint32_t count, bool flag11, bool flag10, bool flag9,
                      bool flag8)
{
    const STarget target{opcode, first};
    NPtBus::CheckBuffer(target.mChannel, target.mAddress, data, count);
    const std::uint32_t bytes = CheckPayload(count, 1);
    SendPacket(target, BuildRawData(opcode, tag, first, second, bytes, {flag11, flag10, flag9, flag8}), data,
               bytes);
}

void CPtBusPcie::Send(std::uint8_t select, std::uint8_t tag, std::uint8_t target, bool flag52, bool flag44,
                      bool flag40, bool flag48)
{
    NPtPacket::Parts parts{};
    parts[NPtPacket::eSelect] = select;
    parts[NPtPacket::eTag] = tag;
    parts[NPtPacket::eTarget] = target;
    parts[NPtPacket::eFlagA] = flag52;
    parts[NPtPacket::eFlagB] = flag44;
    parts[NPtPacket::eFlagC] = flag40;
    parts[NPtPacket::eFlagD] = flag48;
    SendPacket({target, 0}, NPtPacket::Build(NPtPacket::eRawControl, parts), nullptr, 0);
}

void CPtBusPcie::Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data,
                      std::uint32_t count, bool increment)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    const std::uint32_t bytes = CheckPayload(count, NPtBus::kBytesPerWord);
    const auto parts = NPtPacket::MakeParts(channel, address, increment, bytes, 0);
    SendPacket({channel, address}, NPtPacket::Build(NPtPacket::eWrite, parts), data, bytes);
}

void CPtBusPcie::Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                      std::uint32_t count, bool increment)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    const std::uint32_t bytes = CheckPayload(count, 1);
    const auto parts = NPtPacket::MakeParts(channel, address, increment, bytes, 0);
    SendPacket({channel, address}, NPtPacket::Build(NPtPacket::eWrite, parts), data, bytes);
}

void CPtBusPcie::Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data,
                         std::uint32_t count, bool increment, std::uint32_t timeoutMs)
{
    const std::uint32_t bytes = CheckReadWords(channel, address, count);
    NPtBus::CheckBuffer(channel, address, data, count);
    const auto parts = NPtPacket::MakeParts(channel, address, increment, 0, bytes);
    ReceiveReply({channel, address}, NPtPacket::Build(NPtPacket::eRead, parts), data, bytes, timeoutMs);
}

void CPtBusPcie::Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data, std::uint32_t count,
                         bool increment, std::uint32_t timeoutMs)
{
    const std::uint32_t bytes = CheckReadBytes(channel, address, count);
    NPtBus::CheckBuffer(channel, address, data, count);
    const auto parts = NPtPacket::MakeParts(channel, address, increment, 0, bytes);
    ReceiveReply({channel, address}, NPtPacket::Build(NPtPacket::eRead, parts), data, bytes, timeoutMs);
}

void CPtBusPcie::Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                         std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                         bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    NPtBus::CheckBuffer(channel, address, writeData, writeCount);
    NPtBus::CheckBuffer(channel, address, readData, readCount);
    RequestBytes({channel, address}, writeData, CheckPayload(writeCount, NPtBus::kBytesPerWord), readData,
                 CheckReadWords(channel, address, readCount), increment, timeoutMs);
}

void CPtBusPcie::Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                         std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount,
                         bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    NPtBus::CheckBuffer(channel, address, writeData, writeCount);
    NPtBus::CheckBuffer(channel, address, readData, readCount);
    RequestBytes({channel, address}, writeData, CheckPayload(writeCount, 1), readData,
                 CheckReadBytes(channel, address, readCount), increment, timeoutMs);
}

void CPtBusPcie::RequestBytes(STarget target, const void* writeData, std::uint32_t writeBytes, void* readData,
                              std::uint32_t readBytes, bool increment, std::uint32_t timeoutMs)
{
    const auto parts =
        NPtPacket::MakeParts(target.mChannel, target.mAddress, increment, writeBytes, readBytes);
    const std::uint64_t header = NPtPacket::Build(NPtPacket::eRequest, parts);
    SendPacket(target, header, writeData, writeBytes);
    ReceiveReply(target, header, readData, readBytes, timeoutMs);
}

void CPtBusPcie::SendPacket(STarget target, std::uint64_t header, const void* payload, std::uint32_t bytes)
{
    NPcieDriver::SSend record{bytes, 0, header, bytes == 0 ? 0 : ToAddress(payload)};
    if (mFile.Ioctl(NPcieDriver::kSend, &record) == -1)
        throw CException("Send", kSource, __LINE__, true,
                         "PtBus Send: [%d][0x%04X]: The driver refused the packet", int{target.mChannel},
                         unsigned{target.mAddress});
    ++mSentPackets;
}

CPtBusPcie::EReply CPtBusPcie::TryReceive(std::uint64_t header, void* buffer, std::uint32_t bytes)
{
    NPcieDriver::SReceive record{bytes, 0, header, 0, bytes == 0 ? 0 : ToAddress(buffer)};
    if (mFile.Ioctl(NPcieDriver::kReceive, &record) == -1)
        return EReply::None;
    ++mReceivedPackets;
    return record.mByteCount < bytes ? EReply::Short : EReply::Whole;
}

void CPtBusPcie::ReceiveReply(STarget target, std::uint64_t header, void* buffer, std::uint32_t bytes,
                              std::uint32_t timeoutMs)
{
    mTimer.ArmTimer();
    // A short reply is not asked for again: what would come is the answer to something else.
    EReply reply = EReply::None;
    NPoll::UntilMs(mTimer, timeoutMs,
                   [&]
                   {
                       reply = TryReceive(header, buffer, bytes);
                       return reply != EReply::None;
                   });
    if (reply != EReply::Whole)
        throw CException("Receive", kSource, __LINE__, false,
                         "PtBus Receive: [%d][0x%04X]: Timeout[%d] waiting reply packet",
                         int{target.mChannel}, unsigned{target.mAddress},
                         static_cast<int>(mTimer.GetElapsedMs()));
}

void CPtBusPcie::Initialize()
{
    WaitTxValid();
}

void CPtBusPcie::Reset()
{
    mSentPackets = 0;
    mReceivedPackets = 0;
}

bool CPtBusPcie::IsTxValid()
{
    NPcieDriver::SReadBar1 record{1, NPcieDriver::kBar1TxValid, 0};
    return mFile.Ioctl(NPcieDriver::kReadBar1, &record) != -1 &&
           (record.mValue & NPcieDriver::kTxValidBit) != 0;
}

void CPtBusPcie::WaitTxValid()
{
    mTimer.ArmTimer();
    if (!NPoll::UntilMs(mTimer, kTxValidMs, [this] { return IsTxValid(); }))
        throw CException(__func__, kSource, __LINE__, false, "PtBus send timeout : TX_VALID not up");
}

std::uint16_t CPtBusPcie::ReadVsync()
{
    NPcieDriver::SNumber counter{};
    if (mFile.Ioctl(NPcieDriver::kReadVsync, &counter) == -1)
        throw CException(__func__, kSource, __LINE__, true, "PtBus V-sync counter cannot be read");
    return static_cast<std::uint16_t>(counter.mValue);
}

std::uint16_t CPtBusPcie::WaitOnVsync(std::uint32_t count, std::uint32_t timeoutMs, bool yield)
{
    if (count > kLastVsyncCount)
        throw CException(__func__, kSource, __LINE__, false, "V-sync count value %d is out of range",
                         static_cast<int>(count));
    mTimer.ArmTimer();
    const std::uint16_t start = ReadVsync();
    if (count == 0)
        return start;
    // The difference is taken in 16 bits, so a wrap of the counter during the wait does not show.
    const auto hasCome = [&]
    {
        if (static_cast<std::uint16_t>(ReadVsync() - start) >= count)
            return true;
        if (yield)
            ::sleep(0);
        return false;
    };
    if (!NPoll::UntilMs(mTimer, timeoutMs, hasCome))
        throw CException(__func__, kSource, __LINE__, false, "PtBus WaitOnVsync timeout");
    return start;
}
