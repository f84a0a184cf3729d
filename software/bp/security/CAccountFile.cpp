// One lock, one reader, one writer.
#include "software/bp/security/CAccountFile.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <tuple>

namespace
{
constexpr char kSource[] = "software/bp/security/CAccountFile";
constexpr std::size_t kMaxSize = std::size_t{1} << 20; // bytes
constexpr unsigned kMode = 0600;

// Of the folder itself, so that no further file is left whose owner somebody would have to think of.
CDescriptor LockFolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    CDescriptor lock(
        NPosix::RetryOnInterrupt([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!lock.IsOpen() || NPosix::RetryOnInterrupt([&] { return ::flock(lock.Get(), LOCK_EX); }) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to lock the folder %s", folder.c_str());
    return lock;
}

std::int64_t InNs(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}
} // namespace

bool CAccountFile::SStamp::operator==(const SStamp& other) const noexcept
{
    const auto fields = [](const SStamp& stamp)
    { return std::tie(stamp.mDevice, stamp.mNumber, stamp.mSize, stamp.mModifiedNs, stamp.mChangedNs); };
    return fields(*this) == fields(other);
}

CAccountFile::SStamp CAccountFile::GetStamp() const noexcept
{
    struct stat status = {};
    if (::stat(mPath.c_str(), &status) != 0)
        return SStamp();
    return {status.st_dev, status.st_ino, status.st_size, InNs(status.st_mtim), InNs(status.st_ctim)};
}

bool CAccountFile::Exists() const noexcept
{
    struct stat status = {};
    return ::lstat(mPath.c_str(), &status) == 0 || errno != ENOENT;
}

CAccounts CAccountFile::Read() const
{
    std::string text;
    if (!CAtomicFile::Read(mPath, text, kMaxSize))
        throw CException(__func__, kSource, __LINE__, false, "There is no file %s", mPath.c_str());
    return CAccounts::Parse(text);
}

void CAccountFile::Change(const std::function<void(CAccounts& accounts)>& change) const
{
    const CDescriptor lock = LockFolderOf(mPath);
    CAccounts accounts = Read();
    change(accounts);
    Write(accounts);
}

bool CAccountFile::Create(const std::function<CAccounts()>& create) const
{
    const CDescriptor lock = LockFolderOf(mPath);
    if (Exists())
        return false;
    Write(create());
    return true;
}

void CAccountFile::Write(const CAccounts& accounts) const
{
    CAtomicFile::Write(mPath, accounts.Print(), kMode);
}
