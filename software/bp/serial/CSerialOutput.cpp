// Every write to a port passes one place.
#include "software/bp/serial/CSerialOutput.h"

#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/NSerialFormat.h"
#include "software/include/ILog.h"

#include <exception>

namespace
{
constexpr char kSend[] = "send";
} // namespace

CSerialOutput::CSerialOutput(CCommPort& port, ILog& log)
    : mPort(port)
    , mLog(log)
{
}

std::string_view CSerialOutput::Format(const CIpcMessage& message)
{
    NSerialFormat::Format(message, mText);
    return mText;
}

void CSerialOutput::Send(std::string_view bytes)
{
    Write(bytes, kSend);
}

void CSerialOutput::Relay(std::string_view bytes)
{
    Write(bytes, "relay");
}

void CSerialOutput::Write(std::string_view bytes, const char* what)
{
    Try(what,
        [&]
        {
            return mPort.Write(reinterpret_cast<const unsigned char*>(bytes.data()),
                               static_cast<int>(bytes.size()));
        });
}

void CSerialOutput::SendChar(char c)
{
    Try(kSend, [&] { return mPort.WriteChar(c); });
}

void CSerialOutput::Flush()
{
    Try(kSend,
        [&]
        {
            mPort.Flush();
            return true;
        });
}

template <typename TWrite>
void CSerialOutput::Try(const char* what, TWrite write)
{
    if (mHasFailed)
        return;
    try
    {
        const bool isTaken = write();
        if (!isTaken && !mLosesOutput)
            mLog.LogWarning("Serial port %s takes no output: what is sent now is lost",
                            mPort.GetName().c_str());
        // A short message that fits between two that are lost is no recovery.
        mLosesOutput = !isTaken || (mLosesOutput && mPort.HasOutput());
    }
    catch (const std::exception& e)
    {
        mLog.LogError("Parser %s failure - parser will be closed. %s", what, e.what());
        mHasFailed = true;
    }
}
