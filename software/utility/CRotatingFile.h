// A file of lines that never grows beyond its limit.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <string>
#include <string_view>

/// Appends to PATH; when a line would make it larger than allowed, PATH becomes PATH.1, PATH.1 becomes
/// PATH.2, and so on, and the oldest goes. Every line is given to the system at once, so that a killed
/// process has lost none. Only one writer a path. Not thread-safe.
class CRotatingFile
{
public:
    /// @param maxSize   bytes of the file; one longer line still goes into a file of its own
    /// @param oldFiles  how many older files are kept beside it, may be 0
    /// @throws CException "Unable to open log file %s" with the system error
    CRotatingFile(const std::string& path, std::size_t maxSize, unsigned oldFiles);

    /// Appends the bytes of one line, its end included, as a whole or not at all. After a failure the next
    /// call tries again, opening the file anew if need be.
    /// @throws CException "Unable to open log file %s", "Unable to write log file %s" with the system error
    void Write(std::string_view line);

private:
    void Open(int flags);
    void Rotate();
    std::string GetName(unsigned number) const;

    const std::string mPath;
    const std::size_t mMaxSize;
    const unsigned mOldFiles;
    CDescriptor mFile;
    std::size_t mSize = 0;
    bool mIsRegular = false; // a device is neither renamed nor cut
};
