// Messages are shown as soon as they are there, so that the stream may be one that is still running.
#include "apps/lanternctl/CCepDecodeCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/NCepJson.h"
#include "apps/lanternctl/NCepText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "cep/CBERLength.h"
#include "cep/CCepMessage.h"
#include "cep/CCepParser.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/NPosix.h"

#include <CLI/App.hpp>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <ostream>
#include <unistd.h>

using LibMarlix::CBERLength;
using LibMarlix::CCepMessage;
using LibMarlix::CCepParser;

namespace
{
constexpr std::size_t kLongestMessage =
    CCepMessage::kHeaderSize + CBERLength::kMaxBytes + CBERLength::kMaxLength;
constexpr std::size_t kReadSize = 65'536; // bytes

[[noreturn]] void FailToRead(const std::string& file)
{
    throw CCommandFailure(EExitCode::WrongUsage, file + ": " + std::strerror(errno));
}

CDescriptor Open(const std::string& file)
{
    CDescriptor descriptor(NPosix::RetryOnInterrupt(
        [&] { return file == "-" ? ::dup(STDIN_FILENO) : ::open(file.c_str(), O_RDONLY | O_CLOEXEC); }));
    if (!descriptor.IsOpen())
        FailToRead(file);
    return descriptor;
}
} // namespace

void CCepDecodeCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("FILE", mFile, "The stream's bytes; - for standard input")
        ->type_name("")
        ->required();
}

EExitCode CCepDecodeCommand::Run(CSession& session)
{
    const CDescriptor input = Open(mFile);
    CCepParser parser(kLongestMessage);
    std::array<unsigned char, kReadSize> bytes;
    for (;;)
    {
        const ssize_t count =
            NPosix::RetryOnInterrupt([&] { return ::read(input.Get(), bytes.data(), bytes.size()); });
        if (count < 0)
            FailToRead(mFile);
        if (count == 0)
            break;
        for (std::size_t taken = 0; taken < static_cast<std::size_t>(count);)
        {
            taken += parser.addData(bytes.data() + taken, static_cast<std::size_t>(count) - taken);
            Show(session, parser);
        }
        if (!session.Flush())
            return EExitCode::Done; // nobody reads any longer
    }
    // Nothing will complete what is left; a sound message may still be inside.
    for (std::size_t dropped = parser.dropPending(); dropped > 0; dropped = parser.dropPending())
    {
        mNoise += dropped;
        Show(session, parser);
    }
    ShowNoise(session);
    return EExitCode::Done;
}

void CCepDecodeCommand::Show(CSession& session, CCepParser& parser)
{
    for (;;)
    {
        const std::size_t before = parser.getRoom();
        const CCepParser::SReceived received = parser.receive(CCepParser::ECrc::Told);
        mNoise += received.mDropped;
        if (!received.mMessage)
            return;
        const std::size_t size = parser.getRoom() - before - received.mDropped;
        ShowNoise(session);
        ++mMessages;
        if (session.GetOptions().mJson)
            session.Out() << NJsonDocument::Compact(NCepJson::FromMessage(*received.mMessage)) << '\n';
        else
            NCepText::Print(session,
                            "message " + std::to_string(mMessages) + ": " + std::to_string(size) +
                                " bytes at " + std::to_string(mOffset),
                            *received.mMessage, received.mHasRightCrc ? "(right)" : "(wrong)");
        mOffset += size;
    }
}

// On standard error where standard output is for programs.
void CCepDecodeCommand::ShowNoise(CSession& session)
{
    if (mNoise == 0)
        return;
    const std::string text = std::to_string(mNoise) + (mNoise == 1 ? " byte at " : " bytes at ") +
                             std::to_string(mOffset) + (mNoise == 1 ? " is" : " are") + " no message";
    if (session.GetOptions().mJson)
        session.Complain(text);
    else
        session.Out() << text << '\n';
    mOffset += mNoise;
    mNoise = 0;
}
