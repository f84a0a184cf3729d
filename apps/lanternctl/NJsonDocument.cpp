// Settings of the JSON library in one place.
#include "apps/lanternctl/NJsonDocument.h"

#include "software/utility/NUtf8.h"

#include <algorithm>
#include <exception>
#include <json/reader.h>
#include <json/writer.h>
#include <memory>

namespace
{
constexpr int kMaxDepth = 64;

std::string Write(const Json::Value& value, const char* indentation)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    builder["enableYAMLCompatibility"] =
        *indentation != '\0'; // "name": value, without a blank before the colon
    return Json::writeString(builder, value);
}

std::string OneLine(std::string text)
{
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}
} // namespace

std::string NJsonDocument::Compact(const Json::Value& value)
{
    return Write(value, "");
}

std::string NJsonDocument::Pretty(const Json::Value& value)
{
    return Write(value, "  ");
}

bool NJsonDocument::Parse(const std::string& text, Json::Value& value, std::string& problem)
{
    if (!NUtf8::IsStorable(text)) // the reader would pass the bytes on to the terminal
    {
        problem = "it is not UTF-8 text";
        return false;
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    builder["stackLimit"] = kMaxDepth;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try
    {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &problem))
            return true;
    }
    catch (const std::exception& error) // nested too deep: the reader throws instead of reporting it
    {
        problem = error.what();
    }
    problem = OneLine(problem);
    return false;
}
