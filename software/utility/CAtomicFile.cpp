// Write, fsync, rename, fsync of the folder. All names are looked up in the folder that was opened first, so
// that it cannot be exchanged in between.
#include "software/utility/CAtomicFile.h"

#include "software/utility/CDescriptor.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/utility/CAtomicFile";
constexpr char kTemporaryEnd[] = ".tmp";
constexpr int kAsideNames = 10;
constexpr std::size_t kReadStep = 65536; // bytes

using NPosix::RetryOnInterrupt;

struct SPlace
{
    explicit SPlace(const std::string& path)
        : mFolder(path, 0, path.rfind('/') + 1) // npos + 1 is 0
        , mName(path, path.rfind('/') + 1)
    {
        if (mFolder.empty())
            mFolder = ".";
    }
    std::string mFolder;
    std::string mName;
};

[[noreturn]] void Fail(int line, const std::string& path, const char* step)
{
    throw CException("Write", kSource, line, true, "Unable to replace %s: %s", path.c_str(), step);
}

/// A temporary file of this writer alone. It is locked while it is written, so that whoever cleans up can
/// tell it from one whose writer was killed, whatever process numbers mean where this runs. Removed unless
/// renamed.
class CTemporaryFile
{
public:
    CTemporaryFile(int folder, std::string prefix)
        : mFolder(folder)
        , mPrefix(std::move(prefix))
    {
    }
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;
    ~CTemporaryFile() { Remove(); }

    bool Open(unsigned mode)
    {
        for (;;)
        {
            mName = mPrefix + std::to_string(::getpid()) + '-' + std::to_string(NextNumber()) + kTemporaryEnd;
            mFile.Reset(RetryOnInterrupt(
                [&]
                {
                    return ::openat(mFolder, mName.c_str(),
                                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                    static_cast<mode_t>(mode));
                }));
            if (!mFile.IsOpen() && errno == EEXIST)
                continue; // left by a process that had our number; the clean-up takes it
            if (!mFile.IsOpen())
                return false;
            mIsNamed = true;
            if (IsStillThere())
                return true;
        }
    }

    bool RenameTo(const std::string& name)
    {
        if (::renameat(mFolder, mName.c_str(), mFolder, name.c_str()) != 0)
            return false;
        mIsNamed = false;
        return true;
    }

    int Get() const { return mFile.Get(); }

private:
    static unsigned NextNumber()
    {
        static std::atomic<unsigned> sNumber{0};
        return sNumber++;
    }

    // Between its creation and its lock another writer may have taken the file for a leftover.
    bool IsStillThere() const
    {
        struct stat status = {};
        RetryOnInterrupt([&] { return ::flock(mFile.Get(), LOCK_EX); });
        return ::fstat(mFile.Get(), &status) != 0 || status.st_nlink > 0;
    }

    void Remove() noexcept
    {
        const int error = errno;
        if (mIsNamed)
            ::unlinkat(mFolder, mName.c_str(), 0);
        mIsNamed = false;
        errno = error;
    }

    const int mFolder;
    const std::string mPrefix;
    std::string mName;
    CDescriptor mFile;
    bool mIsNamed = false;
};

bool WriteAll(int file, std::string_view content)
{
    while (!content.empty())
    {
        const ssize_t count = RetryOnInterrupt([&] { return ::write(file, content.data(), content.size()); });
        if (count < 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool IsTemporaryOf(std::string_view name, std::string_view prefix)
{
    const std::string_view end(kTemporaryEnd);
    if (name.size() <= prefix.size() + end.size() || name.substr(0, prefix.size()) != prefix ||
        name.substr(name.size() - end.size()) != end)
        return false;
    const std::string_view middle = name.substr(prefix.size(), name.size() - prefix.size() - end.size());
    return middle.find_first_not_of("0123456789-") == std::string_view::npos;
}

// Best effort: what cannot be removed today is tried again at the next write.
void RemoveLeftovers(int folder, const std::string& prefix)
{
    CDescriptor copy(
        RetryOnInterrupt([&] { return ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!copy.IsOpen())
        return;
    const std::unique_ptr<DIR, int (*)(DIR*)> list(::fdopendir(copy.Get()), &::closedir);
    if (!list)
        return;
    copy.Release(); // the list closes it
    while (const dirent* entry = ::readdir(list.get()))
    {
        if (!IsTemporaryOf(entry->d_name, prefix))
            continue;
        const CDescriptor file(RetryOnInterrupt(
            [&] { return ::openat(folder, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); }));
        if (file.IsOpen() && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0) // nobody is writing it
            ::unlinkat(folder, entry->d_name, 0);
    }
}

// Root, who changes a file of the daemon's user or puts one into its folder, must not lock the daemon out.
// Others may not give files away; for them the file is their own already.
void KeepOwner(int folder, const std::string& name, int file)
{
    struct stat old = {};
    if (::geteuid() != 0)
        return;
    const bool isKnown =
        ::fstatat(folder, name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 || // else the folder's
        ::fstat(folder, &old) == 0;
    if (isKnown && ::fchown(file, old.st_uid, old.st_gid) != 0)
        errno = 0; // a file system without owners
}
} // namespace

void CAtomicFile::Write(const std::string& path, std::string_view content, unsigned mode)
{
    const SPlace place(path);
    const CDescriptor folder(
        RetryOnInterrupt([&] { return ::open(place.mFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!folder.IsOpen())
        Fail(__LINE__, path, "cannot open its folder");
    const std::string prefix = place.mName + '.';
    RemoveLeftovers(folder.Get(), prefix);

    CTemporaryFile file(folder.Get(), prefix);
    if (!file.Open(mode))
        Fail(__LINE__, path, "cannot create a temporary file beside it");
    KeepOwner(folder.Get(), place.mName, file.Get());
    if (!WriteAll(file.Get(), content))
        Fail(__LINE__, path, "cannot write the temporary file");
    if (RetryOnInterrupt([&] { return ::fsync(file.Get()); }) != 0)
        Fail(__LINE__, path, "cannot bring the temporary file to the medium");
    if (!file.RenameTo(place.mName))
        Fail(__LINE__, path, "cannot rename the temporary file over it");
    if (RetryOnInterrupt([&] { return ::fsync(folder.Get()); }) != 0 && errno != EINVAL) // not every kind can
        Fail(__LINE__, path, "replaced, but cannot bring its folder to the medium");
}

bool CAtomicFile::Read(const std::string& path, std::string& content, std::size_t maxSize)
{
    // A pipe under a wrong path must not stop the caller.
    const CDescriptor file(
        RetryOnInterrupt([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
    if (!file.IsOpen() && errno == ENOENT)
        return false;
    std::string bytes;
    std::size_t size = 0;
    ssize_t count = file.IsOpen() ? 1 : -1;
    while (count > 0)
    {
        bytes.resize(size + kReadStep);
        count = RetryOnInterrupt([&] { return ::read(file.Get(), bytes.data() + size, kReadStep); });
        size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        if (size > maxSize)
            throw CException(__func__, kSource, __LINE__, false, "%s is larger than %zu bytes", path.c_str(),
                             maxSize);
    }
    if (count < 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to read %s", path.c_str());
    bytes.resize(size);
    content = std::move(bytes);
    return true;
}

std::string CAtomicFile::SetAside(const std::string& path) noexcept
try
{
    std::string name;
    for (int i = 0; i < kAsideNames; ++i)
    {
        name = path + ".bad" + (i == 0 ? "" : std::to_string(i));
        struct stat status = {};
        if (::lstat(name.c_str(), &status) != 0 && errno == ENOENT)
            break;
    }
    return ::rename(path.c_str(), name.c_str()) == 0 ? name : std::string();
}
catch (const std::exception&) // no memory for the name
{
    return std::string();
}
