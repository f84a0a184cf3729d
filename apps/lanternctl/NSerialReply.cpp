// One pass over the text, from left to right; the first thing that does not fit ends it.
#include "apps/lanternctl/NSerialReply.h"

#include "software/bp/serial/NSerialText.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <cstdint>
#include <numeric>
#include <string>

namespace
{
using namespace NSerialText; // characters and numbers of the line

constexpr std::size_t kCodeSize = 3;
constexpr std::size_t kSubCodeSize = 4;

class CReplyParser
{
public:
    CReplyParser(std::string_view line, CIpcMessage& message)
        : mLine(line)
        , mMessage(message)
    {
    }

    bool Parse()
    {
        mMessage = CIpcMessage();
        if (mLine.size() < 2 || mLine.front() != '(' || mLine.back() != ')')
            return false;
        mLine.remove_suffix(1);
        mAt = 1;
        if (!ParsePrefix() || !ParseCode())
            return false;
        while (SkipSpace())
        {
            if (!ParseNext())
                return false;
        }
        return !mMessage.HasFlag(eFlagChecksum) || TakeChecksum();
    }

private:
    bool IsAtEnd() const { return mAt >= mLine.size(); }
    char Here() const { return IsAtEnd() ? '\0' : mLine[mAt]; }

    // @returns whether there is more
    bool SkipSpace()
    {
        while (!IsAtEnd() && IsSpace(Here()))
            ++mAt;
        return !IsAtEnd();
    }

    std::string_view TakeDigits()
    {
        const std::size_t start = mAt;
        if (Here() == '-')
            ++mAt;
        while (!IsAtEnd() && IsDigit(Here()))
            ++mAt;
        return mLine.substr(start, mAt - start);
    }

    bool ParsePrefix()
    {
        for (; SkipSpace() && !IsDigit(Here()) && !IsLetter(Here()); ++mAt)
        {
            switch (Here())
            {
            case '&': mMessage.SetFlag(eFlagChecksum); break;
            case '$': mMessage.SetFlag(eFlagReplyWanted); break;
            case '#': mMessage.SetFlag(eFlagHash); break;
            default: return false;
            }
        }
        if (IsDigit(Here()))
            mMessage.SetDestination(static_cast<unsigned short>(ParseNumber(TakeDigits())));
        SkipSpace();
        if (IsDigit(Here()))
            mMessage.SetSource(static_cast<unsigned short>(ParseNumber(TakeDigits())));
        return SkipSpace();
    }

    bool TakeWord(std::size_t size, std::string& word)
    {
        for (; word.size() < size; ++mAt)
        {
            if (!IsLetter(Here()) && !IsDigit(Here()))
                return false;
            word += ToUpper(Here());
        }
        return true;
    }

    bool ParseCode()
    {
        std::string code;
        std::string subCode;
        if (!TakeWord(kCodeSize, code))
            return false;
        if (Here() == '+')
        {
            ++mAt;
            if (!TakeWord(kSubCodeSize, subCode))
                return false;
        }
        mMessage.SetCode(code);
        mMessage.SetSubCode(subCode);
        return true;
    }

    bool ParseNext()
    {
        if (Here() == '!' || Here() == '?')
        {
            mMessage.SetFlag(Here() == '!' ? eFlagReply : eFlagRequest);
            ++mAt;
            return true;
        }
        if (mMessage.GetNumArgs() >= CIpcMessage::kMaxArgs)
            return false;
        unsigned char modifier = 0;
        if (IsLetter(Here()))
            modifier = static_cast<unsigned char>(mLine[mAt++]);
        return Here() == '"' ? ParseText(modifier) : ParseNumberArg(modifier);
    }

    bool ParseNumberArg(unsigned char modifier)
    {
        mLastNumberAt = mAt;
        const std::string_view digits = TakeDigits();
        if (digits.empty() && modifier == 0)
            return false;
        mMessage.AddArg(NextKey(), ParseNumber(digits), eParmText, modifier);
        return true;
    }

    bool ParseText(unsigned char modifier)
    {
        std::string text;
        for (++mAt; Here() != '"'; ++mAt)
        {
            if (IsAtEnd())
                return false;
            if (Here() == '\\')
            {
                ++mAt;
                AppendEscaped(text);
            }
            else
                text += Here();
        }
        ++mAt;
        if (!NUtf8::IsStorable(text))
            return false;
        mMessage.AddArg(NextKey(), text, modifier);
        return true;
    }

    void AppendEscaped(std::string& text)
    {
        constexpr int kNibbleValues = 16;
        if (ToLower(Here()) != 'h')
        {
            text += Unescape(Here());
            return;
        }
        const int high = HexToBin(mAt + 1 < mLine.size() ? mLine[mAt + 1] : '0');
        const int low = HexToBin(mAt + 2 < mLine.size() ? mLine[mAt + 2] : '0');
        mAt += 2;
        if (const int value = high * kNibbleValues + low; value != 0) // no text can hold it
            text += static_cast<char>(value);
    }

    // The sum of what stands between "(" and the checksum's first digit.
    bool TakeChecksum()
    {
        if (mMessage.GetNumArgs() == 0)
            return false;
        const auto last = static_cast<unsigned short>(mMessage.GetNumArgs() - 1);
        int received = 0;
        if (!mMessage.IsNumberArg(last) || !mMessage.GetArg(last, received))
            return false;
        const std::string_view summed = mLine.substr(1, mLastNumberAt - 1);
        const auto sum =
            std::accumulate(summed.begin(), summed.end(), std::uint8_t{0},
                            [](std::uint8_t total, char c)
                            { return static_cast<std::uint8_t>(total + static_cast<unsigned char>(c)); });
        mMessage.RemoveArg(last);
        return received == sum;
    }

    unsigned short NextKey() const { return static_cast<unsigned short>(mMessage.GetNumArgs()); }

    std::string_view mLine;
    CIpcMessage& mMessage;
    std::size_t mAt = 0;
    std::size_t mLastNumberAt = 0;
};
} // namespace

bool NSerialReply::Parse(std::string_view line, CIpcMessage& message)
{
    return CReplyParser(line, message).Parse();
}
