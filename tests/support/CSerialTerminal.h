// The far end of a serial line, message by message.
#pragma once

#include "software/utility/CDescriptor.h"

#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

/// Opens a terminal device, such as the pseudo-terminal of a daemon under test; waiting for more than ten
/// seconds throws.
class CSerialTerminal
{
public:
    explicit CSerialTerminal(const std::string& device)
        : mPort(::open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (!mPort.IsOpen())
            throw std::runtime_error("cannot open " + device);
    }
    /// Over the other side of a pseudo-terminal, for example.
    explicit CSerialTerminal(CDescriptor port)
        : mPort(std::move(port))
    {
    }

    void Send(const std::string& bytes)
    {
        if (::write(mPort.Get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("the line takes no more");
    }

    /// @returns the next message with its parentheses, or the single character that is none of one: "$", "^"
    std::string Receive()
    {
        for (;;)
        {
            const std::size_t end = FindEnd();
            if (end != 0)
            {
                const std::string message = mReceived.substr(0, end);
                mReceived.erase(0, end);
                return message;
            }
            pollfd wait{mPort.Get(), POLLIN, 0};
            char bytes[4096];
            const ssize_t count =
                ::poll(&wait, 1, kPatienceMs) > 0 ? ::read(mPort.Get(), bytes, sizeof bytes) : 0;
            if (count <= 0)
                throw std::runtime_error("no message arrived behind \"" + mReceived + "\"");
            mReceived.append(bytes, static_cast<std::size_t>(count));
        }
    }
    std::string Ask(const std::string& message) ///< sends it and receives the next message
    {
        Send(message);
        return Receive();
    }

private:
    static constexpr int kPatienceMs = 10000;

    // Length of the first message; 0 while it is not complete. A text never holds a bare parenthesis.
    std::size_t FindEnd() const
    {
        if (mReceived.empty() || mReceived.front() != '(')
            return mReceived.empty() ? 0 : 1;
        for (std::size_t i = 1; i < mReceived.size(); ++i)
        {
            if (mReceived[i] == '\\')
                ++i;
            else if (mReceived[i] == ')')
                return i + 1;
        }
        return 0;
    }

    CDescriptor mPort;
    std::string mReceived;
};
