// One property's value, as bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace LibMarlix
{
/// Owns its bytes. Numbers and short texts lie inside the object, so that a message of them is one block of
/// memory.
class CEPPropertyData
{
public:
    CEPPropertyData() noexcept = default;
    /// @param bytes  `size` of them are copied; may be null when that is 0
    /// @param type   an `EPROPERTY_TYPES` value, or any other that came over the line
    CEPPropertyData(const unsigned char* bytes, std::uint32_t size, std::uint8_t type)
        : mSize(size)
        , mType(type)
    {
        if (size <= kInside)
            copySmall(bytes, size, mInside.data());
        else
            copyOutside(bytes);
    }
    CEPPropertyData(const CEPPropertyData& other);
    CEPPropertyData(CEPPropertyData&& other) noexcept;
    CEPPropertyData& operator=(const CEPPropertyData& other);
    CEPPropertyData& operator=(CEPPropertyData&& other) noexcept;
    ~CEPPropertyData() = default;

    std::uint32_t getSize() const noexcept { return mSize; }
    std::uint8_t getType() const noexcept { return mType; }
    /// @returns `getSize()` bytes, valid as long as this object is not changed; null when that is 0
    const unsigned char* getBytes() const noexcept
    {
        if (mSize == 0)
            return nullptr;
        return mSize <= kInside ? mInside.data() : mOutside.get();
    }

    /// Copies them to `to`, where there is room for `kInside` bytes at least.
    unsigned char* copyTo(unsigned char* to) const noexcept
    {
        if (mSize > kInside)
            return std::copy_n(mOutside.get(), mSize, to);
        std::memcpy(to, mInside.data(), kInside); // one move of a fixed size; what is too much is overwritten
        return to + mSize;
    }

    static constexpr std::size_t kInside = 16; ///< bytes that need no memory of their own

private: // Moves of fixed sizes that may overlap: most values are numbers, for which a call costs more than
         // the copy.
    static void copySmall(const unsigned char* from, std::size_t size, unsigned char* to) noexcept
    {
        if (size >= 8)
            copyBothEnds<8>(from, size, to);
        else if (size >= 4)
            copyBothEnds<4>(from, size, to);
        else if (size >= 2)
            copyBothEnds<2>(from, size, to);
        else if (size == 1)
            *to = *from;
    }
    template <std::size_t tPart>
    static void copyBothEnds(const unsigned char* from, std::size_t size, unsigned char* to) noexcept
    {
        std::memcpy(to, from, tPart);
        std::memcpy(to + size - tPart, from + size - tPart, tPart);
    }
    void copyOutside(const unsigned char* bytes);

    std::uint32_t mSize = 0;
    std::uint8_t mType = 0;
    std::array<unsigned char, kInside> mInside{};
    std::unique_ptr<unsigned char[]> mOutside; // only above kInside
};
} // namespace LibMarlix
