// Reads the texts with jsoncpp and checks what jsoncpp lets through.
#include "software/utility/CTextCatalog.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NJsonFile.h"
#include "software/utility/NUtf8.h"

#include <cerrno>
#include <charconv>
#include <stdexcept>

#include <json/value.h>

namespace
{
constexpr char kSource[] = "software/utility/CTextCatalog";
constexpr std::size_t kMaxSize = std::size_t{4} << 20; // bytes

using CTexts = std::unordered_map<int, std::string>;

std::string Quote(std::string_view text)
{
    constexpr std::size_t kShown = 40; // bytes
    const std::size_t length = NUtf8::CutLength(text, kShown);
    return '"' + std::string(text.substr(0, length)) + (length < text.size() ? "...\"" : "\"");
}

std::string ReadFile(const std::string& path)
{
    std::string bytes;
    if (!CAtomicFile::Read(path, bytes, kMaxSize))
        throw std::runtime_error("there is no such file");
    return bytes;
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
    const Json::Value root = NJsonFile::ParseObject(ReadFile(path));
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
