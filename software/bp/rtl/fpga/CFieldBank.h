// The registers of an FPGA block, by the names of their fields.
#pragma once

#include "software/bp/rtl/CPtRegisterBank.h"
#include "software/bp/rtl/fpga/SField.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

class IMonotonicClock;

namespace NFpga
{
/// Everything the blocks do with their registers, on a `CPtRegisterBank`: a block names fields and holds no
/// masks. One field or several of one word cost one bus transfer. A value that does not fit its field is
/// refused before anything changes. Fields that react to ones (pulse, write-1-clears) are never written by
/// accident: a write to a neighbour in the same word sends zeros there. The shadow starts with the map's
/// reset values, so that the first write of a field leaves its neighbours as they were after power-up.
/// Nothing is allocated after the construction.
class CFieldBank
{
public:
    struct SValue
    {
        std::size_t mField;
        std::uint32_t mValue;
    };

    /// @param size  of the block, bytes
    /// @param map   indexed by the block's `EField`; must outlive the bank
    /// @throws CException as `CPtRegisterBank`; "Register map: field %s does not fit a block of %#x bytes",
    /// "Register map: fields %s and %s overlap"
    template <std::size_t Count>
    CFieldBank(IPtBus& bus, std::uint8_t channel, std::uint32_t base, std::uint32_t size,
               const std::array<SField, Count>& map)
        : mBank(bus, channel, base, size)
        , mFields(map.data())
        , mTouchy(MakeTouchy(map.data(), Count, size))
    {
        ResetShadow();
    }
    /// The same, cut from a larger bank, which must outlive it.
    template <std::size_t Count>
    CFieldBank(CPtRegisterBank& parent, std::uint32_t offset, std::uint32_t size,
               const std::array<SField, Count>& map)
        : mBank(parent, offset, size)
        , mFields(map.data())
        , mTouchy(MakeTouchy(map.data(), Count, size))
    {
        ResetShadow();
    }

    /// From the device. @throws CException "Field %s cannot be read", and as the bus, like all of the
    /// following
    std::uint32_t Read(std::size_t field);
    /// As it was last read or written, without the bus.
    std::uint32_t ReadShadow(std::size_t field) const;

    /// @throws CException "Field %s cannot be written", "Field %s cannot hold %u (0 to %u)"
    void Write(std::size_t field, std::uint32_t value);     ///< does not wait for the device
    void WriteWait(std::size_t field, std::uint32_t value); ///< returns after the device's reply
    /// Several fields of one word, which the device sees change at once; waits for its reply.
    /// @throws CException too "Fields %s and %s are not in one word"
    void WriteSeveral(std::initializer_list<SValue> values);
    /// The refusals of `Write` alone: for operations that write several words, or none.
    void CheckValues(std::initializer_list<SValue> values) const;

    /// Writes ones to a pulse or write-1-clears field, and leaves it 0 in the shadow; waits for the device's
    /// reply.
    void Pulse(std::size_t field);

    /// Reads until the field has the value.
    /// @returns false when it did not within the time
    bool WaitFor(std::size_t field, std::uint32_t value, const IMonotonicClock& clock,
                 std::uint32_t timeoutMs);

    /// Sends words into a port, in chunks of 256.
    /// @param timeoutMs  of the device's reply to each chunk; with 0 nothing waits
    void LoadTable(std::size_t port, const std::uint32_t* data, std::uint32_t count, std::uint32_t timeoutMs);

    std::size_t GetCount() const noexcept { return mTouchy.size(); } ///< of fields
    const SField& GetField(std::size_t field) const; ///< @throws CException "There is no field %zu"
    CPtRegisterBank& GetBank() noexcept { return mBank; }

private:
    static std::vector<std::uint32_t> MakeTouchy(const SField* fields, std::size_t count, std::uint32_t size);
    void ResetShadow();
    const SField& CheckWrite(std::size_t field, std::uint32_t value) const;

    CPtRegisterBank mBank;
    const SField* const mFields;
    const std::vector<std::uint32_t> mTouchy; // by field: bits of its word that react to ones, in position
};
} // namespace NFpga
