// One field of an FPGA's register map.
#pragma once

#include <cstddef>
#include <cstdint>

namespace NFpga
{
enum class EFieldKind
{
    ReadWrite,
    ReadOnly,
    WriteOnly,      ///< reads as anything
    Pulse,          ///< writing ones starts something; clears itself
    WriteOneClears, ///< set by the device, cleared by writing ones
    Port,           ///< a FIFO; the whole word
};

/// One row of a block's map. The maps are arrays of rows, indexed by the block's own `EField`; operations,
/// checks and documents all read the same rows.
struct SField
{
    const char* mName;
    std::uint32_t mOffset; ///< bytes in the block, a multiple of 4
    std::uint32_t mShift;  ///< of the field's bit 0
    std::uint32_t mMask;   ///< in position
    EFieldKind mKind;
    std::uint32_t mReset; ///< value after power-up, of the field alone
    const char* mUnit;    ///< of one step; empty when it counts nothing
    const char* mMeaning;
};

/// Whether a row makes sense by itself in a block of that many bytes: aligned, inside, a mask that begins at
/// its shift and has no holes; a port has its word to itself.
constexpr bool IsSound(const SField& field, std::uint32_t blockSize) noexcept
{
    if (field.mOffset % 4 != 0 || blockSize < 4 || field.mOffset > blockSize - 4 || field.mShift >= 32)
        return false;
    const std::uint32_t value = field.mMask >> field.mShift;
    const bool isWhole = value != 0 && (value & (value + 1)) == 0 && value << field.mShift == field.mMask;
    return isWhole && (field.mKind != EFieldKind::Port || field.mMask == 0xFFFFFFFF) &&
           (field.mReset & ~value) == 0;
}

/// Whether two rows lay claim to the same bit.
constexpr bool Overlap(const SField& one, const SField& other) noexcept
{
    return one.mOffset == other.mOffset && (one.mMask & other.mMask) != 0;
}

/// Whether every row is sound and no two overlap: `static_assert(IsSoundMap(kMap, kSize))`.
template <typename TMap>
constexpr bool IsSoundMap(const TMap& map, std::uint32_t blockSize) noexcept
{
    for (std::size_t i = 0; i < map.size(); ++i)
    {
        if (!IsSound(map[i], blockSize))
            return false;
        for (std::size_t j = 0; j < i; ++j)
            if (Overlap(map[i], map[j]))
                return false;
    }
    return true;
}
} // namespace NFpga
