// Marks in any order, then at most two addresses.
#include "software/bp/serial/NSerialPrefix.h"

#include "software/bp/serial/NSerialText.h"
#include "software/bp/serial/SSyntaxError.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <cstddef>

namespace
{
constexpr unsigned short kThisUnit = 65534; // on the wire: whichever unit receives it

bool Refuse(SSyntaxError& error, const char* text, int value = SSyntaxError::kNoValue)
{
    error = {text, value};
    return false;
}

void SkipSpace(std::string_view& text)
{
    while (!text.empty() && NSerialText::IsSpace(text.front()))
        text.remove_prefix(1);
}

bool TakeAddress(std::string_view& text, int& address)
{
    const auto end = std::find_if_not(text.begin(), text.end(), NSerialText::IsDigit);
    const auto length = static_cast<std::size_t>(end - text.begin());
    address = NSerialText::ParseNumber(text.substr(0, length));
    text.remove_prefix(length);
    return length != 0;
}

void TakeMarks(std::string_view& text, CIpcMessage& message)
{
    for (; !text.empty() && !NSerialText::IsDigit(text.front()); text.remove_prefix(1))
    {
        const char c = text.front();
        if (c == '$')
            message.SetFlag(eFlagReplyWanted);
        else if (c == '#')
            message.SetFlag(eFlagHash);
        else if (c == '&')
            message.SetFlag(eFlagChecksum);
        else if (!NSerialText::IsSpace(c))
            return;
    }
}

bool ParseSource(std::string_view text, CIpcMessage& message, SSyntaxError& error)
{
    int source = 0;
    const bool hasNumber = TakeAddress(text, source);
    SkipSpace(text);
    if (!hasNumber || !text.empty()) // a third address means nothing
        return Refuse(error, "src address missing");
    if (source > NSerialPrefix::kLastUnit)
        return Refuse(error, "src address out of range", source);
    message.SetSource(static_cast<unsigned short>(source));
    return true;
}

bool ParseAddresses(std::string_view text, unsigned short ownAddress, CIpcMessage& message,
                    SSyntaxError& error)
{
    int destination = 0;
    if (!TakeAddress(text, destination))
        return Refuse(error, "dest address missing");
    if (destination == CIpcMessage::kEveryUnit)
        message.SetFlag(eFlagNotAddressed);
    else if (destination == kThisUnit)
        destination = ownAddress;
    else if (destination > NSerialPrefix::kLastUnit)
        return Refuse(error, "dest address out of range", destination);
    message.SetDestination(static_cast<unsigned short>(destination));
    SkipSpace(text);
    return text.empty() || ParseSource(text, message, error);
}
} // namespace

bool NSerialPrefix::Parse(std::string_view text, unsigned short ownAddress, CIpcMessage& message,
                          SSyntaxError& error)
{
    TakeMarks(text, message);
    if (text.empty())
        message.SetFlag(eFlagNotAddressed);
    else if (!ParseAddresses(text, ownAddress, message, error))
        return false;

    // Our own, or, for a unit without an address, anybody's.
    if (message.HasFlag(eFlagNotAddressed) && message.GetSource() == ownAddress)
    {
        message.SetFlag(eFlagNotAddressed, false);
        message.SetDestination(ownAddress);
    }
    return true;
}
