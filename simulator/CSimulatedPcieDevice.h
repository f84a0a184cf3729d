// The device file of the PCIe link, with the simulated FPGA behind it.
#pragma once

#include "software/utility/CPosixFile.h"

#include <array>
#include <cstddef>
#include <cstdint>

class CSimulatedFpga;

/// Takes the driver's requests apart byte by byte, and refuses with EINVAL whatever is not as it has to be:
/// reserved bytes that are not 0, counts that disagree, pointers that are missing. An address that the FPGA
/// does not have is EIO. Used from one thread only.
class CSimulatedPcieDevice : public CPosixFile
{
public:
    enum class EMode
    {
        Normal,
        Silent, ///< no reply ever comes
        Late,   ///< each reply comes at the fourth time it is asked for
        Short,  ///< each reply lacks its last word
        Gone,   ///< pulled out: every request is ENODEV
    };

    explicit CSimulatedPcieDevice(CSimulatedFpga& fpga) noexcept ///< must outlive the device
        : mFpga(fpga)
    {
    }

    int Ioctl(unsigned long request, void* argument) override;

    void SetMode(EMode mode) noexcept { mMode = mode; }
    void SetTxValid(bool valid) noexcept { mIsTxValid = valid; }
    void SetDmaStatus(std::uint32_t status) noexcept { mDmaStatus = status; }
    bool IsDmaEnabled() const noexcept { return mIsDmaEnabled; }
    std::uint32_t GetDmaResets() const noexcept { return mDmaResets; }
    std::uint64_t GetLastHeader() const noexcept { return mLastHeader; } ///< of the latest packet taken

private:
    static constexpr std::size_t kMaxBytes = 1024;

    int Send(unsigned char* record);
    int Receive(unsigned char* record);
    int ReadBar1(unsigned char* record);
    int ReadVsync(unsigned char* record);
    int EnableDma(unsigned char* record);
    int SendDma(unsigned char* record);
    int ResetDma(unsigned char* record);
    int ReadDmaStatus(unsigned char* record);

    int Answer(unsigned char* record, const unsigned char* bytes, std::size_t size);
    int WriteWords(std::uint32_t page, std::uint32_t address, bool increment, const unsigned char* bytes,
                   std::size_t size);
    int ReadWords(std::uint32_t page, std::uint32_t address, bool increment, unsigned char* bytes,
                  std::size_t size);

    CSimulatedFpga& mFpga;
    EMode mMode = EMode::Normal;
    unsigned mAttempts = 0; // at the reply that is late
    bool mIsTxValid = true;
    bool mIsDmaEnabled = false;
    std::uint32_t mDmaStatus = 0;
    std::uint32_t mDmaResets = 0;
    std::uint64_t mLastHeader = 0;

    bool mIsReplyPending = false; // of the latest request
    std::uint64_t mReplyHeader = 0;
    std::size_t mReplySize = 0;
    std::array<unsigned char, kMaxBytes> mReply{};
};
