// The texts that people read, by number, in one language.
#pragma once

#include <string>
#include <unordered_map>

/// Names, help and questions of controls are text ids; this gives the text. An id without one shows as "#id",
/// id 0 (none) as nothing. Read-only after `Load`, so any thread may ask.
class CTextCatalog
{
public:
    CTextCatalog() = default;

    /// Replaces everything by a file {"id": "text", ...} such as config/texts.en.json. On failure the
    /// catalogue stays as it was.
    /// @throws CException "Unable to read texts from %s: %s", naming the file and what is wrong with it
    void Load(const std::string& path);

    std::string GetText(int id) const;
    std::size_t GetSize() const noexcept { return mTexts.size(); }

private:
    std::unordered_map<int, std::string> mTexts;
};
