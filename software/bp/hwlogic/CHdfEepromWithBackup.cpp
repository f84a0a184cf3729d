// The backup goes only when the EEPROM is known to hold its text, and the other way round.
#include "software/bp/hwlogic/CHdfEepromWithBackup.h"

#include "software/utility/CException.h"
#include "software/utility/NReason.h"

#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CHdfEepromWithBackup";
}

CHdfEepromWithBackup::CHdfEepromWithBackup(std::string name, IEeprom& eeprom, std::uint16_t offset,
                                           std::uint16_t size, IHdfStorage& backup)
    : CHdfEeprom(std::move(name), eeprom, offset, size)
    , mBackup(backup)
{
}

void CHdfEepromWithBackup::Initialize()
{
    if (!mBackup.IsStoragePresent())
        return;
    std::string text;
    std::string stored;
    mBackup.Read(text);
    CHdfEeprom::Write(text);
    CHdfEeprom::Read(stored);
    if (stored != text)
        throw CException(__func__, kSource, __LINE__, false, "The EEPROM %s does not hold what was restored",
                         GetStorageName());
    try
    {
        mBackup.Clean();
    }
    catch (const CException&)
    {
        if (!mBackup.IsStoragePresent())
            throw;
        std::throw_with_nested(CException(__func__, kSource, __LINE__, false,
                                          "Removing flash file %s failed during restore",
                                          mBackup.GetStorageName()));
    }
    if (mBackup.IsStoragePresent())
        throw CException(__func__, kSource, __LINE__, false, "Removing flash file %s failed during restore",
                         mBackup.GetStorageName());
}

void CHdfEepromWithBackup::Clean()
{
    CHdfEeprom::Clean();
    if (mBackup.IsStoragePresent())
        mBackup.Clean();
}

void CHdfEepromWithBackup::Write(std::string_view text)
{
    if (mBackup.IsStoragePresent())
        mBackup.Write(text);
    else
        CHdfEeprom::Write(text);
}

void CHdfEepromWithBackup::BackupToFlash()
{
    try
    {
        WriteBackup();
    }
    catch (const CException& cause)
    {
        throw CException(
            __func__, kSource, __LINE__, false,
            "%s. EEPROM client %s backup failed, EEPROM settings will not be restored on next power up",
            NReason::Of(cause).c_str(), GetStorageName());
    }
    if (!Erase())
        throw CException(__func__, kSource, __LINE__, false, "EEPROM client %s clear failed",
                         GetStorageName());
}

void CHdfEepromWithBackup::WriteBackup()
{
    std::string text;
    Read(text);
    if (!text.empty())
        mBackup.Write(text);
}
