// A configuration data set in a file.
#pragma once

#include "software/bp/hwlogic/IHdfStorage.h"

/// The file is replaced as a whole and durably (see CAtomicFile), so a power cut leaves the old or the new
/// text.
class CHdfFileAdapter : public IHdfStorage
{
public:
    explicit CHdfFileAdapter(std::string path);

    void Initialize() override {} ///< a file needs no preparation
    /// Removes the file, durably.
    /// @throws CException "Unable to remove %s" with the system error
    void Clean() override;
    void Write(std::string_view text) override; ///< @throws CException as CAtomicFile::Write
    /// @throws CException "There is no file %s", or as CAtomicFile::Read: files above 1 MiB are refused
    void Read(std::string& text) override;
    bool IsStoragePresent() const override; ///< whether there is such a file; an empty one counts
    const char* GetStorageName() const override { return mPath.c_str(); }
    void ReadRawData(std::string& text) override;

private:
    const std::string mPath;
};
