// Reads a record from bytes that came from outside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Walks over bytes that it does not own. A read past the end gives 0 (or nothing) and clears `Ok` for good,
/// so that a record is read whole and judged once.
class CByteReader
{
public:
    CByteReader(const unsigned char* bytes, std::size_t size) noexcept
        : mBytes(bytes)
        , mLeft(size)
    {
    }

    bool Ok() const noexcept { return mOk; }            ///< whether everything read so far was there
    std::size_t Left() const noexcept { return mLeft; } ///< bytes not read yet; 0 once `Ok` is false

    std::uint8_t Get8() noexcept;
    std::uint16_t GetLe16() noexcept;
    std::uint32_t GetLe32() noexcept;
    std::uint64_t GetLe64() noexcept;
    std::uint16_t GetBe16() noexcept;
    std::uint32_t GetBe32() noexcept;
    std::uint64_t GetBe64() noexcept;

    void Skip(std::size_t size) noexcept { GetBytes(size); }
    /// @returns `size` bytes, valid as long as the input; null when there are not as many
    const unsigned char* GetBytes(std::size_t size) noexcept;
    std::string_view GetText(std::size_t size) noexcept; ///< the same as text
    std::string_view GetZeroTerminated() noexcept;       ///< the text before the next NUL, which is skipped

private:
    const unsigned char* mBytes;
    std::size_t mLeft;
    bool mOk = true;
};
