// One transaction, step by step; all its waits share one timer.
#include "software/bp/rtl/CSpiPtBus.h"

#include "software/bp/rtl/NByteFifo.h"
#include "software/bp/rtl/NPoll.h"
#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/CSpiPtBus";
constexpr std::uint32_t kBankSize = 8;
constexpr std::uint32_t kRxFifo = 8;
constexpr std::uint32_t kTxFifo = 12;
constexpr std::uint32_t kTimeoutMs = 100;

constexpr std::uint32_t kControl = 0;
constexpr std::uint32_t kReceived = 4;

struct SBits
{
    std::uint32_t mShift;
    std::uint32_t mMask;
};
constexpr SBits kStart{0, 1u << 0};
constexpr SBits kReady{0, 1u << 1 | 1u << 4}; // both
constexpr SBits kDone{2, 1u << 2};
constexpr SBits kOverflow{5, 1u << 5};
constexpr SBits kAbort{7, 1u << 7};
constexpr SBits kTxLength{12, 0xFu << 12};
constexpr SBits kRxLength{16, 0xFFFu << 16};
constexpr SBits kReceivedLength{0, 0xFFF};
} // namespace

CSpiPtBus::CSpiPtBus(IPtBus& bus, std::uint8_t channel, std::uint32_t base, const IMonotonicClock& clock)
    : mBank(bus, channel, base, kBankSize)
    , mRxFifo(bus, channel, base + kRxFifo)
    , mTxFifo(bus, channel, base + kTxFifo)
    , mTimer(clock)
{
}

void CSpiPtBus::Write(std::uint8_t, const std::uint8_t*, std::uint32_t) {}

void CSpiPtBus::Read(std::uint8_t, std::uint8_t*, std::uint32_t) {}

void CSpiPtBus::WriteRead(std::uint8_t, const std::uint8_t* tx, std::uint32_t txLength, std::uint8_t* rx,
                          std::uint32_t rxLength)
{
    if (tx == nullptr || txLength == 0)
        throw CException(__func__, kSource, __LINE__, false,
                         "Write buffer cannot be null and write length cannot be zero.");
    if (rxLength > 0 && rx == nullptr)
        throw CException(__func__, kSource, __LINE__, false,
                         "Read buffer cannot be null while read length is bigger than 0.");
    if (rxLength > 0 && (txLength > kTxLength.mMask >> kTxLength.mShift || rxLength > kReceivedLength.mMask))
        throw CException(__func__, kSource, __LINE__, false,
                         "SPI master cannot write %u and read %u bytes at once.", txLength, rxLength);
    if (mIsUnfinished)
        Abort(); // or the bytes that it left in the FIFO would go out ahead of these
    mIsUnfinished = true;
    AwaitReady();
    NByteFifo::Write(mTxFifo, tx, txLength);
    if (mBank.ReadField(kControl, kOverflow.mShift, kOverflow.mMask) != 0)
    {
        Abort();
        throw CException(__func__, kSource, __LINE__, false, "SPI master TX buffer overflow.");
    }
    Start(txLength, rxLength);
    if (rxLength > 0)
    {
        CheckReceived(rxLength);
        NByteFifo::Read(mRxFifo, rx, rxLength);
    }
    mIsUnfinished = false;
}

void CSpiPtBus::AwaitReady()
{
    mTimer.ArmTimer();
    const auto isReady = [this]
    { return mBank.ReadField(kControl, kReady.mShift, kReady.mMask) == kReady.mMask; };
    if (NPoll::UntilMs(mTimer, kTimeoutMs, isReady))
        return;
    Abort();
    throw CException(__func__, kSource, __LINE__, false, "SPI master not ready.");
}

void CSpiPtBus::Start(std::uint32_t txLength, std::uint32_t rxLength)
{
    mBank.WriteShadowBits(kControl, rxLength > 0 ? txLength : 0, kTxLength.mShift, kTxLength.mMask);
    mBank.WriteShadowBits(kControl, rxLength, kRxLength.mShift, kRxLength.mMask);
    mBank.WriteFieldWait(kControl, 1, kStart.mShift, kStart.mMask);
    const auto isDone = [this] { return mBank.ReadField(kControl, kDone.mShift, kDone.mMask) != 0; };
    if (NPoll::UntilMs(mTimer, kTimeoutMs, isDone))
        return;
    Abort();
    throw CException(__func__, kSource, __LINE__, false, "SPI master transaction timed out.");
}

void CSpiPtBus::CheckReceived(std::uint32_t expected)
{
    const std::uint32_t received = mBank.ReadField(kReceived, kReceivedLength.mShift, kReceivedLength.mMask);
    if (received == expected)
        return;
    Abort();
    throw CException(__func__, kSource, __LINE__, false,
                     "SPI master read, length of data received %d, expected %d.", static_cast<int>(received),
                     static_cast<int>(expected));
}

void CSpiPtBus::Abort()
{
    mBank.WriteField(kControl, 1, kAbort.mShift, kAbort.mMask);
    mIsUnfinished = false;
}
