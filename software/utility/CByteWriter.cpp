// Each number is laid out in a small array first, then appended at once.
#include "software/utility/CByteWriter.h"

#include "software/utility/NByteOrder.h"

namespace
{
template <typename TNumber>
void Append(std::vector<unsigned char>& buffer, void (*put)(unsigned char*, TNumber) noexcept, TNumber value)
{
    unsigned char bytes[sizeof(TNumber)];
    put(bytes, value);
    buffer.insert(buffer.end(), bytes, bytes + sizeof bytes);
}
} // namespace

void CByteWriter::PutLe16(std::uint16_t value)
{
    Append(mBuffer, NByteOrder::PutLe16, value);
}
void CByteWriter::PutLe32(std::uint32_t value)
{
    Append(mBuffer, NByteOrder::PutLe32, value);
}
void CByteWriter::PutLe64(std::uint64_t value)
{
    Append(mBuffer, NByteOrder::PutLe64, value);
}
void CByteWriter::PutBe16(std::uint16_t value)
{
    Append(mBuffer, NByteOrder::PutBe16, value);
}
void CByteWriter::PutBe32(std::uint32_t value)
{
    Append(mBuffer, NByteOrder::PutBe32, value);
}
void CByteWriter::PutBe64(std::uint64_t value)
{
    Append(mBuffer, NByteOrder::PutBe64, value);
}

void CByteWriter::PutBytes(const unsigned char* bytes, std::size_t size)
{
    mBuffer.insert(mBuffer.end(), bytes, bytes + size);
}

void CByteWriter::PutText(std::string_view text)
{
    mBuffer.insert(mBuffer.end(), text.begin(), text.end());
}
