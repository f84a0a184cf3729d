// A JSON-RPC client that shows exactly what went over the wire.
#pragma once

#include "software/utility/CDescriptor.h"

#include <stdexcept>
#include <string>

#include <json/json.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

/// One blocking TCP connection to 127.0.0.1; a reply that takes more than ten seconds throws.
class CRpcConnection
{
public:
    explicit CRpcConnection(int port)
        : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const timeval patience{10, 0};
        ::setsockopt(mSocket.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(mSocket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }

    bool IsOpen() const { return mSocket.IsOpen(); }

    /// Sends a text and the NUL behind it. @returns false when the peer is gone
    bool Send(const std::string& text)
    {
        const std::size_t size = text.size() + 1; // with the NUL
        return ::send(mSocket.Get(), text.c_str(), size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    }

    std::string Receive() ///< one message without its NUL
    {
        for (;;)
        {
            const std::size_t end = mReceived.find('\0');
            if (end != std::string::npos)
            {
                const std::string message = mReceived.substr(0, end);
                mReceived.erase(0, end + 1);
                return message;
            }
            char bytes[4096];
            const ssize_t count = ::recv(mSocket.Get(), bytes, sizeof bytes, 0);
            if (count <= 0)
                throw std::runtime_error("no message arrived");
            mReceived.append(bytes, static_cast<std::size_t>(count));
        }
    }

    Json::Value ReceiveJson()
    {
        Json::Value value;
        if (!Json::Reader().parse(Receive(), value))
            throw std::runtime_error("not JSON");
        return value;
    }

    /// The whole reply, with "result" or "error". Notifications that arrive before it are dropped.
    Json::Value Call(const std::string& method, const Json::Value& params)
    {
        Json::Value request;
        request["jsonrpc"] = "2.0";
        request["id"] = ++mLastId;
        request["method"] = method;
        request["params"] = params;
        if (!Send(Json::FastWriter().write(request)))
            throw std::runtime_error("the peer is gone");
        for (;;)
        {
            Json::Value reply = ReceiveJson();
            if (reply.isMember("id"))
                return reply;
        }
    }

    Json::Value Get(const std::string& code) ///< the value; null after a refusal
    {
        Json::Value params;
        params.append(code);
        return Call("control:get", params)["result"]["value"];
    }
    Json::Value Set(const std::string& code, const Json::Value& value) ///< the whole reply
    {
        Json::Value params;
        params.append(code);
        params.append(value);
        return Call("control:set", params);
    }

private:
    CDescriptor mSocket;
    std::string mReceived;
    int mLastId = 0;
};
