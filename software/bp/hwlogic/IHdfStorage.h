// Where the text of a configuration data set is kept.
#pragma once

#include <string>
#include <string_view>

/// Failures are thrown as `CException`. Used from one thread.
class IHdfStorage
{
public:
    virtual ~IHdfStorage() = default;

    virtual void
    Initialize() = 0;         ///< called once before the first use; finishes what a power cut interrupted
    virtual void Clean() = 0; ///< removes what is stored; nothing stored is no failure
    virtual void Write(std::string_view text) = 0;
    /// @param text  is replaced; left alone on failure
    virtual void Read(std::string& text) = 0;
    virtual bool IsStoragePresent() const = 0;
    virtual const char* GetStorageName() const = 0; ///< for messages; lives as long as the storage
    /// @param text  is replaced by a hex dump of the medium, for diagnostics
    virtual void ReadRawData(std::string& text) = 0;
};
