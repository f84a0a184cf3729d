// A search for NULs, or a walk from header to header.
#include "bench/support/CFrameCounter.h"

#include "bench/support/NLoopback.h"
#include "software/utility/CException.h"
#include "software/utility/NByteOrder.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "bench/support/CFrameCounter";
constexpr std::size_t kLengthAt = 22; // in the header
} // namespace

std::size_t CFrameCounter::Count(const char* bytes, std::size_t size)
{
    if (mFraming == EFraming::Nul)
        return static_cast<std::size_t>(std::count(bytes, bytes + size, NLoopback::kMessageEnd));
    return CountLengths(bytes, size);
}

std::size_t CFrameCounter::CountLengths(const char* bytes, std::size_t size)
{
    std::size_t count = 0;
    while (size > 0)
    {
        const bool inHeader = mSeen < kHeaderSize;
        const std::size_t taken = std::min(size, (inHeader ? kHeaderSize : mLength) - mSeen);
        if (inHeader)
            std::copy_n(bytes, taken, mHeader.begin() + static_cast<std::ptrdiff_t>(mSeen));
        mSeen += taken;
        bytes += taken;
        size -= taken;
        if (inHeader && mSeen == kHeaderSize)
            mLength = NByteOrder::GetLe16(mHeader.data() + kLengthAt);
        if (mSeen < kHeaderSize)
            break;
        if (mLength < kHeaderSize)
            throw CException(__func__, kSource, __LINE__, false, "A header says %zu bytes", mLength);
        if (mSeen == mLength)
        {
            ++count;
            mSeen = 0;
        }
    }
    return count;
}
