// One property's value, as bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
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
    CEPPropertyData(const unsigned char* bytes, std::uint32_t size, std::uint8_t type);
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

private:
    static constexpr std::size_t kInside = 16; // bytes; a multiple of a number's size

    std::uint32_t mSize = 0;
    std::uint8_t mType = 0;
    std::array<unsigned char, kInside> mInside{};
    std::unique_ptr<unsigned char[]> mOutside; // only above kInside
};
} // namespace LibMarlix
