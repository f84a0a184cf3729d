// A configuration data set in a region of an EEPROM.
#pragma once

#include "software/bp/hwlogic/IHdfStorage.h"

#include <cstdint>

class IEeprom;

/// The region begins with a header of 8 bytes, little-endian: four reserved ones (0), the length of the text
/// and its checksum (NCrc::GetCrc16); the text follows without a terminator.
///
/// The record is written over the old one: a power cut in between loses both, which the checksum tells. Two
/// regions under a CHdfMirroredStorage always have one of them.
class CHdfEeprom : public IHdfStorage
{
public:
    static constexpr std::uint16_t kHeaderSize = 8; ///< bytes

    /// @param name    for messages
    /// @param eeprom  not owned, must outlive the storage
    /// @param offset  first byte of the region
    /// @param size    bytes of the region
    /// @throws CException "Size of client (%d bytes) must be at least the size of the header (%d bytes)",
    /// "The %d bytes of %s at %d do not lie inside the EEPROM (%u bytes)"
    CHdfEeprom(std::string name, IEeprom& eeprom, std::uint16_t offset, std::uint16_t size);

    void Initialize() override {} ///< an EEPROM needs no preparation
    /// @throws CException "Failed to erase the EEPROM %s"
    void Clean() override;
    /// @throws CException "Size of data for %s exceeds space allocated (%d)", "Failed to write the EEPROM %s"
    void Write(std::string_view text) override;
    /// An erased region gives an empty text.
    /// @throws CException "Failed CRC data for %s from EEPROM %x:%x" (stored and computed), "Incorrect size
    /// for %s from EEPROM (%d)", "Failed to read the EEPROM %s"
    void Read(std::string& text) override;
    /// Whether the length is one of a text; its checksum is not looked at. A record of no text does not
    /// count.
    /// @throws CException "Failed to read the EEPROM %s"
    bool IsStoragePresent() const override;
    const char* GetStorageName() const override { return mName.c_str(); }
    void ReadRawData(std::string& text) override;

protected:
    bool Erase(); ///< whether the region was erased

private:
    struct SHeader
    {
        std::uint16_t mLength;
        std::uint16_t mCrc;
    };

    void ReadBytes(std::uint32_t offset, void* bytes, std::size_t size) const; // from the start of the region
    SHeader ReadHeader() const;

    const std::string mName;
    IEeprom& mEeprom;
    const std::uint16_t mOffset;
    const std::uint16_t mSize;
};
