// A serial port.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <string>

/// Raw bytes in both directions, never waiting: output that the port does not take at once is kept and
/// written when it takes more. Used from the loop's thread only.
class CCommPort
{
public:
    static constexpr unsigned kDefaultBaud = 115200;
    static constexpr int kNothingYet = -1; ///< of `Read`
    static constexpr std::size_t kMaxOutput =
        std::size_t{64} * 1024; ///< bytes kept for a port that takes none

    /// Opens a terminal device: raw, 8 data bits, no parity, one stop bit, no flow control; real hardware for
    /// us alone.
    /// @throws CException "Unsupported baud rate %u", "Unable to open serial port %s",
    ///                    "%s is no serial port", "Unable to set up serial port %s"
    explicit CCommPort(const std::string& device, unsigned baud = kDefaultBaud);
    CCommPort(const CCommPort&) = delete;
    CCommPort& operator=(const CCommPort&) = delete;
    virtual ~CCommPort();

    /// @returns the bytes read, `kNothingYet` when none have arrived, 0 when the port is closed or has failed
    virtual int Read(unsigned char* bytes, int size);
    /// Writes all or nothing.
    /// @returns false when it was dropped, since the port has not taken what was written before
    /// @throws CException "Unable to write to serial port %s"
    virtual bool Write(const unsigned char* bytes, int size);
    virtual bool WriteChar(char c); ///< as `Write`

    /// Whether written bytes wait until the port takes more.
    bool HasOutput() const noexcept { return !mOutput.empty(); }
    /// Writes what waits, as far as the port takes it. @throws CException as `Write`
    void Flush();

    /// Whether the descriptor is worth waiting for: a line that nobody holds may seem ready for ever.
    virtual bool IsConnected() const noexcept { return true; }
    /// Readable when somebody came to the other end or left; -1 for a port that can not tell.
    virtual int GetPeerDescriptor() const noexcept { return -1; }
    virtual void LookForPeer() {} ///< looks whether there is somebody

    const std::string& GetName() const noexcept { return mName; }    ///< the device
    int GetDescriptor() const noexcept { return mDescriptor.Get(); } ///< for waiting
    /// One bit, for sets of ports; 0 until the handler has given it one.
    unsigned char GetNumber() const noexcept { return mNumber; }
    void SetNumber(unsigned char number) noexcept { mNumber = number; }

protected:
    /// Over something that is open already and does not block.
    CCommPort(std::string name, CDescriptor descriptor);
    void DropOutput() noexcept; ///< drops what waits

private:
    std::string mName;
    CDescriptor mDescriptor;
    unsigned char mNumber = 0;
    std::string mOutput; // what the port did not take yet
};
