// Line by line, as the library's reader goes, with a grammar that is a part of its own.
#include "software/bp/hwlogic/CHdfTextGuard.h"

#include "software/utility/CException.h"

#include <array>
#include <cstring>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CHdfTextGuard";
constexpr std::string_view kBlanks = " \t\n\v\f\r";
// The reader takes a long line in pieces of at least 127 bytes; a mark must fit into one of them.
constexpr std::size_t kMaxMark = 64; // bytes

enum ECharacter : unsigned char
{
    eOther = 0,
    eBlank = 1,
    eAlnum = 2,
    eName = 4, // what names are made of
};

constexpr std::array<unsigned char, 256> MakeKinds() noexcept
{
    std::array<unsigned char, 256> kinds{};
    for (const char blank : kBlanks)
        kinds[static_cast<unsigned char>(blank)] = eBlank;
    for (unsigned c = 0; c < 128; ++c)
        if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
            kinds[c] = eAlnum | eName;
    kinds['_'] = kinds['.'] = eName;
    return kinds;
}
constexpr std::array<unsigned char, 256> kKinds = MakeKinds();

bool Is(char c, unsigned kind) noexcept
{
    return (kKinds[static_cast<unsigned char>(c)] & kind) != 0;
}

std::size_t SpanOf(std::string_view text, unsigned kind) noexcept
{
    std::size_t length = 0;
    while (length < text.size() && Is(text[length], kind))
        ++length;
    return length;
}

void SkipBlanks(std::string_view& text) noexcept
{
    text.remove_prefix(SpanOf(text, eBlank));
}

std::string_view WithoutOuterBlanks(std::string_view text) noexcept
{
    SkipBlanks(text);
    while (!text.empty() && Is(text.back(), eBlank))
        text.remove_suffix(1);
    return text;
}

bool Take(std::string_view& text, char expected) noexcept
{
    if (text.empty() || text.front() != expected)
        return false;
    text.remove_prefix(1);
    return true;
}

/// @returns how many parts the name has, 0 when one is empty or holds what a name does not
std::size_t CountParts(std::string_view name) noexcept
{
    std::size_t parts = 1;
    bool isEmpty = true;
    for (const char c : name)
    {
        if (!Is(c, eName) || (c == '.' && isEmpty))
            return 0;
        isEmpty = c == '.';
        parts += isEmpty ? 1 : 0;
    }
    return isEmpty ? 0 : parts;
}

// key, key=word and key="text, with \" in it", with commas or blanks between them, then the bracket.
bool TakeAttributes(std::string_view& text) noexcept
{
    while (!Take(text, ']'))
    {
        const std::size_t key = SpanOf(text, eAlnum);
        text.remove_prefix(key);
        SkipBlanks(text);
        if (key == 0)
            return false;
        if (Take(text, '='))
        {
            SkipBlanks(text);
            if (Take(text, '"'))
            {
                for (; !text.empty() && text.front() != '"'; text.remove_prefix(1))
                    if (text.front() == '\\' && text.size() > 1)
                        text.remove_prefix(1);
                if (!Take(text, '"'))
                    return false;
            }
            else
            {
                const std::size_t word = SpanOf(text, eName);
                text.remove_prefix(word);
                if (word == 0)
                    return false;
            }
        }
        SkipBlanks(text);
        if (Take(text, ','))
            SkipBlanks(text);
    }
    return true;
}

/// The reader's place in a text.
class CWalk
{
public:
    explicit CWalk(std::string_view text) noexcept
        : mRest(text)
    {
    }

    void Run()
    {
        while (!mRest.empty())
            TakeLine(WithoutOuterBlanks(NextLine()));
        if (mOpen != 0)
            Refuse("a brace is not closed");
    }

private:
    [[noreturn]] void Refuse(const char* reason) const
    {
        throw CException("CheckText", kSource, __LINE__, false, "Line %zu of the HDF text: %s", mLine,
                         reason);
    }

    std::string_view NextLine() noexcept
    {
        const void* end = std::memchr(mRest.data(), '\n', mRest.size());
        const std::size_t length =
            end == nullptr ? mRest.size()
                           : static_cast<std::size_t>(static_cast<const char*>(end) - mRest.data()) + 1;
        const std::string_view line = mRest.substr(0, length);
        mRest.remove_prefix(length);
        ++mLine;
        return line;
    }

    void TakeLine(std::string_view line)
    {
        if (line.empty())
            return;
        if (line.front() == '#')
        {
            // Blanks behind it are gone already.
            if (line.substr(0, kInclude.size()) == kInclude &&
                (line.size() == kInclude.size() || Is(line[kInclude.size()], eBlank)))
                Refuse("files are not included");
            return;
        }
        if (line.front() == '}')
            return Close(line);
        const std::size_t nameLength = SpanOf(line, eName);
        const std::size_t parts = CountParts(line.substr(0, nameLength));
        if (parts == 0)
            Refuse("it does not begin with a name");
        if (mDepth + parts > CHdfTextGuard::kMaxDepth)
            Refuse("nodes are nested too deep");
        line.remove_prefix(nameLength);
        SkipBlanks(line);
        if (Take(line, '[') && !TakeAttributes(line))
            Refuse("its attributes cannot be read");
        SkipBlanks(line);
        TakeOperator(line, parts);
    }

    void TakeOperator(std::string_view line, std::size_t parts)
    {
        if (Take(line, '='))
            return;
        if (Take(line, '{'))
            return Open(line, parts);
        if (Take(line, ':'))
        {
            if (!Take(line, '='))
                Refuse("links are not followed");
            return;
        }
        if (!Take(line, '<') || !Take(line, '<'))
            Refuse("nothing is said about the name");
        TakeLines(WithoutOuterBlanks(line));
    }

    void Open(std::string_view rest, std::size_t parts)
    {
        if (!rest.empty())
            Refuse("something follows the brace");
        mLevels[mOpen++] = static_cast<unsigned char>(parts); // each level has a part, so there is room
        mDepth += parts;
    }

    void Close(std::string_view line)
    {
        if (line.size() != 1)
            Refuse("something follows the brace");
        if (mOpen == 0)
            Refuse("a brace is closed that was not opened");
        mDepth -= mLevels[--mOpen];
    }

    // A piece of a long line that begins with the mark ends the value too, so the mark may stand nowhere
    // else.
    void TakeLines(std::string_view mark)
    {
        if (mark.empty() || mark.size() > kMaxMark || SpanOf(mark, eName) != mark.size())
            Refuse("the end mark of the value is not a word");
        const std::size_t first = mLine;
        while (!mRest.empty())
        {
            const std::string_view line = NextLine();
            for (std::size_t at = line.find(mark); at != std::string_view::npos; at = line.find(mark, at + 1))
            {
                const std::size_t behind = at + mark.size();
                if (behind >= line.size() || !Is(line[behind], eBlank))
                    continue;
                if (at != 0)
                    Refuse("the end mark stands inside a line of the value");
                if (!WithoutOuterBlanks(line.substr(behind)).empty()) // the next piece would be a line
                    Refuse("something follows the end mark");
                return;
            }
        }
        mLine = first;
        Refuse("the end mark of the value is missing");
    }

    static constexpr std::string_view kInclude = "#include";

    std::string_view mRest;
    std::size_t mLine = 0;
    std::size_t mDepth = 0; // name parts that are open
    std::size_t mOpen = 0;  // braces that are open
    std::array<unsigned char, CHdfTextGuard::kMaxDepth> mLevels{};
};
} // namespace

void CHdfTextGuard::CheckText(std::string_view text)
{
    if (text.size() > kMaxTextSize)
        throw CException(__func__, kSource, __LINE__, false, "An HDF text of %zu bytes is larger than %zu",
                         text.size(), kMaxTextSize);
    if (text.find('\0') != std::string_view::npos)
        throw CException(__func__, kSource, __LINE__, false, "The HDF text holds a NUL");
    CWalk(text).Run();
}

bool CHdfTextGuard::IsPath(std::string_view path) noexcept
{
    const std::size_t parts = CountParts(path);
    return parts > 0 && parts <= kMaxDepth;
}

bool CHdfTextGuard::NeedsProof(std::string_view value) noexcept
{
    return !value.empty() && (Is(value.front(), eBlank) || Is(value.back(), eBlank) ||
                              std::memchr(value.data(), '\n', value.size()) != nullptr);
}
