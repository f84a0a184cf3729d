// Files through the one atomic writer.
#include "software/bp/hwlogic/CHdfFileAdapter.h"

#include "software/bp/hwlogic/CHdfTextGuard.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CException.h"
#include "software/utility/NHex.h"
#include "software/utility/NPosix.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CHdfFileAdapter";
}

CHdfFileAdapter::CHdfFileAdapter(std::string path)
    : mPath(std::move(path))
{
}

void CHdfFileAdapter::Clean()
{
    const std::string folderName(mPath, 0, mPath.rfind('/') + 1); // npos + 1 is 0
    const CDescriptor folder(NPosix::RetryOnInterrupt(
        [&] {
            return ::open(folderName.empty() ? "." : folderName.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        }));
    if (!folder.IsOpen() && errno == ENOENT)
        return;
    // A file that comes back after a power cut would be restored over newer settings.
    if (!folder.IsOpen() || (::unlink(mPath.c_str()) != 0 && errno != ENOENT) || ::fsync(folder.Get()) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to remove %s", mPath.c_str());
}

void CHdfFileAdapter::Write(std::string_view text)
{
    CAtomicFile::Write(mPath, text);
}

void CHdfFileAdapter::Read(std::string& text)
{
    if (!CAtomicFile::Read(mPath, text, CHdfTextGuard::kMaxTextSize))
        throw CException(__func__, kSource, __LINE__, false, "There is no file %s", mPath.c_str());
}

bool CHdfFileAdapter::IsStoragePresent() const
{
    struct stat status = {};
    return ::stat(mPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

void CHdfFileAdapter::ReadRawData(std::string& text)
{
    std::string bytes;
    Read(bytes);
    text = NHex::ToDump(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}
