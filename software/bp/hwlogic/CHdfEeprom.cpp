// One record a region, written in one call of the device.
#include "software/bp/hwlogic/CHdfEeprom.h"

#include "software/include/IEeprom.h"
#include "software/utility/CByteReader.h"
#include "software/utility/CByteWriter.h"
#include "software/utility/CException.h"
#include "software/utility/NCrc.h"
#include "software/utility/NHex.h"

#include <utility>
#include <vector>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CHdfEeprom";
constexpr std::uint32_t kReserved = 0;
constexpr std::size_t kReservedSize = sizeof kReserved;
constexpr std::uint16_t kErasedLength = 0xFFFF;

std::uint16_t CrcOf(std::string_view text) noexcept
{
    return NCrc::GetCrc16(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}
} // namespace

CHdfEeprom::CHdfEeprom(std::string name, IEeprom& eeprom, std::uint16_t offset, std::uint16_t size)
    : mName(std::move(name))
    , mEeprom(eeprom)
    , mOffset(offset)
    , mSize(size)
{
    if (size < kHeaderSize)
        throw CException(__func__, kSource, __LINE__, false,
                         "Size of client (%d bytes) must be at least the size of the header (%d bytes)", size,
                         kHeaderSize);
    if (offset > eeprom.GetSize() || size > eeprom.GetSize() - offset)
        throw CException(__func__, kSource, __LINE__, false,
                         "The %d bytes of %s at %d do not lie inside the EEPROM (%u bytes)", size,
                         mName.c_str(), offset, eeprom.GetSize());
}

void CHdfEeprom::Clean()
{
    if (!Erase())
        throw CException(__func__, kSource, __LINE__, false, "Failed to erase the EEPROM %s", mName.c_str());
}

void CHdfEeprom::Write(std::string_view text)
{
    if (text.size() > static_cast<std::size_t>(mSize - kHeaderSize))
        throw CException(__func__, kSource, __LINE__, false,
                         "Size of data for %s exceeds space allocated (%zu)", mName.c_str(), text.size());
    std::vector<unsigned char> record;
    record.reserve(kHeaderSize + text.size());
    CByteWriter writer(record);
    writer.PutLe32(kReserved);
    writer.PutLe16(static_cast<std::uint16_t>(text.size()));
    writer.PutLe16(CrcOf(text));
    writer.PutText(text);
    if (!mEeprom.Write(mOffset, record.data(), static_cast<std::uint32_t>(record.size())))
        throw CException(__func__, kSource, __LINE__, false, "Failed to write the EEPROM %s", mName.c_str());
}

void CHdfEeprom::Read(std::string& text)
{
    const SHeader header = ReadHeader();
    if (header.mLength > mSize - kHeaderSize)
    {
        if (header.mLength != kErasedLength)
            throw CException(__func__, kSource, __LINE__, false, "Incorrect size for %s from EEPROM (%d)",
                             mName.c_str(), header.mLength);
        text.clear();
        return;
    }
    std::string stored(header.mLength, '\0');
    if (!stored.empty())
    {
        ReadBytes(kHeaderSize, stored.data(), stored.size());
        if (const std::uint16_t crc = CrcOf(stored); crc != header.mCrc)
            throw CException(__func__, kSource, __LINE__, false, "Failed CRC data for %s from EEPROM %x:%x",
                             mName.c_str(), header.mCrc, crc);
    }
    text = std::move(stored);
}

bool CHdfEeprom::IsStoragePresent() const
{
    const SHeader header = ReadHeader();
    return header.mLength != 0 && header.mLength <= mSize - kHeaderSize;
}

void CHdfEeprom::ReadRawData(std::string& text)
{
    std::vector<unsigned char> bytes(mSize);
    ReadBytes(0, bytes.data(), bytes.size());
    text = NHex::ToDump(bytes.data(), bytes.size(), mOffset);
}

bool CHdfEeprom::Erase()
{
    return mEeprom.Erase(mOffset, mSize);
}

void CHdfEeprom::ReadBytes(std::uint32_t offset, void* bytes, std::size_t size) const
{
    if (!mEeprom.Read(mOffset + offset, static_cast<std::uint8_t*>(bytes), static_cast<std::uint32_t>(size)))
        throw CException(__func__, kSource, __LINE__, false, "Failed to read the EEPROM %s", mName.c_str());
}

CHdfEeprom::SHeader CHdfEeprom::ReadHeader() const
{
    unsigned char bytes[kHeaderSize];
    ReadBytes(0, bytes, sizeof bytes);
    CByteReader reader(bytes, sizeof bytes);
    reader.Skip(kReservedSize); // whatever it holds
    SHeader header{};
    header.mLength = reader.GetLe16();
    header.mCrc = reader.GetLe16();
    return header;
}
