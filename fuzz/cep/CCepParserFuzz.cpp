// A stream in pieces: no byte is lost or counted twice, nothing blocks, and what comes out encodes and
// decodes to the same again.
#include "cep/CCepMessage.h"
#include "cep/CCepParser.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace LibMarlix;

namespace
{
constexpr std::size_t kCapacity = 512;
using Bytes = std::vector<unsigned char>;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

Bytes Encode(const CCepMessage& message, EVERSION format)
{
    std::size_t length = 0;
    const std::unique_ptr<unsigned char[]> bytes(message.toBytes(format, length, true));
    return bytes ? Bytes(bytes.get(), bytes.get() + length) : Bytes();
}

void CheckRoundTrip(const CCepMessage& message)
{
    for (const EVERSION format : {eVersion1, eVersion2})
    {
        const Bytes bytes = Encode(message, format);
        CCepMessage second;
        std::size_t consumed = 0;
        Require(second.fromBytes(bytes.data(), bytes.size(), consumed, true) && consumed == bytes.size());
        Require(second.getMessageKeys() == message.getMessageKeys());
        for (const std::uint32_t key : message.getMessageKeys())
        {
            Bytes sent, received;
            Require(message.getData(key, sent) && second.getData(key, received) && sent == received);
            Require(format == eVersion1 || second.getType(key) == message.getType(key));
        }
        Require(Encode(second, format) == bytes);
    }
}

void ReadEverything(const CCepMessage& message)
{
    std::uint64_t number = 0;
    std::int16_t small = 0;
    std::string text;
    std::vector<std::uint32_t> array;
    std::vector<bool> flags;
    for (const std::uint32_t key : message.getMessageKeys())
    {
        const bool reads[] = {message.getUInt64(key, number), message.getInt16(key, small),
                              message.getString(key, text), message.getArrayUInt32(key, array),
                              message.getArrayBool(key, flags)};
        const bool isRead = std::any_of(std::begin(reads), std::end(reads), [](bool r) { return r; });
        Require(isRead || message.getDecodingError() == eCepWrongType);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::size_t piece = 1 + *data++ % 64; // how the stream is cut
    --size;
    CCepParser parser(kCapacity);
    std::size_t out = 0;
    for (std::size_t at = 0; at < size;)
    {
        const std::size_t taken = parser.addData(data + at, std::min(piece, size - at));
        Require(taken > 0); // or the link would stand still
        at += taken;
        for (;;)
        {
            const std::size_t roomBefore = parser.getRoom();
            const CCepParser::SReceived received = parser.receive(CCepParser::ECrc::Told);
            out += parser.getRoom() - roomBefore;
            Require(received.mDropped <= parser.getRoom() - roomBefore);
            if (!received.mMessage)
                break;
            ReadEverything(*received.mMessage);
            CheckRoundTrip(*received.mMessage);
        }
        Require(parser.dropBlocked() == 0); // all of it is done already
        const std::unique_ptr<CCepMessage> none(parser.getCepMsg());
        Require(!none);
    }
    for (std::size_t dropped = parser.dropPending(); dropped > 0; dropped = parser.dropPending())
        out += dropped;
    Require(out == size && parser.getRoom() == kCapacity);
    return 0;
}
