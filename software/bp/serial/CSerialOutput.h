// What is written to a serial line.
#pragma once

#include <string>
#include <string_view>

class CCommPort;
class CIpcMessage;
class ILog;

/// Writes to a port for its parser, never waiting: a port that takes nothing loses what is written to it, and
/// the log says so once, until everything that waited has left. A port that fails is not written to again.
class CSerialOutput
{
public:
    /// Neither is owned, both must outlive the output.
    CSerialOutput(CCommPort& port, ILog& log);

    /// Puts a message in parentheses, for this port or for others.
    /// @returns the text, until the next one
    std::string_view Format(const CIpcMessage& message);
    void Send(std::string_view bytes);
    void SendChar(char c);
    void Relay(std::string_view bytes); ///< sends what came from another port
    void Flush();                       ///< writes what the port did not take before
    bool HasFailed() const noexcept { return mHasFailed; }

private:
    void Write(std::string_view bytes, const char* what);
    template <typename TWrite>
    void Try(const char* what, TWrite write);

    CCommPort& mPort;
    ILog& mLog;
    std::string mText;
    bool mLosesOutput = false;
    bool mHasFailed = false;
};
