// What the guard lets through must be read, written and read to the same again.
#include "software/utility/CIpcMessage.h"

#include <cstdlib>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

/// All that a message says, one argument a line.
std::string Describe(const CIpcMessage& message)
{
    std::string text = CIpcMessage::GetMsgAsString(message) + '\n' + std::to_string(message.GetFlags()) +
                       ' ' + std::to_string(message.GetMessageType()) + '\n';
    unsigned short key = 0;
    std::string value;
    for (bool more = message.GetFirstArg(key, value); more; more = message.GetNextArg(key, value))
    {
        EParmFlags flags = eParmText;
        unsigned char modifier = 0;
        Require(message.GetArgFlags(key, flags) && message.GetModifier(key, modifier));
        text += std::to_string(key) + ' ' + std::to_string(flags) + ' ' + std::to_string(modifier) + ' ' +
                value + '\n';
    }
    return text;
}

std::vector<unsigned char> Serialize(CIpcMessage& message)
{
    unsigned char* bytes = nullptr;
    const unsigned int length = message.SerializeMessage(bytes);
    Require(length <= CIpcMessage::kMaxSize && CIpcMessage::IsWellFormed(bytes, length));
    return std::vector<unsigned char>(bytes, bytes + length);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    std::size_t measured = 0;
    const bool isPossible = CIpcMessage::MeasureMessage(data, size, measured);
    const bool isWellFormed = CIpcMessage::IsWellFormed(data, size);
    Require(!isWellFormed || (isPossible && measured == size));
    if (!isWellFormed)
        return 0;

    CIpcMessage first;
    Require(first.DeserializeMessage(data, "fuzz"));
    const std::vector<unsigned char> bytes = Serialize(first); // a repeated key is written once
    CIpcMessage second;
    Require(second.DeserializeMessage(bytes.data(), "fuzz"));
    Require(Describe(second) == Describe(first));
    Require(Serialize(second) == bytes);
    return 0;
}
