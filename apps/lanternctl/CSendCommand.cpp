// The line is read until it has been quiet for a moment: nothing else tells that more will come.
#include "apps/lanternctl/CSendCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSerialLine.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NSerialReply.h"
#include "apps/lanternctl/NWait.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <ostream>

namespace
{
constexpr std::chrono::milliseconds kQuiet{300}; // a line at 1200 baud gets 36 characters across in it
constexpr char kErrorCode[] = "ERR";

Json::Value GetArguments(const CIpcMessage& message)
{
    Json::Value arguments(Json::arrayValue);
    unsigned short key = 0;
    std::string text;
    for (bool more = message.GetFirstArg(key, text); more; more = message.GetNextArg(key, text))
    {
        int number = 0;
        if (message.IsNumberArg(key) && message.GetArg(key, number))
            arguments.append(number);
        else
            arguments.append(text);
    }
    return arguments;
}

// @param received  null for what is no sound message
void Print(CSession& session, const std::string& item, const CIpcMessage* received)
{
    if (!session.GetOptions().mJson)
    {
        session.Out() << (session.IsTerminal() ? NDisplayText::Printable(item) : item) << '\n';
        return;
    }
    Json::Value members(Json::objectValue);
    std::string line;
    NUtf8::AppendPrintable(line, item);
    members["line"] = line;
    if (received != nullptr)
    {
        members["code"] = NIpcMsgUtil::GetFullCode(*received);
        members["arguments"] = GetArguments(*received);
    }
    session.Out() << NJsonDocument::Compact(members) << '\n';
}
} // namespace

void CSendCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("MESSAGE", mMessage, "A message in parentheses, such as '(LUM?)'")
        ->type_name("")
        ->required();
}

EExitCode CSendCommand::Run(CSession& session)
{
    Check();
    CSerialLine& line = session.GetSerialLine();
    const NWait::Deadline end = NWait::After(session.GetTimeout());
    const auto untilQuiet = [&] { return std::min(end, NWait::After(kQuiet)); };
    line.Send(mMessage);

    bool isAnswered = false;
    EExitCode exitCode = EExitCode::Done;
    NWait::Deadline deadline = AsksForAnswer() ? end : untilQuiet();
    for (;;)
    {
        const auto wait = line.Receive(deadline, NWait::kNoDescriptor);
        while (const auto item = line.GetReader().Next())
        {
            isAnswered = true;
            exitCode = std::max(exitCode, Show(session, *item));
        }
        if (wait == IProjectorLink::EWait::Elapsed && (!line.HasUnsent() || NWait::HasPassed(end)))
            break;
        if (isAnswered || !AsksForAnswer())
            deadline = untilQuiet();
    }
    if (line.HasUnsent())
        NWait::FailConnection(line.GetName() + " does not take what is sent");
    if (!isAnswered && AsksForAnswer())
        NWait::FailNoAnswer(line.GetName(), session.GetTimeout());
    return exitCode;
}

// Whatever the message says, it must not leave the projector waiting for its end: the next client's message
// would be taken for a part of it.
void CSendCommand::Check() const
{
    CSerialReader reader;
    reader.Take(mMessage);
    if (mMessage.empty() || mMessage.front() != '(')
        throw CCommandFailure(EExitCode::WrongUsage, "a message stands in parentheses, such as \"(LUM?)\"");
    if (reader.IsInside())
        throw CCommandFailure(EExitCode::WrongUsage, "the message has no end: a quote or \")\" is missing");
}

// A request, or a message that is to be acknowledged.
bool CSendCommand::AsksForAnswer() const
{
    const std::size_t end = std::min(mMessage.find('"'), mMessage.size()); // a text may hold anything
    return mMessage.find_first_of("?$") < end;
}

// @returns how the projector took it
EExitCode CSendCommand::Show(CSession& session, const std::string& item)
{
    CIpcMessage received;
    const bool isMessage = NSerialReply::Parse(item, received);
    Print(session, item, isMessage ? &received : nullptr);
    if (item.front() == CSerialReader::kNak)
        return EExitCode::Refused; // an error with its reason came before
    if (!isMessage || received.GetCode() != kErrorCode)
        return EExitCode::Done;
    int error = 0;
    std::string text;
    received.GetArg(0, error);
    received.GetArg(1, text);
    session.Flush(); // what was printed comes first
    session.Complain(text + " (" + std::to_string(error) + ")");
    return EExitCode::Refused;
}
