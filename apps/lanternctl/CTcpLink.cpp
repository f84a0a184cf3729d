// Requests are numbered; everything that arrives is either the awaited reply, a change, or of no interest.
#include "apps/lanternctl/CTcpLink.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "software/include/EAccessLevel.h"
#include "software/jsonrpc/NAddress.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <utility>

namespace
{
constexpr char kNotification[] = "control:notify";
// The active alarms: at the start, and at each change.
constexpr char kAlarmState[] = "status:alarmNotify";
constexpr char kAlarmChange[] = "status:notifyAlarms";

// A projector that lost its power says nothing: after about 25 s of silence the connection counts as lost.
struct SSocketOption
{
    int mLevel;
    int mOption;
    int mValue;
};
constexpr SSocketOption kKeepAlive[] = {
    {SOL_SOCKET, SO_KEEPALIVE, 1},   {IPPROTO_TCP, TCP_KEEPIDLE, 10},         // s
    {IPPROTO_TCP, TCP_KEEPINTVL, 5},                                          // s
    {IPPROTO_TCP, TCP_KEEPCNT, 3},   {IPPROTO_TCP, TCP_USER_TIMEOUT, 25'000}, // ms
};

std::string DescribeError(const Json::Value& error)
{
    if (error.isObject() && error["message"].isString() && error["code"].isInt())
        return error["message"].asString() + " (" + std::to_string(error["code"].asInt()) + ")";
    return NJsonDocument::Compact(error); // some methods answer a list of errors
}

int CodeOf(const Json::Value& error)
{
    return error.isObject() && error["code"].isInt() ? error["code"].asInt() : CCommandFailure::kNoErrorCode;
}

bool IsReplyTo(int request, const Json::Value& message)
{
    const Json::Value& id = message["id"];
    if (id.isNull())
        return message.isMember("error"); // the projector could make no sense of what it got from us
    return id.isInt() && id.asInt() == request;
}

Json::Value CodeParameter(const std::string& code)
{
    Json::Value parameters(Json::objectValue);
    parameters["code"] = code;
    return parameters;
}
} // namespace

CTcpLink::CTcpLink(const std::string& host, unsigned short port, std::chrono::milliseconds timeout)
    : mName(host + ":" + std::to_string(port))
    , mHost(host)
    , mTimeout(timeout)
    , mClient(host, port)
{
    Connect();
}

Json::Value CTcpLink::Get(const std::string& code)
{
    return RequestMembers(code, "control:get", CodeParameter(code));
}

Json::Value CTcpLink::Set(const std::string& code, const Json::Value& value)
{
    Json::Value parameters = CodeParameter(code);
    parameters["value"] = value;
    return RequestMembers(code, "control:set", parameters);
}

std::optional<CControlInfo> CTcpLink::Describe(const std::string& code, ENeed need)
{
    std::vector<CControlInfo> controls = List(code);
    const auto control = std::find_if(controls.begin(), controls.end(),
                                      [&](const CControlInfo& c) { return c.GetCode() == code; });
    if (control == controls.end())
        return std::nullopt;
    // A soft range follows the projector's state, and is not in the list.
    if (need == ENeed::All && HasSoftRange(control->GetType()) &&
        control->GetAccessGroup() != eAccessProtected)
        control->Merge(RequestMembers(code, "control:getProperties", CodeParameter(code)));
    return std::move(*control);
}

std::vector<CControlInfo> CTcpLink::List(const std::string& prefix)
{
    Json::Value parameters;
    if (!prefix.empty())
        parameters["prefix"] = prefix;
    const std::vector<Json::Value> list =
        RequestArray("control:list", "control:list", parameters, "controls");
    return std::vector<CControlInfo>(list.begin(), list.end());
}

std::vector<std::string> CTcpLink::GetStatusGroups()
{
    std::vector<std::string> names;
    for (const Json::Value& group :
         RequestArray("status", "status:getGroups", Json::Value(), "status groups"))
        if (group.isObject() && group["group"].isString())
            names.push_back(group["group"].asString());
    return names;
}

std::vector<Json::Value> CTcpLink::GetStatusItems(const std::string& group)
{
    Json::Value parameters(Json::objectValue);
    parameters["group"] = group;
    return RequestItems(group, "status:getItems", parameters);
}

std::vector<Json::Value> CTcpLink::GetAlarms()
{
    return RequestItems("alarms", "status:getAlarms", Json::Value());
}

void CTcpLink::WatchAlarms()
{
    Request("alarms", "status:addAlarmListener", Json::Value());
}

void CTcpLink::Watch(const std::vector<std::string>& codes)
{
    std::string subject;
    Json::Value parameters(Json::objectValue);
    for (const std::string& code : codes)
    {
        subject += (subject.empty() ? "" : ", ") + code;
        parameters["code"].append(code);
    }
    parameters["sendNow"] = true;
    Request(subject, "control:addListener", parameters);
}

IProjectorLink::EWait CTcpLink::WaitForChange(Json::Value& change,
                                              std::optional<std::chrono::milliseconds> timeout, int interrupt)
{
    const NWait::Deadline deadline = NWait::After(timeout);
    while (mChanges.empty())
    {
        const EWait wait = Receive(deadline, interrupt);
        if (wait != EWait::Change)
            return wait;
    }
    change = std::move(mChanges.front());
    mChanges.pop_front();
    return EWait::Change;
}

Json::Value CTcpLink::GetMenu(const std::string& code)
{
    Json::Value menu = RequestMembers(code, "menu:get", CodeParameter(code));
    if (!menu["items"].isArray())
        NWait::FailConnection(mName + " answered something other than a menu");
    return menu;
}

void CTcpLink::ChangeFavorites(const std::string& method, const std::string& code)
{
    Request(code, method, CodeParameter(code));
}

Json::Value CTcpLink::Call(const std::string& method, const Json::Value& parameters)
{
    return Request(method, method, parameters);
}

void CTcpLink::LogIn(const std::string& user, const std::string& password)
{
    Json::Value parameters(Json::objectValue);
    parameters["user"] = user;
    parameters["pass"] = password;
    Request("log-in of " + user, "session:connect", parameters, std::max(mTimeout, NWait::kLogInPatience));
}

Json::Value CTcpLink::Request(const std::string& subject, const std::string& method,
                              const Json::Value& parameters)
{
    return Request(subject, method, parameters, mTimeout);
}

Json::Value CTcpLink::Request(const std::string& subject, const std::string& method,
                              const Json::Value& parameters, std::chrono::milliseconds timeout)
{
    Json::Value request(Json::objectValue);
    request["jsonrpc"] = "2.0";
    request["id"] = ++mLastId;
    request["method"] = method;
    if (!parameters.isNull())
        request["params"] = parameters;
    mReply.reset();
    Send(request);

    const NWait::Deadline deadline = NWait::After(timeout);
    while (!mReply)
    {
        if (Receive(deadline, NWait::kNoDescriptor) == EWait::Elapsed)
            NWait::FailNoAnswer(mName, timeout);
    }
    const Json::Value& reply = *mReply;
    if (reply.isMember("error"))
        throw CCommandFailure(EExitCode::Refused, subject + ": " + DescribeError(reply["error"]),
                              CodeOf(reply["error"]));
    return reply["result"];
}

Json::Value CTcpLink::RequestMembers(const std::string& code, const std::string& method,
                                     const Json::Value& parameters)
{
    Json::Value members = Request(code, method, parameters);
    if (!members.isObject())
        NWait::FailConnection(mName + " answered something other than the members of a control");
    return members;
}

std::vector<Json::Value> CTcpLink::RequestArray(const std::string& subject, const std::string& method,
                                                const Json::Value& parameters, const char* what)
{
    const Json::Value array = Request(subject, method, parameters);
    if (!array.isArray())
        NWait::FailConnection(mName + " answered something other than a list of " + what);
    return std::vector<Json::Value>(array.begin(), array.end());
}

std::vector<Json::Value> CTcpLink::RequestItems(const std::string& subject, const std::string& method,
                                                const Json::Value& parameters)
{
    std::vector<Json::Value> items = RequestArray(subject, method, parameters, "status items");
    items.erase(
        std::remove_if(items.begin(), items.end(), [](const Json::Value& item) { return !item.isObject(); }),
        items.end());
    return items;
}

void CTcpLink::Connect()
{
    const std::optional<sockaddr_in> address = NAddress::Resolve(mHost, mClient.GetPort());
    if (!address)
        NWait::FailNoConnection(mName, "no such host");
    std::array<char, INET_ADDRSTRLEN> dotted{};
    inet_ntop(AF_INET, &address->sin_addr, dotted.data(), dotted.size());
    mClient.SetAddress(dotted.data()); // the name is looked up once
    if (!mClient.Connect(static_cast<int>(mTimeout.count())))
        NWait::FailNoConnection(mName, std::strerror(errno));
    for (const SSocketOption& option : kKeepAlive) // a system without one of them only notices later
        setsockopt(mClient.GetSocket(), option.mLevel, option.mOption, &option.mValue, sizeof option.mValue);
}

void CTcpLink::Send(const Json::Value& request)
{
    try
    {
        mClient.Send(NJsonDocument::Compact(request));
    }
    catch (const CException&)
    {
        LoseConnection();
    }
}

void CTcpLink::Sort(const Json::Value& message)
{
    if (!message.isObject())
        return;
    const Json::Value& method = message["method"];
    if (method.isString() && method.asString() == kNotification)
        mChanges.push_back(message["params"]);
    else if (method.isString() && (method.asString() == kAlarmState || method.asString() == kAlarmChange))
        mChanges.emplace_back(Json::objectValue)["alarms"] = message["params"];
    else if (IsReplyTo(mLastId, message))
        mReply = message;
}

IProjectorLink::EWait CTcpLink::Receive(const NWait::Deadline& deadline, int interrupt)
{
    const EWait wait = NWait::ForInput(mClient.GetSocket(), deadline, interrupt);
    if (wait != EWait::Change)
        return wait;
    std::deque<std::string> messages;
    try
    {
        mClient.Recv(messages, false);
    }
    catch (const CException&)
    {
        LoseConnection();
    }
    for (const std::string& text : messages)
    {
        Json::Value message;
        std::string problem;
        if (!NJsonDocument::Parse(text, message, problem))
            NWait::FailConnection(mName + " does not speak JSON-RPC: " + problem);
        Sort(message);
    }
    return EWait::Change;
}

void CTcpLink::LoseConnection() const
{
    NWait::FailLost(mName);
}
