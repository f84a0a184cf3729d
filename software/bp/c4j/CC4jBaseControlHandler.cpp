// Which members a control has is decided by its family; see `SControlFamily`.
#include "software/bp/c4j/CC4jBaseControlHandler.h"

#include "software/bp/c4j/NJsonMember.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NAccess.h"
#include "software/include/ILog.h"

namespace
{
Json::Value MakeValue(const CProjCon& control)
{
    switch (control.GetFamily().mValueForm)
    {
    case EValueForm::Boolean: return control.GetValue() != 0;
    case EValueForm::Number: return control.GetValue();
    case EValueForm::Text: return control.GetText();
    case EValueForm::Nothing: break;
    }
    return Json::Value();
}

void AddIfPresent(Json::Value& obj, const Json::StaticString& name, const std::string& text)
{
    if (!text.empty())
        obj[name] = text;
}
} // namespace

bool CC4jBaseControlHandler::AddValueToResult(const CProjCon& control, Json::Value& obj)
{
    if (obj.isNull())
    {
        obj = MakeValue(control);
        return true;
    }
    if (!obj.isObject())
        return false;
    obj[NJsonMember::kValue] = MakeValue(control);
    if (control.GetFamily().mValueForm == EValueForm::Text && control.GetColor() != 0)
        obj[NJsonMember::kColor] = control.GetColor();
    return true;
}

void CC4jBaseControlHandler::AddEnabledToResult(const CProjCon& control, Json::Value& obj)
{
    obj[NJsonMember::kEnabled] = control.GetEnabled();
}

void CC4jBaseControlHandler::AddMinMaxToResult(const CProjCon& control, Json::Value& obj)
{
    if (!control.GetFamily().mHasRange)
        return;
    obj[NJsonMember::kMin] = control.GetMinValue();
    obj[NJsonMember::kMax] = control.GetMaxValue();
    if (HasSoftRange(control.GetDisplayType()))
    {
        obj[NJsonMember::kSoftMin] = control.GetSoftMinValue();
        obj[NJsonMember::kSoftMax] = control.GetSoftMaxValue();
    }
    if (HasSoftValue(control.GetDisplayType()))
        obj[NJsonMember::kSoftValue] = control.GetSoftValue();
}

void CC4jBaseControlHandler::AddListToResult(const CProjCon& control, Json::Value& obj, bool withText) const
{
    if (control.GetFamily().mFamily != EControlFamily::List)
        return;
    Json::Value& list = obj[NJsonMember::kList] = Json::Value(Json::arrayValue);
    for (const SListEntry& entry : control.GetList())
    {
        if (!entry.mVisible)
            continue;
        Json::Value& shown = list.append(Json::Value(Json::objectValue));
        shown[NJsonMember::kIdx] = entry.mValue;
        if (withText)
            shown[NJsonMember::kText] = control.GetEntryText(entry);
        shown[NJsonMember::kIcon] = entry.mIcon;
        shown[NJsonMember::kHint] = mDispatcher.GetText(entry.mHintId);
        shown[NJsonMember::kEnabled] = entry.mEnabled;
    }
}

void CC4jBaseControlHandler::AddPropToResult(const CProjCon& control, Json::Value& obj, bool withText) const
{
    // Of list and range a control has at most one.
    AddEnabledToResult(control, obj);
    AddListToResult(control, obj, withText);
    AddMinMaxToResult(control, obj);
}

void CC4jBaseControlHandler::AddAttrToResult(const CProjCon& control, Json::Value& obj)
{
    obj[NJsonMember::kType] = static_cast<int>(control.GetDisplayType());
    obj[NJsonMember::kAccess] = static_cast<int>(control.GetAccessGroup());
    obj[NJsonMember::kLabel] = control.GetNameText();
    AddIfPresent(obj, NJsonMember::kConfirm, control.GetConfirmText());
    AddIfPresent(obj, NJsonMember::kContinue, control.GetContinueText());
    AddIfPresent(obj, NJsonMember::kWait, control.GetWaitText());
    obj[NJsonMember::kDefault] = GetDefault(control);
    if (control.GetFamily().mFamily == EControlFamily::Integer)
        obj[NJsonMember::kDecimals] = control.GetDecimals();
    obj[NJsonMember::kIcon] = control.GetIconPath();
}

Json::Value CC4jBaseControlHandler::GetDefault(const CProjCon& control)
{
    return control.GetFamily().mFamily == EControlFamily::Text ? Json::Value(control.GetDefaultText())
                                                               : Json::Value(control.GetDefaultValue());
}

bool CC4jBaseControlHandler::IsAllowed(const CProjCon& control, const Json::Value& request) const
{
    const EAccessLevel level = mServer.GetClientAccessLevel(static_cast<unsigned>(GetClientFd(request)));
    return NAccess::IsAllowed(control.GetAccessGroup(), level);
}

CProjCon* CC4jBaseControlHandler::FindControl(const std::string& code, const Json::Value& request,
                                              Json::Value& response) const
{
    CProjCon* const control = mDispatcher.GetControl(code);
    if (control == nullptr)
    {
        mLog.Log("%s NOT FOUND!", code.c_str());
        MakeErrorResponse(request, response, eErrorControlNotFound);
    }
    return control;
}

CProjCon* CC4jBaseControlHandler::FindAllowedControl(const std::string& code, const Json::Value& request,
                                                     Json::Value& response) const
{
    CProjCon* const control = FindControl(code, request, response);
    if (control == nullptr || IsAllowed(*control, request))
        return control;
    mLog.Log("Client%s not logged in for executing the protected code: %s ",
             GetClientIdString(request).c_str(), code.c_str());
    MakeErrorResponse(request, response, eErrorAccessGroup);
    return nullptr;
}
