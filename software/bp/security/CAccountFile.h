// The accounts on the medium.
#pragma once

#include "software/bp/security/CAccounts.h"

#include <cstdint>
#include <functional>
#include <string>

#include <sys/types.h>

/// A file that several processes may change: each change holds a lock on the file's folder, reads what is
/// there, and replaces it as a whole. Readable by its owner only.
class CAccountFile
{
public:
    explicit CAccountFile(std::string path)
        : mPath(std::move(path))
    {
    }

    const std::string& GetPath() const noexcept { return mPath; }

    bool Exists() const noexcept; ///< also when it cannot be read
    /// @throws std::exception  with the reason: there is none, it cannot be read, or it holds something else
    CAccounts Read() const;

    /// Changes what is there, or nothing when `change` throws.
    /// @throws std::exception  as `Read`, as `CAtomicFile::Write`, or from `change`
    void Change(const std::function<void(CAccounts& accounts)>& change) const;
    /// Makes the file with what `create` gives. @returns false, having done nothing, when there is one
    bool Create(const std::function<CAccounts()>& create) const;

    /// What changes whenever the file does.
    struct SStamp
    {
        dev_t mDevice = 0;
        ino_t mNumber = 0;
        off_t mSize = -1; ///< -1: there is no file, or it cannot be looked at
        std::int64_t mModifiedNs = 0;
        std::int64_t mChangedNs = 0;

        bool operator==(const SStamp& other) const noexcept;
    };
    SStamp GetStamp() const noexcept;

private:
    void Write(const CAccounts& accounts) const;

    std::string mPath;
};
