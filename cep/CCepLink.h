// The controller's end of the connection to a companion module.
#pragma once

#include "cep/CCepParser.h"
#include "software/utility/CDescriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace LibMarlix
{
class CCepMessage;

/// Sends a request, awaits its reply. Noise, damaged messages and late replies are passed over, so that one
/// bad exchange never spoils the next. Used from one thread, which it blocks for as long as it is allowed to.
class CCepLink
{
public:
    /// @param socket  a connected stream socket, local or TCP
    /// @param crc     `Right` for modules that fill the CRC field, `Told` for those that do not
    explicit CCepLink(CDescriptor socket, CCepParser::ECrc crc = CCepParser::ECrc::Right);

    enum class EResult
    {
        Answered,
        NoAnswer, ///< in time; the link may be used again
        Lost,     ///< the module has closed the connection, or takes nothing: it needs a new link
        TooLong,  ///< the properties are more than one message can hold; nothing was sent
    };
    /// The link numbers its requests, and a reply is the message with the same sequence number.
    /// @param request  sent in its `getFormat` with a CRC; gets the sequence number
    /// @param reply    the answer, which may well be a refusal: see its error code
    /// @param timeout  for all of it
    EResult request(CCepMessage& request, std::unique_ptr<CCepMessage>& reply,
                    std::chrono::milliseconds timeout);

private:
    using Time = std::chrono::steady_clock::time_point;
    EResult send(const unsigned char* bytes, std::size_t size, Time deadline);
    EResult read(Time deadline);
    bool findReply(std::uint8_t sequenceNumber, std::unique_ptr<CCepMessage>& reply);
    EResult lose() noexcept;

    CDescriptor mSocket;
    const CCepParser::ECrc mCrc;
    CCepParser mParser;
    std::uint8_t mSequenceNumber = 0;
};
} // namespace LibMarlix
