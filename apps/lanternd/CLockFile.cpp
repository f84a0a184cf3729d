// flock, with the process number in the file for whoever is refused.
#include "apps/lanternd/CLockFile.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "apps/lanternd/CLockFile";

// The number that the holder of the lock wrote, "unknown" while it has not done so.
std::string ReadHolder(int file)
{
    char text[32];
    const ssize_t count = NPosix::RetryOnInterrupt([&] { return ::pread(file, text, sizeof text, 0); });
    const std::string holder(text, count > 0 ? static_cast<std::size_t>(count) : 0);
    const bool isNumber = !holder.empty() && holder.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? holder : "unknown";
}

void WriteHolder(int file) noexcept
{
    const std::string holder = std::to_string(::getpid());
    // A failure leaves the lock as good as it was; only the sentence of the next one is poorer.
    if (NPosix::RetryOnInterrupt([&] { return ::ftruncate(file, 0); }) == 0)
        static_cast<void>(
            NPosix::RetryOnInterrupt([&] { return ::pwrite(file, holder.data(), holder.size(), 0); }));
}
} // namespace

CLockFile::CLockFile(const std::string& path, const std::string& object)
{
    constexpr mode_t kMode = 0640;
    mFile.Reset(NPosix::RetryOnInterrupt(
        [&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode); }));
    if (!mFile.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to lock %s", path.c_str());
    if (NPosix::RetryOnInterrupt([&] { return ::flock(mFile.Get(), LOCK_EX | LOCK_NB); }) == 0)
    {
        WriteHolder(mFile.Get());
        return;
    }
    if (errno != EWOULDBLOCK)
        throw CException(__func__, kSource, __LINE__, true, "Unable to lock %s", path.c_str());
    throw CException(__func__, kSource, __LINE__, false, "Another lanternd (process %s) uses the %s",
                     ReadHolder(mFile.Get()).c_str(), object.c_str());
}
