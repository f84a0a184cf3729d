// Codes are plain ASCII, whatever the locale says a letter is.
#include "software/bp/serial/NAsciiCodeUtils.h"

#include <algorithm>

namespace
{
constexpr std::size_t kCodeLength = 3;
constexpr std::size_t kMessageSubCodeLength = 4;
constexpr char kJoint = '+';

bool IsLetter(char c) noexcept
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsLetterOrDigit(char c) noexcept
{
    return IsLetter(c) || (c >= '0' && c <= '9');
}

char ToUpper(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsCode(std::string_view text) noexcept
{
    if (text.size() < kCodeLength || !IsLetter(text[0]) || !IsLetterOrDigit(text[1]) ||
        !IsLetterOrDigit(text[2]))
        return false;
    if (text.size() == kCodeLength)
        return true;
    const std::string_view subCode = text.substr(kCodeLength + 1);
    return text[kCodeLength] == kJoint && !subCode.empty() &&
           std::all_of(subCode.begin(), subCode.end(), IsLetterOrDigit);
}
} // namespace

bool NAsciiCodeUtils::ValidateCode(std::string& code)
{
    if (!IsCode(code))
        return false;
    std::transform(code.begin(), code.end(), code.begin(), ToUpper);
    return true;
}

std::string NAsciiCodeUtils::JoinCode(std::string_view code, std::string_view subCode)
{
    std::string joined(code);
    if (!subCode.empty())
    {
        joined += kJoint;
        joined += subCode;
    }
    return joined;
}

void NAsciiCodeUtils::SplitCode(std::string_view text, std::string& code, std::string& subCode)
{
    code = kNoCode;
    subCode = kNoSubCode;
    const std::size_t joint = text.find(kJoint);
    if (const std::string_view first = text.substr(0, joint); !first.empty())
        code = first;
    if (joint != std::string_view::npos && joint + 1 < text.size())
        subCode = text.substr(joint + 1);
}

bool NAsciiCodeUtils::FitsMessage(std::string_view subCode) noexcept
{
    return subCode.empty() || subCode.size() == kMessageSubCodeLength;
}
