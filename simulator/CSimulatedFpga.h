// The registers of the simulated FPGA.
#pragma once

#include "simulator/ISimulatedBlock.h"
#include "software/bp/rtl/IPtPages.h"
#include "software/bp/rtl/fpga/SField.h"
#include "software/bp/rtl/fpga/SPlace.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

class IMonotonicClock;

/// 64 pages of 1 KiB. A register holds what was written, unless a block is attached there. The same registers
/// stand behind every transport. Used from one thread only.
class CSimulatedFpga
{
public:
    /// @param clock  that the video runs by; must outlive the FPGA
    explicit CSimulatedFpga(const IMonotonicClock& clock);
    CSimulatedFpga(const CSimulatedFpga&) = delete;
    CSimulatedFpga& operator=(const CSimulatedFpga&) = delete;

    /// @param block  not owned, must outlive the FPGA
    /// @throws CException "Simulated FPGA: a block at page %u, %#x, does not fit"
    void Attach(const NFpga::SPlace& place, ISimulatedBlock& block);

    /// Gives the registers of a block their values after power-up.
    template <std::size_t Count>
    void Reset(const NFpga::SPlace& place, const std::array<NFpga::SField, Count>& map)
    {
        for (const NFpga::SField& field : map)
            Write(place.mPage, place.mOffset + field.mOffset,
                  (Read(place.mPage, place.mOffset + field.mOffset) & ~field.mMask) | field.mReset
                                                                                          << field.mShift);
    }

    /// The register that holds the byte at the address.
    /// @throws CException "Simulated FPGA: there is nothing at page %u, %#x"
    std::uint32_t Read(std::uint32_t page, std::uint32_t address);
    void Write(std::uint32_t page, std::uint32_t address, std::uint32_t value);

    std::uint16_t GetVsync();             ///< counts 60 times a second, and wraps
    void SetVsync(std::uint16_t counter); ///< from now on

private:
    struct SAttached
    {
        NFpga::SPlace mPlace;
        ISimulatedBlock* mBlock;
    };
    static constexpr std::size_t kWordsPerPage = IPtPages::kPageSize / 4;

    std::uint32_t& WordAt(std::uint32_t page, std::uint32_t address);
    const SAttached* FindBlock(std::uint32_t page, std::uint32_t address) const noexcept;

    const IMonotonicClock& mClock;
    std::array<std::array<std::uint32_t, kWordsPerPage>, IPtPages::kMostPages> mWords{};
    std::vector<SAttached> mBlocks;
    std::uint32_t mVsyncAt; // counts of the clock at the latest vertical sync
    std::uint16_t mVsync = 0;
};
