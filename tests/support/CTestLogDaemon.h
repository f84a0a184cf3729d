// What stands at the other end of the system log.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// A datagram socket at a path; both go with it.
class CTestLogDaemon
{
public:
    explicit CTestLogDaemon(const std::string& path)
        : mPath(path)
        , mSocket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path)
            throw std::runtime_error("too long a path: " + path);
        path.copy(address.sun_path, path.size());
        if (::bind(mSocket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot bind " + path + ": " + std::strerror(errno));
    }
    CTestLogDaemon(const CTestLogDaemon&) = delete;
    CTestLogDaemon& operator=(const CTestLogDaemon&) = delete;
    ~CTestLogDaemon() { ::unlink(mPath.c_str()); }

    std::string Read() const ///< the next line; empty when there is none
    {
        char text[8192];
        const ssize_t size = ::recv(mSocket.Get(), text, sizeof text, 0);
        return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
    }

private:
    const std::string mPath;
    const CDescriptor mSocket;
};
