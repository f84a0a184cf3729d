// Keeps a second daemon away from what belongs to the first.
#pragma once

#include "software/utility/CDescriptor.h"

#include <string>

/// Holds a lock for as long as it lives. The system gives it up with the process, however that ends; the file
/// stays, which does no harm.
class CLockFile
{
public:
    /// @param path    file of the lock, made when it is missing
    /// @param object  what the lock is for, as part of a sentence: "state in /var/lib/lantern"
    /// @throws CException "Another lanternd (process %s) uses the %s", "Unable to lock %s" with the system
    ///                    error
    CLockFile(const std::string& path, const std::string& object);

private:
    CDescriptor mFile;
};
