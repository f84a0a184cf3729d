// A string of bytes with bounds.
#include "apps/lanternctl/CEepromImage.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr char kSource[] = "apps/lanternctl/CEepromImage";
constexpr char kErased = '\xFF';
} // namespace

CEepromImage::CEepromImage(std::string path, std::uint32_t size)
    : mPath(std::move(path))
{
    if (CAtomicFile::Read(mPath, mBytes, kMaxSize))
        return;
    if (size == 0)
        throw CException(__func__, kSource, __LINE__, false, "There is no file %s", mPath.c_str());
    mBytes.assign(size, kErased);
}

void CEepromImage::Save() const
{
    CAtomicFile::Write(mPath, mBytes);
}

bool CEepromImage::Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length)
{
    if (!IsInside(offset, length))
        return false;
    std::copy_n(mBytes.begin() + offset, length, data);
    return true;
}

bool CEepromImage::Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length)
{
    if (!IsInside(offset, length))
        return false;
    std::copy_n(data, length, mBytes.begin() + offset);
    return true;
}

bool CEepromImage::Erase(std::uint32_t offset, std::uint32_t length)
{
    if (!IsInside(offset, length))
        return false;
    std::fill_n(mBytes.begin() + offset, length, kErased);
    return true;
}

bool CEepromImage::IsInside(std::uint32_t offset, std::uint32_t length) const noexcept
{
    return offset <= mBytes.size() && length <= mBytes.size() - offset;
}
