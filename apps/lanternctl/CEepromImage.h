// The bytes of an EEPROM in a file.
#pragma once

#include "software/include/IEeprom.h"

#include <string>

/// Held in memory; the file changes, as a whole, with `Save` only.
class CEepromImage : public IEeprom
{
public:
    static constexpr std::uint32_t kMaxSize = 0x10000; ///< bytes

    /// Reads the file; without one it is as many erased bytes.
    /// @param size  0 when the file must be there; the size of a file that is there counts
    /// @throws CException "There is no file %s", or as CAtomicFile::Read
    CEepromImage(std::string path, std::uint32_t size);

    void Save() const; ///< @throws CException as CAtomicFile::Write

    std::uint32_t GetSize() const override { return static_cast<std::uint32_t>(mBytes.size()); }
    bool Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length) override;
    bool Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length) override;
    bool Erase(std::uint32_t offset, std::uint32_t length) override;

private:
    bool IsInside(std::uint32_t offset, std::uint32_t length) const noexcept;

    const std::string mPath;
    std::string mBytes;
};
