// Two places for one configuration data set, of which a power cut spoils at most one.
#pragma once

#include "software/bp/hwlogic/IHdfStorage.h"

/// Every change is made in the mirror, read back, and only then made in the first place. Whatever moment the
/// power goes at, `Read` gives the old text or the new one, and the same one until the next change. Made for
/// two regions of an EEPROM, and works with any storage.
class CHdfMirroredStorage : public IHdfStorage
{
public:
    /// Neither is owned; both must outlive this storage.
    CHdfMirroredStorage(IHdfStorage& first, IHdfStorage& mirror) noexcept;

    void Initialize() override; ///< both, and makes them equal again after a power cut
    void Clean() override;
    /// @throws CException "%s does not hold what was written", what the storages throw
    void Write(std::string_view text) override;
    /// The first place if it holds a valid text, else the mirror. Neither: an empty text.
    /// @throws CException what the first place throws, when it is damaged and the mirror holds no valid text
    void Read(std::string& text) override;
    bool IsStoragePresent() const override; ///< in either place
    const char* GetStorageName() const override { return mFirst.GetStorageName(); }
    void ReadRawData(std::string& text) override; ///< of both, one after the other

private:
    IHdfStorage& mFirst;
    IHdfStorage& mMirror;
};
