// Reads the texts with jsoncpp and checks what jsoncpp lets through.
#include "software/utility/CTextCatalog.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NUtf8.h"

#include <cerrno>
#include <charconv>
#include <memory>
#include <stdexcept>

#include <json/json.h>

namespace
{
constexpr char kSource[] = "software/utility/CTextCatalog";
constexpr std::size_t kMaxSize = std::size_t{4} << 20; // bytes
constexpr int kMaxDepth = 4;                           // the file has one level; jsoncpp throws beyond

using CTexts = std::unordered_map<int, std::string>;

std::string Quote(std::string_view text)
{
    constexpr std::size_t kShown = 40; // bytes
    const std::size_t length = NUtf8::CutLength(text, kShown);
    return '"' + std::string(text.substr(0, length)) + (length < text.size() ? "...\"" : "\"");
}

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

std::string ReadFile(const std::string& path)
{
    std::string bytes;
    if (!CAtomicFile::Read(path, bytes, kMaxSize))
        throw std::runtime_error("there is no such file");
    if (!NUtf8::IsStorable(bytes)) // jsoncpp would store what stands for it
        throw std::runtime_error("it is not UTF-8 text");
    return bytes;
}

Json::Value ParseObject(const std::string& bytes)
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = kMaxDepth;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(bytes.data(), bytes.data() + bytes.size(), &root, &errors))
        throw std::runtime_error(JoinLines(errors));
    if (!root.isObject())
        throw std::runtime_error("it is not an object of texts");
    return root;
}

int ParseId(const std::string& key)
{
    int id = 0;
    const auto result = std::from_chars(key.data(), key.data() + key.size(), id);
    if (result.ec != std::errc() || id <= 0 || std::to_string(id) != key) // "07" would be a second 7
        throw std::runtime_error("the id " + Quote(key) + " is not a whole number from 1 to 2147483647");
    return id;
}

std::string ParseText(const std::string& key, const Json::Value& value)
{
    if (!value.isString())
        throw std::runtime_error("the text of id " + Quote(key) + " is not a string");
    std::string text = value.asString();
    if (!NUtf8::IsStorable(text)) // an escape can still spell NUL or half a character
        throw std::runtime_error("the text of id " + Quote(key) + " holds a NUL or half a character");
    return text;
}

CTexts ReadTexts(const std::string& path)
{
    const Json::Value root = ParseObject(ReadFile(path));
    CTexts texts;
    texts.reserve(root.size());
    for (auto member = root.begin(); member != root.end(); ++member)
    {
        const std::string key = member.name();
        texts.emplace(ParseId(key), ParseText(key, *member));
    }
    return texts;
}
} // namespace

void CTextCatalog::Load(const std::string& path)
{
    const auto refuse = [&](int systemError, const char* reason)
    {
        errno = systemError;
        throw CException("Load", kSource, __LINE__, systemError != 0, "Unable to read texts from %s: %s",
                         path.c_str(), reason);
    };
    try
    {
        mTexts = ReadTexts(path);
    }
    catch (const CException& error)
    {
        refuse(error.GetSystemError(), error.GetMessage().c_str());
    }
    catch (const Json::Exception& error) // too deep
    {
        refuse(0, error.what());
    }
    catch (const std::runtime_error& error)
    {
        refuse(0, error.what());
    }
}

std::string CTextCatalog::GetText(int id) const
{
    if (id == 0)
        return std::string();
    const auto entry = mTexts.find(id);
    return entry == mTexts.end() ? '#' + std::to_string(id) : entry->second;
}
