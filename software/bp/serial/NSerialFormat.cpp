// Prefix, addresses, code, arguments, checksum.
#include "software/bp/serial/NSerialFormat.h"

#include "software/bp/serial/NSerialText.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>

namespace
{
constexpr int kAddressWidth = 5;     // digits
constexpr int kChecksumWidth = 3;    // digits
constexpr unsigned kWidthMask = 0x7; // what of a number's display width counts as its least width

void AppendNumber(std::string& line, int value, int width)
{
    char digits[32]; // more than any width and any number need
    std::snprintf(digits, sizeof digits, "%0*d", width, value);
    line += digits;
}

void AppendText(std::string& line, const std::string& text)
{
    constexpr std::size_t kLongest = std::numeric_limits<unsigned short>::max();
    const auto length = static_cast<unsigned short>(std::min(text.size(), kLongest));
    const std::size_t start = line.size();
    line.resize(start + NSerialText::GetQuotedRoom(length));
    const unsigned written =
        NSerialText::BuildString(reinterpret_cast<unsigned char*>(line.data() + start), length,
                                 reinterpret_cast<const unsigned char*>(text.data()));
    line.resize(start + written);
}

void AppendPrefix(std::string& line, const CIpcMessage& message)
{
    if (message.HasFlag(eFlagChecksum))
        line += '&';
    if (message.HasFlag(eFlagReplyWanted))
        line += '$';
    else if (message.HasFlag(eFlagHash))
        line += '#';
}

void AppendAddresses(std::string& line, const CIpcMessage& message)
{
    if (message.GetDestination() == CIpcMessage::kNoAddress)
        return;
    AppendNumber(line, message.GetDestination(), kAddressWidth);
    line += ' ';
    if (message.GetSource() == CIpcMessage::kNoAddress)
        return;
    AppendNumber(line, message.GetSource(), kAddressWidth);
    line += ' ';
}

void AppendCode(std::string& line, const CIpcMessage& message)
{
    line += message.GetCode();
    const std::string subCode = message.GetSubCode();
    if (!subCode.empty())
        line += '+' + subCode;
    if (message.HasFlag(eFlagReply))
        line += '!';
    if (message.HasFlag(eFlagRequest))
        line += '?';
}

void AppendArg(std::string& line, const CIpcMessage& message, unsigned short key, const std::string& text,
               bool isFirst)
{
    EParmFlags flags = eParmText;
    unsigned char modifier = 0;
    message.GetArgFlags(key, flags);
    message.GetModifier(key, modifier);
    // Directly behind a code a modifier would be taken for a fourth letter of it.
    const bool isBareCode = !message.HasFlag(eFlagReply) && !message.HasFlag(eFlagRequest);
    if (isFirst ? (modifier != 0 && isBareCode) : (flags & eParmDelimiter) == 0)
        line += ' ';
    if (modifier != 0)
        line += static_cast<char>(modifier);
    if ((flags & eParmNumber) == 0)
        return AppendText(line, text);
    if (flags == eParmNumber)
        return; // a modifier that stands alone
    int value = 0;
    message.GetArg(key, value);
    AppendNumber(line, value, static_cast<int>(flags & kWidthMask) + (value < 0 ? 1 : 0));
}

void AppendArgs(std::string& line, const CIpcMessage& message)
{
    unsigned short key = 0;
    std::string text;
    bool isFirst = true;
    for (bool more = message.GetFirstArg(key, text); more; more = message.GetNextArg(key, text))
    {
        AppendArg(line, message, key, text, isFirst);
        isFirst = false;
    }
}

void AppendChecksum(std::string& line)
{
    line += ' ';
    const auto sum = std::accumulate(
        line.begin() + 1, line.end(), std::uint8_t{0},
        [](auto total, char c) { return static_cast<std::uint8_t>(total + static_cast<unsigned char>(c)); });
    AppendNumber(line, sum, kChecksumWidth);
}
} // namespace

void NSerialFormat::Format(const CIpcMessage& message, std::string& line)
{
    line = '(';
    AppendPrefix(line, message);
    AppendAddresses(line, message);
    AppendCode(line, message);
    AppendArgs(line, message);
    if (message.HasFlag(eFlagChecksum))
        AppendChecksum(line);
    line += ')';
}
