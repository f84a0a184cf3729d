// jsoncpp in strict mode, and what that lets through.
#include "software/utility/NJsonFile.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NUtf8.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <cstddef>
#include <memory>
#include <stdexcept>

namespace
{
constexpr char kSource[] = "software/utility/NJsonFile";
constexpr int kMaxDepth = 16;
constexpr std::size_t kMaxFileSize = std::size_t{1} << 20; // bytes

// jsoncpp reports on several indented lines.
std::string JoinLines(const std::string& text)
{
    std::string line;
    for (const char c : text)
    {
        const bool isBlank = c == '\n' || c == ' ';
        if (!isBlank)
            line += c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

Json::Value Parse(const std::string& bytes)
{
    if (!NUtf8::IsStorable(bytes)) // jsoncpp would put replacements into the values
        throw std::runtime_error("it is not UTF-8 text");
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = kMaxDepth;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    try
    {
        if (reader->parse(bytes.data(), bytes.data() + bytes.size(), &root, &errors))
            return root;
    }
    catch (const Json::Exception& error) // too deep
    {
        errors = error.what();
    }
    throw std::runtime_error(JoinLines(errors));
}
} // namespace

Json::Value NJsonFile::ParseObject(const std::string& bytes)
{
    Json::Value root = Parse(bytes);
    if (!root.isObject())
        throw std::runtime_error("it is not a JSON object");
    return root;
}

Json::Value NJsonFile::ParseArray(const std::string& bytes)
{
    Json::Value root = Parse(bytes);
    if (!root.isArray())
        throw std::runtime_error("it is not a JSON array");
    return root;
}

Json::Value NJsonFile::ReadObject(const std::string& path)
{
    std::string bytes;
    if (!CAtomicFile::Read(path, bytes, kMaxFileSize))
        throw CException(__func__, kSource, __LINE__, false, "%s: there is no such file", path.c_str());
    try
    {
        return ParseObject(bytes);
    }
    catch (const std::runtime_error& error)
    {
        throw CException(__func__, kSource, __LINE__, false, "%s: %s", path.c_str(), error.what());
    }
}

std::string NJsonFile::Print(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value) + '\n';
}

std::string NJsonFile::PrintShort(const Json::Value& value)
{
    constexpr std::size_t kShown = 40; // bytes
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const std::string text = Json::writeString(builder, value); // ASCII: a cut splits no character
    return text.size() <= kShown ? text : text.substr(0, kShown) + "...";
}
