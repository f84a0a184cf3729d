// A refusal of the module ends as a refusal of the projector would.
#include "apps/lanternctl/CCepTalkCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/NCepJson.h"
#include "apps/lanternctl/NCepText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NWait.h"
#include "cep/CCepLink.h"
#include "cep/CCepMessage.h"
#include "software/bp/serial/NErrorText.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CException.h"

#include <CLI/App.hpp>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <ostream>
#include <sys/socket.h>
#include <utility>

using LibMarlix::CCepLink;
using LibMarlix::CCepMessage;
using LibMarlix::CCepParser;

namespace
{
constexpr char kGet[] = "get";
constexpr char kSet[] = "set";

[[noreturn]] void FailUsage(const std::string& sentence)
{
    throw CCommandFailure(EExitCode::WrongUsage, sentence);
}

std::uint32_t ReadKey(const std::string& text)
{
    std::uint32_t key = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), key);
    if (error != std::errc() || end != text.data() + text.size())
        FailUsage("\"" + text + "\" is not a key, a number up to 4294967295");
    return key;
}

// "17=uint16:900"
void AddItem(const std::string& item, CCepMessage& request)
{
    const std::size_t equals = item.find('=');
    const std::size_t colon = item.find(':', equals == std::string::npos ? item.size() : equals);
    if (colon == std::string::npos)
        FailUsage("\"" + item + "\" is not KEY=TYPE:VALUE, such as 17=uint16:900");
    const std::uint32_t key = ReadKey(item.substr(0, equals));
    const std::string type = item.substr(equals + 1, colon - equals - 1);
    const std::string text = item.substr(colon + 1);
    Json::Value value(text);
    std::string problem;
    if (!NCepJson::IsTextType(type) && !NJsonDocument::Parse(text, value, problem))
        FailUsage("\"" + item + "\": the value is not JSON: " + problem);
    if (!NCepJson::SetProperty(request, key, type, value, problem))
        FailUsage(problem);
}

CDescriptor Connect(const std::string& name)
{
    CDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen())
        NWait::FailNoConnection(name, std::strerror(errno));
    try
    {
        if (const int error = NIpcSocket::Connect(socket, name); error != 0)
            NWait::FailNoConnection(name, std::strerror(error));
    }
    catch (const CException& error) // of the name
    {
        FailUsage(error.GetMessage());
    }
    return socket;
}
} // namespace

void CCepTalkCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("SOCKET", mSocket, "Unix socket of the module")->type_name("")->required();
    arguments.add_option("ACTION", mAction, "get or set")
        ->type_name("")
        ->required()
        ->check(CLI::IsMember({kGet, kSet}));
    arguments
        .add_option("ITEM", mItems,
                    "get: keys, all if none is given; set: KEY=TYPE:VALUE, such as 17=uint16:900")
        ->type_name("");
    arguments.add_option("--format", mFormat, "Format of the request, 1 or 2")
        ->type_name("N")
        ->check(CLI::Range(1, 2).description(""))
        ->capture_default_str();
    arguments.add_option("--object", mObjectId, "Object ID of the request")->type_name("N");
    arguments.add_flag("--any-crc", mTakesAnyCrc, "Take a reply with a wrong CRC too");
}

EExitCode CCepTalkCommand::Run(CSession& session)
{
    CCepMessage request = MakeRequest();
    CCepLink link(Connect(mSocket), mTakesAnyCrc ? CCepParser::ECrc::Told : CCepParser::ECrc::Right);
    std::unique_ptr<CCepMessage> reply;
    switch (link.request(request, reply, session.GetTimeout()))
    {
    case CCepLink::EResult::Answered: break;
    case CCepLink::EResult::NoAnswer: NWait::FailNoAnswer(mSocket, session.GetTimeout());
    case CCepLink::EResult::Lost: NWait::FailLost(mSocket);
    case CCepLink::EResult::TooLong: FailUsage("the properties are longer than a message can be");
    }
    if (session.GetOptions().mJson)
        session.Out() << NJsonDocument::Compact(NCepJson::FromMessage(*reply)) << '\n';
    else
        NCepText::Print(session, "reply", *reply, mTakesAnyCrc ? "(not checked)" : "(right)");
    const unsigned error = reply->getErrorCode();
    if (error == 0)
        return EExitCode::Done;
    session.Flush();
    throw CCommandFailure(EExitCode::Refused,
                          NErrorText::GetErrorString(static_cast<EError>(error)) + std::string(" (") +
                              std::to_string(error) + ")",
                          static_cast<int>(error));
}

CCepMessage CCepTalkCommand::MakeRequest() const
{
    CCepMessage request;
    request.setFormat(static_cast<LibMarlix::EVERSION>(mFormat));
    request.setObjectId(mObjectId);
    request.setCommandCode(mAction == kGet ? LibMarlix::eCommandGet : LibMarlix::eCommandSet);
    if (mAction == kSet && mItems.empty())
        FailUsage("cep talk set: a property is missing, such as 17=uint16:900");
    for (const std::string& item : mItems)
    {
        if (mAction == kGet)
            request.setProperty(ReadKey(item), nullptr, 0, LibMarlix::eTypeUInt8);
        else
            AddItem(item, request);
    }
    return request;
}
