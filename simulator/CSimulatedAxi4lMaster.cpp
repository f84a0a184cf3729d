// The transaction is done at once; only the busy bit takes its time.
#include "simulator/CSimulatedAxi4lMaster.h"

namespace
{
constexpr std::uint32_t kControl = 0;
constexpr std::uint32_t kAddress = 4;
constexpr std::uint32_t kWriteData = 8;
constexpr std::uint32_t kReadData = 12;
constexpr std::uint32_t kBusy = 1;
constexpr std::uint32_t kIsRead = 0x100;
} // namespace

std::uint32_t CSimulatedAxi4lMaster::Read(std::uint32_t offset)
{
    switch (offset)
    {
    case kControl: return (mCommand & ~kBusy) | (mBusy.Poll() ? kBusy : 0);
    case kAddress: return mAddress;
    case kWriteData: return mWriteData;
    case kReadData: return mReadData;
    default: return 0;
    }
}

void CSimulatedAxi4lMaster::Write(std::uint32_t offset, std::uint32_t value)
{
    if (offset == kAddress)
        mAddress = value;
    else if (offset == kWriteData)
        mWriteData = value;
    if (offset != kControl)
        return;
    mCommand = value;
    if ((value & kBusy) == 0)
        return;
    mBusy.Start();
    if ((value & kIsRead) == 0)
        mSpace[mAddress] = mWriteData;
    else
        mReadData = mSpace[mAddress];
}
