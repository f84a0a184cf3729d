// One document, or one a line; nothing is written unless all of them are sound.
#include "apps/lanternctl/CCepEncodeCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/NCepJson.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "cep/CCepMessage.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"

#include <CLI/App.hpp>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <vector>

namespace
{
[[noreturn]] void FailUsage(const std::string& sentence)
{
    throw CCommandFailure(EExitCode::WrongUsage, sentence);
}

std::vector<Json::Value> ReadDocuments(const std::string& text)
{
    Json::Value whole;
    std::string problem;
    if (NJsonDocument::Parse(text, whole, problem))
        return {whole};
    std::vector<Json::Value> documents;
    std::istringstream lines(text);
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);)
    {
        ++number;
        if (line.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        if (!NJsonDocument::Parse(line, documents.emplace_back(), problem))
            FailUsage("line " + std::to_string(number) + " of standard input is not JSON: " + problem);
    }
    return documents;
}
} // namespace

void CCepEncodeCommand::Declare(CLI::App& arguments)
{
    arguments
        .add_option("--format", mFormat, "Format of the bytes, 1 or 2; what the document says if not given")
        ->type_name("N")
        ->check(CLI::Range(1, 2).description(""));
    arguments.add_flag("--no-crc", mWithoutCrc, "Take the document's \"crc\" instead of computing it");
    arguments.add_option("-o,--output", mFile, "Write to this file instead of standard output")
        ->type_name("FILE");
}

EExitCode CCepEncodeCommand::Run(CSession& session)
{
    if (mFile.empty() && session.IsTerminal())
        FailUsage("the bytes are not for a terminal: give -o FILE, or send them to a pipe");
    const std::string text{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    const std::string bytes = Encode(text);
    if (mFile.empty())
    {
        session.Out() << bytes;
        return EExitCode::Done;
    }
    try
    {
        CAtomicFile::Write(mFile, bytes);
    }
    catch (const CException& error)
    {
        FailUsage(error.GetMessage());
    }
    return EExitCode::Done;
}

std::string CCepEncodeCommand::Encode(const std::string& text) const
{
    const std::vector<Json::Value> documents = ReadDocuments(text);
    if (documents.empty())
        FailUsage("there is no message on standard input");
    std::string all;
    for (std::size_t i = 0; i < documents.size(); ++i)
    {
        const std::string subject = "message " + std::to_string(i + 1) + ": ";
        LibMarlix::CCepMessage message;
        std::string problem;
        if (!NCepJson::ToMessage(documents[i], message, problem))
            FailUsage(subject + problem);
        const auto format = mFormat == 0 ? message.getFormat() : static_cast<LibMarlix::EVERSION>(mFormat);
        if (format == LibMarlix::eVersion1 && message.getObjectId() > 0xFF)
            FailUsage(subject + "format 1 has no object IDs above 255");
        std::size_t size = 0;
        const std::unique_ptr<unsigned char[]> bytes(message.toBytes(format, size, !mWithoutCrc));
        if (!bytes)
            FailUsage(subject + "its properties are longer than a message can be");
        all.append(reinterpret_cast<const char*>(bytes.get()), size);
    }
    return all;
}
