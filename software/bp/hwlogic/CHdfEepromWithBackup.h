// An EEPROM region whose content a flash file holds while the EEPROM is needed for something else.
#pragma once

#include "software/bp/hwlogic/CHdfEeprom.h"

/// Normally the text is in the EEPROM. `BackupToFlash` moves it to the backup, which takes all writes from
/// then on; the next `Initialize` moves it back. A power cut in between repeats the move.
class CHdfEepromWithBackup : public CHdfEeprom
{
public:
    /// @param backup  not owned, must outlive this storage; the others as for CHdfEeprom
    CHdfEepromWithBackup(std::string name, IEeprom& eeprom, std::uint16_t offset, std::uint16_t size,
                         IHdfStorage& backup);

    /// Restores the EEPROM from the backup and removes that; without a backup it does nothing.
    /// @throws CException "Removing flash file %s failed during restore", "The EEPROM %s does not hold what
    /// was restored", what the storages throw
    void Initialize() override;
    void Clean() override;                      ///< the EEPROM, then the backup if there is one
    void Write(std::string_view text) override; ///< to the backup while there is one

    /// Moves the text to the backup (an empty one is not written) and erases the region.
    /// @throws CException "%s. EEPROM client %s backup failed, EEPROM settings will not be restored on next
    /// power up", with the EEPROM as it was; "EEPROM client %s clear failed"
    void BackupToFlash();

private:
    void WriteBackup();

    IHdfStorage& mBackup;
};
