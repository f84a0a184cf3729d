// Total readers of requests and the one form of every reply.
#include "software/bp/c4j/CC4jBaseHandler.h"

#include "software/bp/c4j/NJsonMember.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CNotificationManager.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/bp/serial/NErrorText.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string_view>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CC4jBaseHandler";
constexpr char kUnknownClient[] = "Can't find client identifier";
constexpr std::uint32_t kNoId = 0xFFFFFFFF;
constexpr int kNoClient = -1;

// Places of what an array of params holds.
constexpr Json::ArrayIndex kCodeIndex = 0;
constexpr Json::ArrayIndex kValueIndex = 1;
constexpr Json::ArrayIndex kSendNowIndex = 1;

// Arguments of the messages that custom handlers exchange.
constexpr unsigned short kValueKey = 0;

// Locale-free: codes are ASCII, whatever the process is set to.
char ToUpper(char letter) noexcept
{
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

const Json::Value& Null()
{
    return Json::Value::nullSingleton();
}

const Json::Value& ElementOf(const Json::Value& params, Json::ArrayIndex index)
{
    return CC4jBaseHandler::ValueExistInArray(params, index) ? params[index] : Null();
}

const Json::Value& MemberOf(const Json::Value& obj, const char* key)
{
    return obj.isObject() ? obj[key] : Null();
}

// The readers of arrays and of objects differ only in how they find the value.
bool BoolOr(const Json::Value& value, bool defaultValue)
{
    return value.isBool() ? value.asBool() : defaultValue;
}
int IntOr(const Json::Value& value, int defaultValue)
{
    return value.isInt() ? value.asInt() : defaultValue;
}
unsigned UIntOr(const Json::Value& value, unsigned defaultValue)
{
    return value.isUInt() ? value.asUInt() : defaultValue;
}
std::string StringOr(const Json::Value& value, const std::string& defaultValue)
{
    return value.isString() ? value.asString() : defaultValue;
}

std::string TextOf(EError error, const std::string& message)
{
    return message.empty() ? NErrorText::GetErrorString(error) : message;
}

const char* TypeName(Json::ValueType type) noexcept
{
    switch (type)
    {
    case Json::nullValue: return "null";
    case Json::intValue: return "integer";
    case Json::uintValue: return "unsigned integer";
    case Json::realValue: return "real";
    case Json::stringValue: return "string";
    case Json::booleanValue: return "boolean";
    case Json::arrayValue: return "array";
    case Json::objectValue: return "object";
    }
    return "unknown";
}

[[noreturn]] void RefuseType(const Json::Value& value, int line)
{
    throw CException("ConvertParamsToIpc", kSource, line, false, "Unsupported JSON type: %d (%s)",
                     static_cast<int>(value.type()), TypeName(value.type()));
}

unsigned char ModifierOf(const Json::Value& params)
{
    const Json::Value& modifier = MemberOf(params, NJsonMember::kModifier);
    if (modifier.isNull())
        return 0;
    const std::string letter = StringOr(modifier, {});
    if (letter.size() != 1)
        RefuseType(modifier, __LINE__);
    return static_cast<unsigned char>(letter.front());
}

void AddValue(CIpcMessage& message, const Json::Value& value, unsigned char modifier)
{
    if (value.isNull())
    {
        if (modifier != 0) // nothing but the bearer of the modifier
            message.AddArg(kValueKey, 0, eParmNumber, modifier);
        return;
    }
    if (value.isString())
    {
        message.AddArg(kValueKey, value.asString(), modifier);
        return;
    }
    int number = 0;
    if (CC4jBaseHandler::ParseNumber(value, number) != eErrorNone)
        RefuseType(value, __LINE__);
    message.AddArg(kValueKey, number, eParmText, modifier); // flags of its own: as wide as the number
}
} // namespace

CC4jBaseHandler::CC4jBaseHandler(CJsonRpcServer& server, const std::string& moduleName, unsigned version)
    : mServer(server)
    , mDispatcher(server.GetDispatcher())
    , mLog(server.GetLog())
    , mVersion(version)
{
    server.RegisterModule(moduleName, version);
}

CC4jBaseHandler::~CC4jBaseHandler() = default;

// --- Methods

bool CC4jBaseHandler::Version(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    Json::Value result(Json::objectValue);
    result[NJsonMember::kVersion] = mVersion;
    SetResult(response, std::move(result));
    return true;
}

bool CC4jBaseHandler::AddListener(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    std::string descriptor;
    std::list<std::string> names;
    if (!FindSubscriber(request, response, descriptor) || !FindNames(request, response, names))
        return true;
    for (const std::string& name : names)
        mDispatcher.GetNotificationManager().NotifyRegister(name, descriptor);
    if (GetSendNow(GetParams(request), true))
    {
        // Each state once, however often the request has the name: its length must not multiply the work.
        std::set<std::string_view> told;
        for (const std::string& name : names)
            if (told.insert(name).second)
                SendState(name, descriptor);
    }
    SetEmptyResult(response);
    return true;
}

bool CC4jBaseHandler::RemoveListener(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    std::string descriptor;
    std::list<std::string> names;
    if (!FindSubscriber(request, response, descriptor) || !FindNames(request, response, names))
        return true;
    for (const std::string& name : names)
        mDispatcher.GetNotificationManager().NotifyUnregister(name, descriptor, false);
    SetEmptyResult(response);
    return true;
}

bool CC4jBaseHandler::FindNames(const Json::Value& request, Json::Value& response,
                                std::list<std::string>& names) const
{
    names = GetNotifyMethods(GetParams(request));
    const bool complete =
        !names.empty() &&
        std::none_of(names.begin(), names.end(), [](const std::string& name) { return name.empty(); });
    if (!complete)
        MakeErrorResponse(request, response, eErrorTooFewParameters);
    return complete;
}

// --- Replies

bool CC4jBaseHandler::IsResponseRequired(const Json::Value& request)
{
    return ValueExistInObj(request, NJsonMember::kId);
}

std::uint32_t CC4jBaseHandler::GetId(const Json::Value& request)
{
    const Json::Value& id = MemberOf(request, NJsonMember::kId);
    return id.isInt() ? static_cast<std::uint32_t>(id.asInt()) : UIntOr(id, kNoId);
}

void CC4jBaseHandler::InitResponseObj(const Json::Value& request, Json::Value& response)
{
    if (!IsResponseRequired(request))
    {
        response = Json::Value();
        return;
    }
    response = Json::Value(Json::objectValue);
    response[NJsonMember::kId] = request[NJsonMember::kId];
    response[NJsonMember::kJsonRpc] = NJsonMember::kJsonRpcVersion;
}

void CC4jBaseHandler::SetResult(Json::Value& response, Json::Value&& result)
{
    if (response.isObject())
        response[NJsonMember::kResult] = std::move(result);
}

void CC4jBaseHandler::SetEmptyResult(Json::Value& response)
{
    SetResult(response, Json::Value(Json::objectValue));
}

void CC4jBaseHandler::MakeErrorResponse(const Json::Value& request, Json::Value& response, EError error,
                                        const std::string& message)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return;
    Json::Value& description = response[NJsonMember::kError];
    description[NJsonMember::kCode] = static_cast<Json::UInt>(error);
    description[NJsonMember::kMessage] = TextOf(error, message);
}

void CC4jBaseHandler::NewFormatErrorResponse(const Json::Value& request, Json::Value& response, EError error,
                                             const std::string& message)
{
    if (!IsResponseRequired(request) || !(response.isObject() || response.isNull()))
        return;
    response.removeMember(NJsonMember::kResult);
    response.removeMember(NJsonMember::kError);
    const Json::Value& params = GetParams(request);
    if (!params.isArray())
        return;
    for (const Json::Value& element : params)
    {
        Json::Value description(Json::objectValue);
        const Json::Value& port = MemberOf(element, NJsonMember::kPort);
        if (port.isUInt())
            description[NJsonMember::kPort] = port.asUInt();
        description[NJsonMember::kCode] = static_cast<Json::UInt>(error);
        description[NJsonMember::kMessage] = TextOf(error, message);
        response[NJsonMember::kError].append(std::move(description));
    }
}

void CC4jBaseHandler::AppendErrorObjectOct(Json::Value& response, const std::string& message, bool isPort,
                                           unsigned index)
{
    Json::Value description(Json::objectValue);
    description[isPort ? NJsonMember::kPort : NJsonMember::kPosition] = index;
    description[NJsonMember::kMessage] = message;
    Json::Value& errors = response[NJsonMember::kError];
    if (!errors.isArray())
        errors = Json::Value(Json::arrayValue);
    errors.append(std::move(description));
}

// --- Parameters

const Json::Value& CC4jBaseHandler::GetParams(const Json::Value& request)
{
    return MemberOf(request, NJsonMember::kParams);
}

std::string CC4jBaseHandler::GetCodeFromParams(const Json::Value& params)
{
    std::string code;
    ParseCode(params.isArray() ? ElementOf(params, kCodeIndex) : MemberOf(params, NJsonMember::kCode), code);
    return code;
}

const Json::Value& CC4jBaseHandler::GetValueFromParams(const Json::Value& params)
{
    return params.isArray() ? ElementOf(params, kValueIndex) : MemberOf(params, NJsonMember::kValue);
}

bool CC4jBaseHandler::ParseCode(const Json::Value& value, std::string& code)
{
    if (!value.isString())
        return false;
    code = value.asString();
    std::transform(code.begin(), code.end(), code.begin(), ToUpper);
    return true;
}

EError CC4jBaseHandler::ParseNumber(const Json::Value& value, int& number)
{
    if (value.isBool())
    {
        number = value.asBool() ? 1 : 0;
        return eErrorNone;
    }
    if (value.isInt())
    {
        number = value.asInt();
        return eErrorNone;
    }
    if (!value.isNumeric())
        return eErrorInvalidParameter;
    const double whole = std::trunc(value.asDouble());
    // Written so that what is no number at all is refused too.
    if (!(whole >= std::numeric_limits<int>::min() && whole <= std::numeric_limits<int>::max()))
        return eErrorInvalidValue;
    number = static_cast<int>(whole);
    return eErrorNone;
}

EError CC4jBaseHandler::ParseText(const Json::Value& value, std::string& text)
{
    if (!value.isString())
        return eErrorInvalidParameter;
    text = value.asString();
    return NUtf8::IsStorable(text) ? eErrorNone : eErrorInvalidValue;
}

bool CC4jBaseHandler::GetBoolFromArray(const Json::Value& params, Json::ArrayIndex index)
{
    return GetBoolFromArray2(params, index, false);
}

int CC4jBaseHandler::GetIntFromArray(const Json::Value& params, Json::ArrayIndex index)
{
    return GetIntFromArray2(params, index, 0);
}

unsigned CC4jBaseHandler::GetUIntFromArray(const Json::Value& params, Json::ArrayIndex index)
{
    return GetUIntFromArray2(params, index, 0);
}

std::string CC4jBaseHandler::GetStringFromArray(const Json::Value& params, Json::ArrayIndex index)
{
    return StringOr(ElementOf(params, index), {});
}

bool CC4jBaseHandler::GetBoolFromArray2(const Json::Value& params, Json::ArrayIndex index, bool defaultValue)
{
    return BoolOr(ElementOf(params, index), defaultValue);
}

int CC4jBaseHandler::GetIntFromArray2(const Json::Value& params, Json::ArrayIndex index, int defaultValue)
{
    return IntOr(ElementOf(params, index), defaultValue);
}

unsigned CC4jBaseHandler::GetUIntFromArray2(const Json::Value& params, Json::ArrayIndex index,
                                            unsigned defaultValue)
{
    return UIntOr(ElementOf(params, index), defaultValue);
}

int CC4jBaseHandler::GetIntFromObj(const Json::Value& obj, const char* key, int defaultValue)
{
    return IntOr(MemberOf(obj, key), defaultValue);
}

unsigned CC4jBaseHandler::GetUIntFromObj(const Json::Value& obj, const char* key, unsigned defaultValue)
{
    return UIntOr(MemberOf(obj, key), defaultValue);
}

bool CC4jBaseHandler::GetBoolFromObj(const Json::Value& obj, const char* key, bool defaultValue)
{
    return BoolOr(MemberOf(obj, key), defaultValue);
}

std::string CC4jBaseHandler::GetStringFromObj(const Json::Value& obj, const char* key,
                                              const std::string& defaultValue)
{
    return StringOr(MemberOf(obj, key), defaultValue);
}

const Json::Value& CC4jBaseHandler::GetArrayFromObj(const Json::Value& obj, const char* key)
{
    const Json::Value& member = MemberOf(obj, key);
    return member.isArray() ? member : Null();
}

const Json::Value& CC4jBaseHandler::GetObjFromObj(const Json::Value& obj, const char* key)
{
    const Json::Value& member = MemberOf(obj, key);
    return member.isObject() ? member : Null();
}

std::list<std::string> CC4jBaseHandler::GetStringsFromObj(const Json::Value& obj, const char* key)
{
    std::list<std::string> strings;
    const Json::Value& member = MemberOf(obj, key);
    if (member.isString())
        strings.push_back(member.asString());
    else if (member.isArray())
        for (const Json::Value& element : member)
            if (element.isString())
                strings.push_back(element.asString());
    return strings;
}

bool CC4jBaseHandler::ValueExistInArray(const Json::Value& params, Json::ArrayIndex index)
{
    return params.isArray() && params.isValidIndex(index);
}

bool CC4jBaseHandler::ValueExistInObj(const Json::Value& obj, const char* key)
{
    return obj.isObject() && obj.isMember(key);
}

bool CC4jBaseHandler::GetSendNow(const Json::Value& params, bool arrayDefault)
{
    return params.isArray() ? GetBoolFromArray2(params, kSendNowIndex, arrayDefault)
                            : GetBoolFromObj(params, NJsonMember::kSendNow, true);
}

// --- The caller

int CC4jBaseHandler::GetClientFd(const Json::Value& request)
{
    return GetIntFromObj(request, NJsonMember::kFd, kNoClient);
}

std::string CC4jBaseHandler::GetClientDescriptor(const Json::Value& request)
{
    return CNotificationManager::MakeAddrFromSocket(GetClientFd(request));
}

std::string CC4jBaseHandler::GetClientIdString(const Json::Value& request)
{
    return GetClientDescriptor(request);
}

bool CC4jBaseHandler::FindSubscriber(const Json::Value& request, Json::Value& response,
                                     std::string& descriptor)
{
    if (GetClientFd(request) == kNoClient)
    {
        MakeUnknownClientResponse(request, response);
        return false;
    }
    descriptor = GetClientDescriptor(request);
    return true;
}

void CC4jBaseHandler::MakeUnknownClientResponse(const Json::Value& request, Json::Value& response)
{
    MakeErrorResponse(request, response, eErrorTooFewParameters, kUnknownClient);
}

// --- Custom handlers

CIpcMessage CC4jBaseHandler::ConvertParamsToIpc(const Json::Value& params)
{
    if (!params.isArray() && !params.isObject())
        throw CException(__func__, kSource, __LINE__, false, "Unsupported JSON container: %d",
                         static_cast<int>(params.type()));
    std::string code;
    std::string subCode;
    NAsciiCodeUtils::SplitCode(GetCodeFromParams(params), code, subCode);
    CIpcMessage message;
    message.SetCode(code);
    message.SetSubCode(subCode == NAsciiCodeUtils::kNoSubCode ? std::string() : subCode);
    AddValue(message, GetValueFromParams(params), ModifierOf(params));
    return message;
}

bool CC4jBaseHandler::GetIpcError(const CIpcMessage& reply, EError& error, std::string& text)
{
    int code = 0;
    if (!reply.GetArg(eIpcArgError, code))
        return false;
    error = static_cast<EError>(code);
    text.clear();
    reply.GetArg(eIpcArgErrorText, text);
    return true;
}

Json::Value CC4jBaseHandler::ConvertFromIpcReply(const CIpcMessage& reply)
{
    Json::Value values(Json::arrayValue);
    unsigned short key = 0;
    std::string text;
    for (bool more = reply.GetFirstArg(key, text); more; more = reply.GetNextArg(key, text))
    {
        int number = 0;
        values.append(reply.GetArg(key, number) ? Json::Value(number) : Json::Value(text));
    }
    if (values.size() > 1)
        return values;
    return values.empty() ? Json::Value() : std::move(values[0u]);
}

Json::Value CC4jBaseHandler::ConvertFromIpcReply(const std::list<CIpcMessage>& replies)
{
    if (replies.size() == 1)
        return ConvertFromIpcReply(replies.front());
    Json::Value values(Json::arrayValue);
    for (const CIpcMessage& reply : replies)
        values.append(ConvertFromIpcReply(reply));
    return values;
}

// --- Notifications

std::list<std::string> CC4jBaseHandler::GetNotifyMethods(const Json::Value& params) const
{
    return GetStringsFromObj(params, NJsonMember::kNotifyMethod);
}

void CC4jBaseHandler::SendNotification(std::string text, std::list<std::string> descriptors)
{
    SJsonNotify notify;
    notify.mText = std::move(text);
    notify.mClients = std::move(descriptors);
    mServer.NotifyPush(notify);
}

void CC4jBaseHandler::SendState(const std::string&, const std::string&) {}
