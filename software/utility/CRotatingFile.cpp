// Plain write calls: nothing to flush, and nothing that waits.
#include "software/utility/CRotatingFile.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/utility/CRotatingFile";
constexpr mode_t kMode = 0640;

using NPosix::RetryOnInterrupt;
} // namespace

CRotatingFile::CRotatingFile(const std::string& path, std::size_t maxSize, unsigned oldFiles)
    : mPath(path)
    , mMaxSize(maxSize)
    , mOldFiles(oldFiles)
{
    Open(0);
}

void CRotatingFile::Write(std::string_view line)
{
    if (!mFile.IsOpen())
        Open(0);
    if (mIsRegular && mSize > 0 && mSize + line.size() > mMaxSize)
        Rotate();
    std::size_t written = 0;
    while (written < line.size())
    {
        const ssize_t count = RetryOnInterrupt(
            [&] { return ::write(mFile.Get(), line.data() + written, line.size() - written); });
        if (count < 0)
        {
            const CException error(__func__, kSource, __LINE__, true, "Unable to write log file %s",
                                   mPath.c_str());
            // Half a line would run into the next one.
            if (mIsRegular && written > 0 && ::ftruncate(mFile.Get(), static_cast<off_t>(mSize)) != 0)
                mSize += written;
            throw error;
        }
        written += static_cast<std::size_t>(count);
    }
    mSize += written;
}

void CRotatingFile::Open(int flags)
{
    mFile.Reset(RetryOnInterrupt(
        [&] {
            return ::open(mPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | flags, kMode);
        }));
    if (!mFile.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to open log file %s", mPath.c_str());
    struct stat status = {};
    mIsRegular = ::fstat(mFile.Get(), &status) == 0 && S_ISREG(status.st_mode);
    mSize = mIsRegular ? static_cast<std::size_t>(status.st_size) : 0;
}

// What cannot be renamed is emptied all the same: a full medium would harm more than a lost log.
void CRotatingFile::Rotate()
{
    mFile.Reset();
    for (unsigned number = mOldFiles; number > 0; --number)
        ::rename(GetName(number - 1).c_str(), GetName(number).c_str());
    Open(O_TRUNC);
}

std::string CRotatingFile::GetName(unsigned number) const
{
    return number == 0 ? mPath : mPath + '.' + std::to_string(number);
}
