// One row for each level that has a form of its own.
#include "software/bp/serial/NSerialError.h"

#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <iterator>

namespace
{
constexpr std::size_t kMaxPrefix = 10; // characters
constexpr auto kFiveDigits = static_cast<EParmFlags>(eParmNumber | 5);
constexpr char kErrorCode[] = "ERR";

struct SForm
{
    ELogLevel mLevel;
    const char* mCode;
    const char* mPrefix;
};
constexpr SForm kForms[] = {
    {ELogLevel::Error, kErrorCode, "System Error: "},
    {ELogLevel::Warning, kErrorCode, "System Warning: "},
    {ELogLevel::Fyi, "FYI", ""},
};
constexpr SForm kPlain = {ELogLevel::Normal, kErrorCode, ""}; // of every other level

SForm GetForm(ELogLevel level)
{
    const auto found =
        std::find_if(std::begin(kForms), std::end(kForms), [=](const SForm& f) { return f.mLevel == level; });
    return found == std::end(kForms) ? kPlain : *found;
}
} // namespace

CIpcMessage NSerialError::Make(ELogLevel level, EError code, const std::string& text)
{
    const SForm form = GetForm(level);
    CIpcMessage error;
    error.SetCode(form.mCode);
    error.SetSubCode("");
    error.SetDestination(CIpcMessage::kEveryUnit);
    error.AddArg(0, static_cast<int>(code), kFiveDigits);
    error.AddArg(1, form.mPrefix + text);
    return error;
}

// A code that came from a noisy line may be anything; what goes out is text.
std::string NSerialError::MakePrefix(const CIpcMessage& cause)
{
    std::string prefix = NIpcMsgUtil::GetFullCode(cause) + ": ";
    prefix.resize(std::min(prefix.size(), kMaxPrefix));
    std::replace_if(
        prefix.begin(), prefix.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return prefix;
}
