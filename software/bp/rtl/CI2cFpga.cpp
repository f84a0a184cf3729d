// Writing and reading alone are transfers whose other half is empty.
#include "software/bp/rtl/CI2cFpga.h"

#include "software/bp/rtl/NPoll.h"
#include "software/utility/CException.h"

#include <cstdarg>
#include <cstdio>

namespace
{
constexpr char kSource[] = "software/bp/rtl/CI2cFpga";
constexpr std::uint32_t kTimeoutMs = 100;
} // namespace

void CI2cFpga::Write(std::uint8_t device, const std::uint8_t* tx, std::uint32_t txLength)
{
    WriteRead(device, tx, txLength, nullptr, 0);
}

void CI2cFpga::Read(std::uint8_t device, std::uint8_t* rx, std::uint32_t rxLength)
{
    WriteRead(device, nullptr, 0, rx, rxLength);
}

void CI2cFpga::WriteRead(std::uint8_t device, const std::uint8_t* tx, std::uint32_t txLength,
                         std::uint8_t* rx, std::uint32_t rxLength)
{
    if (!TryWriteRead(device, tx, txLength, rx, rxLength))
        throw CException(__func__, kSource, __LINE__, false, "I2C %s: device %#x does not acknowledge",
                         GetName(), unsigned{device});
}

bool CI2cFpga::TryWriteRead(std::uint8_t device, const std::uint8_t* tx, std::uint32_t txLength,
                            std::uint8_t* rx, std::uint32_t rxLength)
{
    const bool hasBuffers = (tx != nullptr || txLength == 0) && (rx != nullptr || rxLength == 0);
    if (!hasBuffers || device > kLastDevice || txLength > kMaxLength || rxLength > kMaxLength ||
        txLength + rxLength == 0)
        throw CException("WriteRead", kSource, __LINE__, false,
                         "I2C %s: device %#x cannot be sent %u and asked for %u bytes", GetName(),
                         unsigned{device}, txLength, rxLength);
    if (mIsUnfinished)
        Abort(); // or the bytes that it left in the FIFO would go out ahead of these
    mIsUnfinished = true;
    mTimer.ArmTimer();
    if (!Await(eReady))
        Fail("master not ready");
    WriteFifo(tx, txLength);
    WriteRegister(eControl, eStart | std::uint32_t{device} << kDeviceShift | txLength << kTxShift |
                                rxLength << kRxShift);
    if (!Await(eDone))
        Fail("no end of the transfer with device %#x", unsigned{device});
    if ((ReadRegister(eControl) & eNoAcknowledge) != 0)
    {
        Abort();
        return false;
    }
    const std::uint32_t received = ReadRegister(eReceived) & kMaxLength;
    if (received != rxLength)
        Fail("device %#x gave %u bytes of %u", unsigned{device}, received, rxLength);
    ReadFifo(rx, rxLength);
    mIsUnfinished = false;
    return true;
}

void CI2cFpga::Abort()
{
    WriteRegister(eControl, eAbort);
    mIsUnfinished = false;
}

bool CI2cFpga::Await(EControl bit)
{
    return NPoll::UntilMs(mTimer, kTimeoutMs, [&] { return (ReadRegister(eControl) & bit) != 0; });
}

void CI2cFpga::Fail(const char* format, ...)
{
    char text[128];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Abort();
    throw CException(__func__, kSource, __LINE__, false, "I2C %s: %s", GetName(), text);
}
