// The states of the protocol's receiver, as far as they tell where a message ends.
#include "apps/lanternctl/CSerialReader.h"

#include "software/bp/serial/NSerialText.h"

#include <utility>

namespace
{
constexpr std::string_view kOnlyEscaped = "()\n\x11\x13"; // in a text; as they are they end the message
}

void CSerialReader::Take(std::string_view bytes)
{
    for (const char byte : bytes)
        TakeByte(byte);
}

std::optional<std::string> CSerialReader::Next()
{
    if (mItems.empty())
        return std::nullopt;
    std::string item = std::move(mItems.front());
    mItems.pop_front();
    return item;
}

void CSerialReader::TakeByte(char byte)
{
    if (mState == EState::Outside)
        return OnOutside(byte);
    mMessage += byte;
    if (mMessage.size() > kMaxMessage)
        mState = EState::Outside;
    switch (mState)
    {
    case EState::Outside: return;
    case EState::Message: return OnMessage(byte);
    case EState::Text: return OnText(byte);
    case EState::Escape: mState = NSerialText::ToLower(byte) == 'h' ? EState::HexHigh : EState::Text; return;
    case EState::HexHigh: mState = EState::HexLow; return;
    case EState::HexLow: mState = EState::Text; return;
    }
}

void CSerialReader::OnOutside(char byte)
{
    if (byte == '(')
    {
        mMessage = byte;
        mState = EState::Message;
    }
    else if (byte == kAck || byte == kNak)
        mItems.emplace_back(1, byte);
}

void CSerialReader::OnMessage(char byte)
{
    if (byte == '(')
        mMessage = byte;
    else if (byte == '"')
        mState = EState::Text;
    else if (byte == ')')
    {
        mItems.push_back(std::move(mMessage));
        mState = EState::Outside;
    }
}

void CSerialReader::OnText(char byte)
{
    if (byte == '"')
        mState = EState::Message;
    else if (byte == '\\')
        mState = EState::Escape;
    else if (kOnlyEscaped.find(byte) != std::string_view::npos)
        mState = EState::Outside;
}
