// The register bus over the PCIe link.
#pragma once

#include "software/bp/rtl/IPtBus.h"
#include "software/utility/CTimer.h"

#include <cstddef>
#include <cstdint>

class CPosixFile;

/// Hands packets to the driver of the link, one ioctl each. A write or a read is at most 256 words; the byte
/// counts in the headers of byte packets are cut to whole words, as the link has it.
///
/// A reply that is shorter than asked for counts as none.
class CPtBusPcie : public IPtBus
{
public:
    /// @param file   the opened device; not owned, must outlive the bus
    /// @param clock  of the time-outs; not owned, must outlive the bus
    CPtBusPcie(CPosixFile& file, const IMonotonicClock& clock);
    CPtBusPcie(const CPtBusPcie&) = delete;
    CPtBusPcie& operator=(const CPtBusPcie&) = delete;

    /// Raw packet: opcode in bits 0-3, tag in 12-15, flags in 11, 10, 9 and 8, first in 32-45, second in
    /// 48-61, payload bytes in 16-26.
    void Send(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
              const std::uint32_t* data, std::uint32_t count, bool flag11, bool flag10, bool flag9,
              bool flag8) override;
    void Send(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
              const std::uint8_t* data, std::uint32_t count, bool flag11, bool flag10, bool flag9,
              bool flag8) override;
    /// Raw control packet: opcode 8, select in bits 8-9, tag in 12-15, target in 56-63, each flag in the bit
    /// of its name.
    void Send(std::uint8_t select, std::uint8_t tag, std::uint8_t target, bool flag52, bool flag44,
              bool flag40, bool flag48) override;

    /// @throws CException "Invalide ptbus payload size"; "PtBus Send: [%d][0x%04X]: The driver refused the
    /// packet" with the system error
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
              bool increment) override;
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data, std::uint32_t count,
              bool increment) override;
    /// @throws CException "PtBus Receive: [%d][0x%04X]: Packet size too large: %d words" or "... %d bytes";
    /// "PtBus Receive: [%d][0x%04X]: Timeout[%d] waiting reply packet", with the milliseconds waited
    void Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data, std::uint32_t count,
                 bool increment, std::uint32_t timeoutMs) override;
    void Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data, std::uint32_t count,
                 bool increment, std::uint32_t timeoutMs) override;
    /// @throws CException as `Send` and `Receive`, before anything is sent where it can be known
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override;
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                 std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override;

    virtual void Initialize(); ///< waits until the link can send; @throws CException as `WaitTxValid`
    virtual void Reset();      ///< sets both counters to 0

    /// Polls for 100 ms.
    /// @throws CException "PtBus send timeout : TX_VALID not up"
    void WaitTxValid();

    /// Waits for vertical syncs of the video.
    /// @param count  0 to 65534; with 0 it only reads the counter
    /// @param yield  whether other threads of the machine may run between two polls
    /// @returns the 16-bit counter at the start
    /// @throws CException "V-sync count value %d is out of range", "PtBus WaitOnVsync timeout"
    std::uint16_t WaitOnVsync(std::uint32_t count, std::uint32_t timeoutMs, bool yield);

    std::uint32_t GetSentPackets() const noexcept { return mSentPackets; }         ///< wraps
    std::uint32_t GetReceivedPackets() const noexcept { return mReceivedPackets; } ///< wraps

protected:
    CPosixFile& GetFile() noexcept { return mFile; }

private:
    struct STarget
    {
        std::uint8_t mChannel;
        std::uint16_t mAddress;
    };

    void SendPacket(STarget target, std::uint64_t header, const void* payload, std::uint32_t bytes);
    void ReceiveReply(STarget target, std::uint64_t header, void* buffer, std::uint32_t bytes,
                      std::uint32_t timeoutMs);
    enum class EReply
    {
        None,
        Short,
        Whole,
    };
    EReply TryReceive(std::uint64_t header, void* buffer, std::uint32_t bytes);
    void RequestBytes(STarget target, const void* writeData, std::uint32_t writeBytes, void* readData,
                      std::uint32_t readBytes, bool increment, std::uint32_t timeoutMs);
    bool IsTxValid();
    std::uint16_t ReadVsync();

    CPosixFile& mFile;
    CTimer mTimer;
    std::uint32_t mSentPackets = 0;
    std::uint32_t mReceivedPackets = 0;
};
