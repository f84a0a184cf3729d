// Puts a record together as bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// Appends to a buffer that it does not own. Whoever knows the final size reserves it there first.
class CByteWriter
{
public:
    explicit CByteWriter(std::vector<unsigned char>& buffer) noexcept
        : mBuffer(buffer)
    {
    }

    void Put8(std::uint8_t value) { mBuffer.push_back(value); }
    void PutLe16(std::uint16_t value);
    void PutLe32(std::uint32_t value);
    void PutLe64(std::uint64_t value);
    void PutBe16(std::uint16_t value);
    void PutBe32(std::uint32_t value);
    void PutBe64(std::uint64_t value);
    void PutBytes(const unsigned char* bytes, std::size_t size);
    void PutText(std::string_view text); ///< the bytes alone, without a NUL

private:
    std::vector<unsigned char>& mBuffer;
};
