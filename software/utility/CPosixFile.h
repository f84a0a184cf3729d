// A device file or a plain one, by the calls of the system.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The calls that drivers are reached by. They are virtual so that a device made of software can stand in for
/// a real one. Like the system calls behind them they answer -1 with errno; an interrupted call is repeated.
/// Used from one thread at a time.
class CPosixFile
{
public:
    enum EAccess
    {
        eReadOnly,
        eReadWrite,
    };

    CPosixFile() noexcept = default; ///< nothing open: every call answers EBADF
    /// @throws CException "Unable to open %s" with the system error
    explicit CPosixFile(const std::string& path, EAccess access = eReadWrite);
    CPosixFile(const CPosixFile&) = delete;
    CPosixFile& operator=(const CPosixFile&) = delete;
    virtual ~CPosixFile(); ///< unmaps what was mapped and closes the file

    virtual int Ioctl(unsigned long request, void* argument);
    virtual std::ptrdiff_t Read(void* buffer, std::size_t size); ///< bytes read, 0 at the end
    virtual std::ptrdiff_t Write(const void* buffer, std::size_t size);
    /// Maps a part of the file, shared with the device, for reading and (if opened so) writing.
    /// @param offset  bytes, a multiple of the page size
    /// @returns memory that stays until this object goes; null with errno on failure
    virtual volatile void* Map(std::size_t size, std::uint64_t offset);

private:
    struct SMapping
    {
        void* mAddress;
        std::size_t mSize;
    };

    CDescriptor mFile;
    EAccess mAccess = eReadOnly;
    std::vector<SMapping> mMappings;
};
