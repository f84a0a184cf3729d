// One row a request modifier; the argument layouts of replies and notifications.
#include "software/bp/serial/NControlMessages.h"

#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/include/ILog.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

namespace
{
constexpr auto kThreeDigits = static_cast<EParmFlags>(eParmNumber | 3);
constexpr auto kFiveDigits = static_cast<EParmFlags>(eParmNumber | 5);

constexpr unsigned char kListModifier = 'L';
constexpr int kEndOfList = 111;
constexpr char kEndOfListText[] = "--END--";

constexpr int kActionValue = 1; // what an action is set to by a command without a value
constexpr char kUnsupportedModifier[] = "Unsupported modifier";

bool IsText(const CProjCon& control) noexcept
{
    return control.GetFamily().mValueForm == EValueForm::Text;
}

void AddValue(CIpcMessage& message, const CProjCon& control)
{
    if (IsText(control))
        message.AddArg(0, control.GetText());
    else
        message.AddArg(0, control.GetValue());
}

void AddCurrent(const CProjCon& control, CIpcMessage& answer)
{
    const EControlFamily family = control.GetFamily().mFamily;
    if (family == EControlFamily::Menu || family == EControlFamily::Custom)
        return NIpcMsgUtil::MakeErrorResponse(answer, eErrorWrongControlType, "This control can not be read");
    AddValue(answer, control);
    if (family != EControlFamily::List)
        return;
    const SListEntry* const entry = control.FindListEntry(control.GetValue());
    answer.AddArg(1, entry == nullptr ? std::string() : control.GetEntryText(*entry));
}

void AddDefault(const CProjCon& control, CIpcMessage& answer)
{
    if (IsText(control))
        answer.AddArg(0, control.GetDefaultText());
    else
        answer.AddArg(0, control.GetDefaultValue());
}

void AddDisabled(const CProjCon& control, CIpcMessage& answer)
{
    answer.AddArg(0, control.GetEnabled() ? 0 : 1, kThreeDigits);
}

void AddAccessGroup(const CProjCon& control, CIpcMessage& answer)
{
    answer.AddArg(0, control.GetAccessGroup());
}

void AddHelpId(const CProjCon& control, CIpcMessage& answer)
{
    answer.AddArg(0, control.GetHelpId());
}

void AddNameId(const CProjCon& control, CIpcMessage& answer)
{
    answer.AddArg(0, control.GetNameId());
}

void AddRange(const CProjCon& control, CIpcMessage& answer)
{
    answer.AddArg(0, control.GetMinValue());
    answer.AddArg(1, control.GetMaxValue());
}

void AddDisplayType(const CProjCon& control, CIpcMessage& answer)
{
    answer.AddArg(0, control.GetDisplayType(), kThreeDigits);
}

void AddZero(const CProjCon&, CIpcMessage& answer)
{
    answer.AddArg(0, 0);
}

// The requests that are answered by one message.
struct SRequest
{
    unsigned char mModifier;
    void (*mAdd)(const CProjCon& control, CIpcMessage& answer);
};
constexpr SRequest kRequests[] = {
    {0, AddCurrent}, {'D', AddDefault}, {'E', AddDisabled},    {'G', AddAccessGroup}, {'H', AddHelpId},
    {'M', AddRange}, {'N', AddNameId},  {'T', AddDisplayType}, {'C', AddZero},
};

void AddEntry(CIpcMessage& answer, bool visible, bool enabled, int value, const std::string& text)
{
    answer.AddArg(0, visible ? 1 : 0, kThreeDigits, kListModifier);
    answer.AddArg(1, enabled ? 1 : 0, kThreeDigits);
    answer.AddArg(2, value, kFiveDigits);
    answer.AddArg(3, text);
}

void AnswerList(const CProjCon& control, const CIpcMessage& reply, std::list<CIpcMessage>& answers)
{
    if (control.GetFamily().mFamily != EControlFamily::List)
        return NIpcMsgUtil::MakeErrorResponse(answers.emplace_back(reply), eErrorWrongControlType,
                                              "Invalid list / Not a list control");
    for (const SListEntry& entry : control.GetList())
        AddEntry(answers.emplace_back(reply), entry.mVisible, entry.mEnabled, entry.mValue,
                 control.GetEntryText(entry));
    AddEntry(answers.emplace_back(reply), false, false, kEndOfList, kEndOfListText);
}

// Argument 0 of a command, put into the control.
EError SetFrom(CProjCon& control, const CIpcMessage& command)
{
    std::string text;
    int value = kActionValue;
    if (command.IsTextArg(0))
    {
        command.GetArg(0, text);
        return NUtf8::IsStorable(text) ? static_cast<EError>(control.SetText(text)) : eErrorInvalidValue;
    }
    if (command.GetArg(0, text) && !command.GetArg(0, value))
        return eErrorInvalidValue; // marked as a number, but none
    return static_cast<EError>(control.SetValue(value));
}
} // namespace

void NControlMessages::ApplyCommand(CProjCon& control, const CIpcMessage& command, CIpcMessage& reply)
{
    unsigned char modifier = 0;
    const bool hasValue = command.GetModifier(0, modifier);
    if (modifier != 0)
        return NIpcMsgUtil::MakeErrorResponse(reply, eErrorUnknownRequest, kUnsupportedModifier);
    if (control.IsReadOnly())
        return NIpcMsgUtil::MakeErrorResponse(reply, eErrorDisabledControl, "This control is read-only");
    if (!hasValue && control.GetFamily().mFamily != EControlFamily::Action)
        return NIpcMsgUtil::MakeErrorResponse(reply, eErrorTooFewParameters);

    const EError error = SetFrom(control, command);
    if (error != eErrorNone)
        NIpcMsgUtil::MakeErrorResponse(reply, error);
    AddValue(reply, control); // after a refusal too: it is what the control still has
}

void NControlMessages::AnswerRequest(const CProjCon& control, const CIpcMessage& request, CIpcMessage reply,
                                     std::list<CIpcMessage>& answers)
{
    unsigned char modifier = 0;
    request.GetModifier(0, modifier);
    if (modifier == kListModifier)
        return AnswerList(control, reply, answers);
    const auto found = std::find_if(std::begin(kRequests), std::end(kRequests),
                                    [=](const SRequest& r) { return r.mModifier == modifier; });
    CIpcMessage& answer = answers.emplace_back(std::move(reply));
    if (found == std::end(kRequests))
        NIpcMsgUtil::MakeErrorResponse(answer, eErrorUnknownRequest, kUnsupportedModifier);
    else
        found->mAdd(control, answer);
}

void NControlMessages::AddState(CIpcMessage& notification, const CProjCon& control, unsigned types, ILog& log)
{
    const char* const code = control.GetCode().c_str();
    const bool logs = log.IsEnabled(ELogLevel::Debug);
    if ((types & eNotifyValue) != 0)
    {
        AddValue(notification, control);
        if (logs && IsText(control))
            log.LogDebug("Notifying with text: %s %s", code, control.GetText().c_str());
        else if (logs)
            log.LogDebug("Notifying with value: %s %d", code, control.GetValue());
    }
    if ((types & eNotifyEnabled) != 0)
    {
        notification.AddArg(eIpcArgEnabled, control.GetEnabled() ? 1 : 0);
        if (logs)
            log.LogDebug("Notifying with enabled: %s %d", code, control.GetEnabled() ? 1 : 0);
    }
    if ((types & eNotifyRange) != 0)
    {
        notification.AddArg(eIpcArgMinimum, control.GetMinValue());
        notification.AddArg(eIpcArgMaximum, control.GetMaxValue());
        if (logs)
            log.LogDebug("Notifying with min/max: %s %d/%d", code, control.GetMinValue(),
                         control.GetMaxValue());
    }
    if ((types & eNotifyList) != 0)
    {
        const int size = static_cast<int>(control.GetListSize());
        notification.AddArg(eIpcArgListSize, size);
        if (logs)
            log.LogDebug("Notifying with list rebuild: %s size:%d", code, size);
    }
}
