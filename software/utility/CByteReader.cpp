// Every read goes through `GetBytes`, the one place that checks.
#include "software/utility/CByteReader.h"

#include "software/utility/NByteOrder.h"

#include <cstring>

namespace
{
template <typename TNumber>
TNumber Read(CByteReader& in, TNumber (*get)(const unsigned char*) noexcept) noexcept
{
    const unsigned char* bytes = in.GetBytes(sizeof(TNumber));
    return bytes == nullptr ? TNumber{0} : get(bytes);
}
} // namespace

std::uint8_t CByteReader::Get8() noexcept
{
    const unsigned char* byte = GetBytes(1);
    return byte == nullptr ? std::uint8_t{0} : *byte;
}

std::uint16_t CByteReader::GetLe16() noexcept
{
    return Read(*this, NByteOrder::GetLe16);
}
std::uint32_t CByteReader::GetLe32() noexcept
{
    return Read(*this, NByteOrder::GetLe32);
}
std::uint64_t CByteReader::GetLe64() noexcept
{
    return Read(*this, NByteOrder::GetLe64);
}
std::uint16_t CByteReader::GetBe16() noexcept
{
    return Read(*this, NByteOrder::GetBe16);
}
std::uint32_t CByteReader::GetBe32() noexcept
{
    return Read(*this, NByteOrder::GetBe32);
}
std::uint64_t CByteReader::GetBe64() noexcept
{
    return Read(*this, NByteOrder::GetBe64);
}

const unsigned char* CByteReader::GetBytes(std::size_t size) noexcept
{
    if (size > mLeft)
    {
        mOk = false;
        mLeft = 0; // nothing behind the gap is believed
    }
    if (!mOk)
        return nullptr;
    const unsigned char* bytes = mBytes;
    mBytes += size;
    mLeft -= size;
    return bytes;
}

std::string_view CByteReader::GetText(std::size_t size) noexcept
{
    const unsigned char* bytes = GetBytes(size);
    return bytes == nullptr ? std::string_view()
                            : std::string_view(reinterpret_cast<const char*>(bytes), size);
}

std::string_view CByteReader::GetZeroTerminated() noexcept
{
    const void* end = mLeft == 0 ? nullptr : std::memchr(mBytes, 0, mLeft);
    if (end == nullptr)
        return GetText(mLeft + 1); // refuses
    const std::string_view text =
        GetText(static_cast<std::size_t>(static_cast<const unsigned char*>(end) - mBytes));
    Skip(1);
    return text;
}
