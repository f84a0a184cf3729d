// Who may log in, and the text that says so.
#pragma once

#include "software/bp/security/CPasswordHash.h"
#include "software/include/EAccessLevel.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct SAccount
{
    std::string mName;
    EAccessLevel mLevel;
    CPasswordHash mHash;
};

/// The accounts of a projector: names that occur once, in the order in which they were added.
class CAccounts
{
public:
    /// Reads what `Print` wrote; nothing in the text makes it take long or much memory.
    /// @throws std::exception  with the reason, on one line
    static CAccounts Parse(const std::string& text);
    /// {"version": 1, "accounts": [{"name", "level", "scrypt": {"n", "r", "p", "salt", "key"}}, ...]}
    std::string Print() const;

    const std::vector<SAccount>& GetAll() const noexcept { return mAccounts; }
    const SAccount* Find(std::string_view name) const noexcept; ///< null when there is none
    SAccount* Find(std::string_view name) noexcept;
    bool Remove(std::string_view name); ///< @returns whether there was one
    /// @throws CException "An account \"%s\" exists already", "There are %zu accounts; ..."
    void Add(SAccount account);
    SScryptCost GetHighestCost() const noexcept; ///< the default when there are no accounts

    // What a person is told of a choice that is not possible; empty when it is.
    static std::string CheckName(std::string_view name);
    static std::string CheckPassword(std::string_view password); ///< of a new one
    static bool IsLevel(int level) noexcept;

    static constexpr std::size_t kMaxName = 64;      ///< bytes
    static constexpr std::size_t kMinPassword = 8;   ///< bytes
    static constexpr std::size_t kMaxPassword = 256; ///< bytes
    static constexpr std::size_t kMaxAccounts = 256;

private:
    std::vector<SAccount> mAccounts;
};
