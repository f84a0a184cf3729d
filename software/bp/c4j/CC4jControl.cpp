// Every method finds its control by the base's one rule; what is left here is what each does with it.
#include "software/bp/c4j/CC4jControl.h"

#include "software/bp/c4j/NJsonMember.h"
#include "software/bp/serial/CCustomEventHandler.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/include/ILog.h"
#include "software/jsonrpc/NJsonText.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace
{
constexpr char kModule[] = "control";
constexpr unsigned kModuleVersion = 1;
constexpr char kReadOnly[] = "This control is read-only";
constexpr char kClient[] = "client"; // member that names another client
constexpr char kPrefix[] = "prefix"; // member that narrows a list

constexpr char kPowerCode[] = "PWR";
constexpr char kOffText[] = "0";
constexpr int kTriggerAction = 1;

// A notification of a value, in the order in which the writer sorts its members.
constexpr char kValueHead[] = R"({"jsonrpc":"2.0","method":"control:notify","params":{"code":)";
constexpr char kValueMiddle[] = R"(,"value":)";
constexpr char kValueTail[] = "}}";
constexpr std::size_t kUsualLength = 128; // bytes; a longer one grows
constexpr char kNotifyMethod[] = "control:notify";

/// The codes that listener methods are about, at least one; what is no code is empty.
std::vector<std::string> GetCodes(const Json::Value& params)
{
    const Json::Value& array = CC4jBaseHandler::GetArrayFromObj(params, NJsonMember::kCode);
    if (array.empty()) // not an array, or nothing in it
        return {CC4jBaseHandler::GetCodeFromParams(params)};
    std::vector<std::string> codes;
    codes.reserve(array.size());
    for (const Json::Value& element : array)
    {
        std::string code;
        CC4jBaseHandler::ParseCode(element, code);
        codes.push_back(std::move(code));
    }
    return codes;
}

std::string Join(const std::vector<std::string>& codes)
{
    std::string joined;
    for (const std::string& code : codes)
        joined += (joined.empty() ? "" : " ") + code;
    return joined;
}

bool IsOff(const Json::Value& value)
{
    return (value.isString() || value.isIntegral()) && value.asString() == kOffText;
}

/// What no custom handler is asked: 104 for a number beyond 32 bits and for text that is not storable.
EError CheckValue(const Json::Value& value)
{
    std::string text;
    int number = 0;
    if (value.isString())
        return CC4jBaseHandler::ParseText(value, text);
    const EError refusal = CC4jBaseHandler::ParseNumber(value, number);
    return refusal == eErrorInvalidValue ? refusal : eErrorNone;
}

bool StartsWith(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}
} // namespace

/// A value as it was asked for, read for the family of its control.
struct CC4jControl::SChange
{
    /// @returns 0, 3 for a wrong JSON type, 104 for what no control can hold
    EError Read(const CProjCon& control, const Json::Value& value)
    {
        switch (control.GetFamily().mFamily)
        {
        case EControlFamily::Text: return ParseText(value, mText);
        case EControlFamily::Action: mNumber = kTriggerAction; return eErrorNone;
        case EControlFamily::Boolean:
        case EControlFamily::Integer:
        case EControlFamily::List:
        case EControlFamily::Menu:
        case EControlFamily::Custom:
        case EControlFamily::None: break;
        }
        return ParseNumber(value, mNumber);
    }

    std::uint32_t Apply(CProjCon& control) const
    {
        return control.GetFamily().mFamily == EControlFamily::Text ? control.SetText(mText)
                                                                   : control.SetValue(mNumber);
    }

    int mNumber = 0;
    std::string mText;
};

CC4jControl::CC4jControl(CJsonRpcServer& server)
    : CC4jBaseControlHandler(server, kModule, kModuleVersion)
{
    static constexpr SMethod<CC4jControl> kMethods[] = {
        {"control:version", &CC4jControl::Version},
        {"control:get", &CC4jControl::Get},
        {"get", &CC4jControl::Get},
        {"control:set", &CC4jControl::Set},
        {"set", &CC4jControl::Set},
        {"control:getProperties", &CC4jControl::GetProperties},
        {"getProperties", &CC4jControl::GetProperties},
        {"control:getAttributes", &CC4jControl::GetAttributes},
        {"getAttributes", &CC4jControl::GetAttributes},
        {"control:addListener", &CC4jControl::AddListener},
        {"addListener", &CC4jControl::AddListener},
        {"control:removeListener", &CC4jControl::RemoveListener},
        {"removeListener", &CC4jControl::RemoveListener},
        {"removeAllListeners", &CC4jControl::RemoveAllListeners},
        {"getListenerList", &CC4jControl::GetListenerList},
        {"control:list", &CC4jControl::List},
    };
    AddMethods(*this, kMethods);
    mDispatcher.SetControlNotifier(this);
}

CC4jControl::~CC4jControl()
{
    mDispatcher.SetControlNotifier(nullptr);
}

// --- Values

bool CC4jControl::Get(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    const std::string code = GetCodeFromParams(GetParams(request));
    LogReceived("get", request, code);
    if (AskCustomHandler(EExchange::Request, code, request, response))
        return true;
    const CProjCon* const control = FindAllowedControl(code, request, response);
    if (control == nullptr)
        return true;
    SetValueResult(*control, request, response);
    LogCompleted("get", request, code);
    return true;
}

bool CC4jControl::Set(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    const Json::Value& params = GetParams(request);
    const std::string code = GetCodeFromParams(params);
    if (AskCustomHandler(EExchange::Command, code, request, response))
        return true;
    CProjCon* const control = FindAllowedControl(code, request, response);
    if (control == nullptr)
        return true;

    const Json::Value& value = GetValueFromParams(params);
    if (code == kPowerCode && IsOff(value))
        mLog.Log("Projector powered off using Web UI.");
    SChange change;
    if (const EError refusal = change.Read(*control, value); refusal != eErrorNone)
    {
        MakeErrorResponse(request, response, refusal);
        return true;
    }
    LogChange(request, *control, change);
    if (const std::uint32_t refusal = change.Apply(*control); refusal != eErrorNone)
    {
        MakeErrorResponse(request, response, static_cast<EError>(refusal),
                          control->IsReadOnly() ? kReadOnly : "");
        return true;
    }
    SetValueResult(*control, request, response);
    LogCompleted("set", request, code);
    return true;
}

bool CC4jControl::AskCustomHandler(EExchange exchange, const std::string& code, const Json::Value& request,
                                   Json::Value& response)
{
    CCustomEventHandler* const handler = mDispatcher.GetCustomHandler(code);
    if (handler == nullptr)
        return false;
    const std::optional<CIpcMessage> message = MakeMessage(code, request, response);
    if (!message)
        return true;
    std::list<CIpcMessage> replies;
    if (!Exchange(*handler, exchange, *message, replies))
        return false;

    EError error = eErrorNone;
    std::string text;
    for (const CIpcMessage& reply : replies)
    {
        if (GetIpcError(reply, error, text))
        {
            MakeErrorResponse(request, response, error, text);
            return true;
        }
    }
    Json::Value result(Json::objectValue);
    if (GetParams(request).isObject())
        result[NJsonMember::kCode] = code;
    result[NJsonMember::kValue] = ConvertFromIpcReply(replies);
    SetResult(response, std::move(result));
    LogCompleted(exchange == EExchange::Request ? "get" : "set", request, code);
    return true;
}

std::optional<CIpcMessage> CC4jControl::MakeMessage(const std::string& code, const Json::Value& request,
                                                    Json::Value& response) const
{
    if (const EError refusal = CheckValue(GetValueFromParams(GetParams(request))); refusal != eErrorNone)
    {
        MakeErrorResponse(request, response, refusal);
        return std::nullopt;
    }
    try
    {
        return ConvertParamsToIpc(GetParams(request));
    }
    catch (const CException& exception)
    {
        mLog.Log("%s: %s for %s", GetClientIdString(request).c_str(), exception.GetMessage().c_str(),
                 code.c_str());
        MakeErrorResponse(request, response, eErrorInvalidParameter);
        return std::nullopt;
    }
}

bool CC4jControl::Exchange(CCustomEventHandler& handler, EExchange exchange, CIpcMessage message,
                           std::list<CIpcMessage>& replies)
{
    if (exchange == EExchange::Request)
    {
        message.SetFlag(eFlagRequest);
        return handler.HandleRequest(message, replies);
    }
    message.SetFlag(eFlagReplyWanted);
    CIpcMessage& reply = replies.emplace_back(message);
    reply.MakeReply(CIpcMessage::kNoAddress);
    return handler.HandleCommand(message, reply);
}

void CC4jControl::LogChange(const Json::Value& request, const CProjCon& control, const SChange& change) const
{
    if (!mLog.IsEnabled(ELogLevel::Debug))
        return;
    const std::string client = GetClientIdString(request);
    const char* const code = control.GetCode().c_str();
    switch (control.GetFamily().mFamily)
    {
    case EControlFamily::Text:
        mLog.LogDebug("Recv'd 'set' from %s: %s (%s)", client.c_str(), code, change.mText.c_str());
        return;
    case EControlFamily::Action: mLog.LogDebug("Recv'd 'set' from %s: %s", client.c_str(), code); return;
    case EControlFamily::Boolean:
    case EControlFamily::Integer:
    case EControlFamily::List:
    case EControlFamily::Menu:
    case EControlFamily::Custom:
    case EControlFamily::None: break;
    }
    mLog.LogDebug("Recv'd 'set' from %s: %s (%d)", client.c_str(), code, change.mNumber);
}

void CC4jControl::SetValueResult(const CProjCon& control, const Json::Value& request,
                                 Json::Value& response) const
{
    if (response.isNull())
        return;
    Json::Value& result = response[NJsonMember::kResult] = Json::Value(Json::objectValue);
    if (GetParams(request).isObject())
        result[NJsonMember::kCode] = control.GetCode();
    AddValueToResult(control, result);
}

// --- Descriptions

bool CC4jControl::GetProperties(const Json::Value& request, Json::Value& response)
{
    const auto describe = [this](const CProjCon& control, Json::Value& result)
    {
        AddPropToResult(control, result, true);
        AddValueToResult(control, result);
    };
    AnswerAbout("getProperties", &CC4jControl::FindAllowedControl, describe, request, response);
    return true;
}

bool CC4jControl::GetAttributes(const Json::Value& request, Json::Value& response)
{
    AnswerAbout("getAttributes", &CC4jControl::FindControl, AddAttrToResult, request, response);
    return true;
}

void CC4jControl::AnswerAbout(const char* method, Finder find, const Describer& describe,
                              const Json::Value& request, Json::Value& response) const
{
    InitResponseObj(request, response);
    if (response.isNull())
        return;
    const std::string code = GetCodeFromParams(GetParams(request));
    LogReceived(method, request, code);
    const CProjCon* const control = (this->*find)(code, request, response);
    if (control == nullptr)
        return;
    Json::Value result(Json::objectValue);
    describe(*control, result);
    SetResult(response, std::move(result));
    LogCompleted(method, request, code);
}

bool CC4jControl::List(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    const Json::Value& params = GetParams(request);
    std::string prefix;
    if (ValueExistInObj(params, kPrefix) ? !ParseCode(params[kPrefix], prefix)
                                         : !params.isObject() && !params.empty())
    {
        MakeErrorResponse(request, response, eErrorInvalidParameter);
        return true;
    }
    LogReceived("list", request, prefix);
    Json::Value result(Json::arrayValue);
    const CEventDispatcher::ControlMap& controls = mDispatcher.GetControls();
    for (auto entry = controls.lower_bound(prefix);
         entry != controls.end() && StartsWith(entry->first, prefix); ++entry)
        if (entry->second != nullptr) // else a code without a control
            result.append(Describe(*entry->second, request));
    SetResult(response, std::move(result));
    LogCompleted("list", request, prefix);
    return true;
}

Json::Value CC4jControl::Describe(const CProjCon& control, const Json::Value& request) const
{
    const SControlFamily& family = control.GetFamily();
    Json::Value description(Json::objectValue);
    description[NJsonMember::kCode] = control.GetCode();
    description[NJsonMember::kType] = static_cast<int>(control.GetDisplayType());
    description[NJsonMember::kLabel] = control.GetNameText();
    description[NJsonMember::kHelp] = control.GetHelpText();
    description[NJsonMember::kUnit] = control.GetUnit();
    description[NJsonMember::kDecimals] = control.GetDecimals();
    description[NJsonMember::kMin] = family.mHasRange ? Json::Value(control.GetMinValue()) : Json::Value();
    description[NJsonMember::kMax] = family.mHasRange ? Json::Value(control.GetMaxValue()) : Json::Value();
    description[NJsonMember::kDefault] =
        family.mValueForm == EValueForm::Nothing ? Json::Value() : GetDefault(control);
    description[NJsonMember::kAccess] = static_cast<int>(control.GetAccessGroup());
    description[NJsonMember::kEnabled] = control.GetEnabled();
    description[NJsonMember::kReadOnly] = control.IsReadOnly();
    description[NJsonMember::kPersistent] = control.IsPersistent();
    description[NJsonMember::kList] = Json::Value();
    AddListToResult(control, description, true);
    Json::Value& value = description[NJsonMember::kValue] = Json::Value();
    if (IsAllowed(control, request))
        AddValueToResult(control, value); // the bare value: into a null
    return description;
}

// --- Subscriptions

bool CC4jControl::AddListener(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    const Json::Value& params = GetParams(request);
    const std::vector<std::string> codes = GetCodes(params);
    const bool sendNow = GetSendNow(params, false);
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Recv'd 'addListener' from %s: %s %s", GetClientIdString(request).c_str(),
                      Join(codes).c_str(), sendNow ? "(sendnow)" : "");
    std::string descriptor;
    if (!FindSubscriber(request, response, descriptor))
        return true;
    std::vector<const CProjCon*> controls;
    controls.reserve(codes.size());
    for (const std::string& code : codes)
    {
        controls.push_back(FindAllowedControl(code, request, response));
        if (controls.back() == nullptr)
            return true; // before anything was registered
    }

    for (const std::string& code : codes)
    {
        if (!mDispatcher.GetNotificationManager().NotifyRegister(code, descriptor))
        {
            MakeUnknownClientResponse(request, response);
            return true;
        }
    }
    // Counted now: a client that can not be sent to loses its subscriptions.
    Json::Value result(Json::objectValue);
    result[NJsonMember::kCount] = mDispatcher.GetNotificationManager().GetCount(codes.back(), descriptor);
    if (sendNow)
    {
        // Each state once, however often the request names the code: its length must not multiply the work.
        std::set<const CProjCon*> told;
        for (const CProjCon* control : controls)
            if (told.insert(control).second)
                MakeNotification(*control, eNotifyAll, {descriptor});
    }
    SetResult(response, std::move(result));
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Completed 'addListener' from %s", GetClientIdString(request).c_str());
    return true;
}

bool CC4jControl::RemoveListener(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    const std::vector<std::string> codes = GetCodes(GetParams(request));
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Recv'd 'removeListener' from %s: %s", GetClientIdString(request).c_str(),
                      Join(codes).c_str());
    std::string descriptor;
    if (!FindSubscriber(request, response, descriptor))
        return true;
    if (std::any_of(codes.begin(), codes.end(), [](const std::string& code) { return code.empty(); }))
    {
        MakeErrorResponse(request, response, eErrorTooFewParameters);
        return true;
    }
    for (const std::string& code : codes)
        mDispatcher.GetNotificationManager().NotifyUnregister(code, descriptor, false);
    SetEmptyResult(response);
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Completed 'removeListener' from %s", GetClientIdString(request).c_str());
    return true;
}

bool CC4jControl::RemoveAllListeners(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    const std::string descriptor = GetClientDescriptor(request);
    mLog.LogDebug("Recv'd 'removeAllListeners' from %s", descriptor.c_str());
    mDispatcher.GetNotificationManager().NotifyUnregisterAll(descriptor);
    SetEmptyResult(response);
    mLog.LogDebug("Completed 'removeAllListeners' from %s", descriptor.c_str());
    return true;
}

bool CC4jControl::GetListenerList(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    mLog.LogDebug("Recv'd 'getNotifyList' from %s", GetClientIdString(request).c_str());
    const Json::Value& params = GetParams(request);
    std::string client = GetClientDescriptor(request);
    if (ValueExistInObj(params, kClient))
    {
        if (!params[kClient].isString())
        {
            MakeErrorResponse(request, response, eErrorInvalidParameter);
            return true;
        }
        client = params[kClient].asString();
    }
    const auto subscriptions = mDispatcher.GetNotificationManager().GetSubscriptions(client);
    if (subscriptions.empty() &&
        !mServer.IsClientConnected(CJsonRpcServer::GetJsonClientDescriptorFromString(client)))
    {
        MakeUnknownClientResponse(request, response);
        return true;
    }
    Json::Value result(Json::arrayValue);
    for (const auto& [code, count] : subscriptions)
    {
        Json::Value& listed = result.append(Json::Value(Json::objectValue));
        listed[NJsonMember::kCode] = code;
        listed[NJsonMember::kCount] = count;
    }
    SetResult(response, std::move(result));
    return true;
}

// --- Notifications

void CC4jControl::MakeNotification(const CProjCon& control, ENotifyType type,
                                   std::list<std::string> recipients)
{
    SendNotification(PrintNotification(control, type), std::move(recipients));
}

std::string CC4jControl::PrintNotification(const CProjCon& control, ENotifyType type) const
{
    std::string text;
    if (type == eNotifyValue && control.GetColor() == 0)
    {
        // What nearly every notification is, printed without a tree of values: the same bytes as below.
        Json::Value value;
        AddValueToResult(control, value);
        text.reserve(kUsualLength);
        text += kValueHead;
        NJsonText::AppendQuoted(control.GetCode(), text);
        text += kValueMiddle;
        NJsonText::Append(value, text);
        text += kValueTail;
        return text;
    }
    Json::Value message(Json::objectValue);
    message[NJsonMember::kJsonRpc] = NJsonMember::kJsonRpcVersion;
    message[NJsonMember::kMethod] = kNotifyMethod;
    Json::Value& params = message[NJsonMember::kParams] = Json::Value(Json::objectValue);
    params[NJsonMember::kCode] = control.GetCode();
    if ((type & eNotifyValue) != 0)
        AddValueToResult(control, params);
    if ((type & eNotifyEnabled) != 0)
        AddEnabledToResult(control, params);
    if ((type & eNotifyRange) != 0)
        AddMinMaxToResult(control, params);
    if ((type & eNotifyList) != 0)
        AddListToResult(control, params, true);
    NJsonText::Append(message, text);
    return text;
}

// --- Log lines of the steps, put together only when somebody keeps them

void CC4jControl::LogReceived(const char* method, const Json::Value& request, const std::string& detail) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Recv'd '%s' from %s: %s", method, GetClientIdString(request).c_str(), detail.c_str());
}

void CC4jControl::LogCompleted(const char* method, const Json::Value& request,
                               const std::string& detail) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Completed '%s' from %s: %s", method, GetClientIdString(request).c_str(),
                      detail.c_str());
}
