// FIFOs and the life of a transaction.
#include "simulator/CSimulatedSerialMaster.h"

namespace
{
constexpr std::uint32_t kControl = 0;
constexpr std::uint32_t kReceived = 4;
constexpr std::uint32_t kRxFifo = 8;
constexpr std::uint32_t kTxFifo = 12;
constexpr std::uint32_t kStart = 1u << 0;
constexpr std::uint32_t kAbort = 1u << 7;
constexpr std::uint32_t kOwnBits = 0xFF; // status, start and abort: not kept
} // namespace

std::uint32_t CSimulatedSerialMaster::Read(std::uint32_t offset)
{
    switch (offset)
    {
    case kControl:
    {
        const bool isBusy = mBusy.Poll();
        const bool isReady = !isBusy && mBusy.GetMode() != CSimulatedBusy::EMode::NotReady;
        return (mControl & ~kOwnBits) | GetStatus(isReady, mHasRun && !isBusy, mHasOverflow);
    }
    case kReceived: return static_cast<std::uint32_t>(mRx.size() - mRxTaken);
    case kRxFifo: return mRxTaken < mRx.size() ? mRx[mRxTaken++] : 0;
    default: return 0;
    }
}

void CSimulatedSerialMaster::Write(std::uint32_t offset, std::uint32_t value)
{
    if (offset == kTxFifo)
    {
        mHasOverflow = mHasOverflow || mTx.size() == kFifoDepth;
        if (!mHasOverflow)
            mTx.push_back(static_cast<std::uint8_t>(value));
    }
    if (offset != kControl)
        return;
    mControl = value;
    if ((value & kAbort) != 0)
        Abort();
    else if ((value & kStart) != 0)
        Start(value);
}

void CSimulatedSerialMaster::Start(std::uint32_t control)
{
    mRx.clear();
    mRxTaken = 0;
    Run(control, mTx, mRx);
    if (mBusy.GetMode() == CSimulatedBusy::EMode::Failing && !mRx.empty())
        mRx.pop_back();
    mTx.clear();
    mHasRun = true;
    mBusy.Start();
}

void CSimulatedSerialMaster::Abort()
{
    mTx.clear();
    mRx.clear();
    mRxTaken = 0;
    mHasOverflow = false;
    mHasRun = false;
    mBusy.Stop();
    ++mAborts;
}
