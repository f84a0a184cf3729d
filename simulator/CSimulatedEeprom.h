// A serial EEPROM that can lose its power at the worst moment.
#pragma once

#include "simulator/ISimulatedChip.h"
#include "software/include/IEeprom.h"
#include "software/utility/CTimer.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// Cells are erased to 0xFF. A page is written in one cycle, which first erases the cells that it is going to
/// write, then programs them one by one; a power cut in between leaves the rest of them erased. Each cycle
/// wears its page and, on the buses, keeps the chip busy for the write time.
///
/// It can be used in three ways, which all reach the same cells: by itself (`IEeprom`; a write returns when
/// all cycles are done), and through `GetI2cChip` and `GetSpiChip` on the masters of the simulated FPGA. Used
/// from one thread only.
class CSimulatedEeprom : public IEeprom
{
public:
    struct SKind
    {
        std::uint32_t mSize;     ///< bytes, a multiple of the page, at most 64 KiB
        std::uint32_t mPageSize; ///< bytes, above 0
        std::uint32_t mWriteMs;  ///< how long a cycle keeps the chip busy on the buses
    };

    /// @param clock      of the write time; must outlive the chip
    /// @throws CException "EEPROM of %u bytes cannot have pages of %u"
    CSimulatedEeprom(const SKind& kind, const IMonotonicClock& clock);
    CSimulatedEeprom(const CSimulatedEeprom&) = delete; // the chips are lent out by reference
    CSimulatedEeprom& operator=(const CSimulatedEeprom&) = delete;

    std::uint32_t GetSize() const override { return mKind.mSize; }
    bool Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length) override;
    bool Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length) override;
    bool Erase(std::uint32_t offset, std::uint32_t length) override;

    /// I2C: two bytes of address (most significant first), then data to write; a read goes on from the
    /// address, which stays where the last transaction left it. A write goes round inside its page.
    ISimulatedChip& GetI2cChip() noexcept { return mI2c; }
    /// SPI: commands 0x06 write enable, 0x02 write and 0x03 read (two bytes of address), 0x05 read status
    /// (bit 0 busy, bit 1 write enabled).
    ISimulatedChip& GetSpiChip() noexcept { return mSpi; }

    /// Power goes after so many more cells have been programmed; then nothing answers.
    void CutPowerAfter(std::uint32_t cells) noexcept { mCellsLeft = cells; }
    void RestorePower() noexcept;
    bool HasPower() const noexcept { return mHasPower; }

    std::uint32_t GetWear(std::uint32_t page) const { return mWear.at(page); } ///< cycles so far

private:
    class CChip : public ISimulatedChip
    {
    public:
        using Operation = bool (CSimulatedEeprom::*)(const std::vector<std::uint8_t>&,
                                                     std::vector<std::uint8_t>&);
        CChip(CSimulatedEeprom& eeprom, Operation operation) noexcept
            : mEeprom(eeprom)
            , mOperation(operation)
        {
        }
        bool Transfer(const std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx) override
        {
            return (mEeprom.*mOperation)(tx, rx);
        }

    private:
        CSimulatedEeprom& mEeprom;
        const Operation mOperation;
    };

    bool TransferI2c(const std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx);
    bool TransferSpi(const std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx);
    bool IsBusy();
    bool IsInside(std::uint32_t offset, std::uint32_t length) const noexcept;
    bool WriteRange(std::uint32_t offset, std::uint32_t length, const std::uint8_t* data);
    bool WritePage(std::uint32_t offset, std::uint32_t length, const std::uint8_t* data);
    void WriteRound(std::uint32_t offset, const std::uint8_t* data, std::size_t length);
    void ReadOn(std::vector<std::uint8_t>& rx) noexcept;

    const SKind mKind;
    std::vector<std::uint8_t> mCells;
    std::vector<std::uint32_t> mWear; // by page
    std::optional<std::uint32_t> mCellsLeft;
    bool mHasPower = true;
    bool mIsWriteEnabled = false; // SPI
    CTimer mCycle;                // since the latest cycle began
    bool mIsInCycle = false;
    std::uint32_t mAddress = 0; // of the next read on a bus
    CChip mI2c{*this, &CSimulatedEeprom::TransferI2c};
    CChip mSpi{*this, &CSimulatedEeprom::TransferSpi};
};
