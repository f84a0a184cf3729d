// Everything in the file is checked before anything of it counts.
#include "software/bp/security/CAccounts.h"

#include "software/utility/CException.h"
#include "software/utility/CJsonMembers.h"
#include "software/utility/NHex.h"
#include "software/utility/NJsonFile.h"
#include "software/utility/NUtf8.h"

#include <json/value.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/security/CAccounts";
constexpr int kVersion = 1;
constexpr std::size_t kMaxSalt = 64; // bytes
constexpr EAccessLevel kLevels[] = {eAccessUser, eAccessOperator, eAccessProtected};

std::vector<unsigned char> TakeBytes(CJsonMembers& members, const char* name, std::size_t lowest,
                                     std::size_t highest)
{
    std::vector<unsigned char> bytes;
    if (!NHex::FromText(members.TakeText(name), bytes) || bytes.size() < lowest || bytes.size() > highest)
        members.Refuse(name, "must be " + std::to_string(lowest) + " to " + std::to_string(highest) +
                                 " bytes as hexadecimal digits");
    return bytes;
}

CPasswordHash ParseHash(const Json::Value& object, const std::string& place)
{
    CJsonMembers members(object, place);
    SScryptCost cost;
    cost.mN = static_cast<std::uint64_t>(members.TakeInt("n", 1, INT_MAX));
    cost.mR = static_cast<std::uint32_t>(members.TakeInt("r", 1, INT_MAX));
    cost.mP = static_cast<std::uint32_t>(members.TakeInt("p", 1, INT_MAX));
    if (!cost.IsBounded())
        members.Refuse("n", "makes, with r and p, no scrypt parameters, or too costly ones");
    std::vector<unsigned char> salt = TakeBytes(members, "salt", CPasswordHash::kSaltSize, kMaxSalt);
    std::vector<unsigned char> key =
        TakeBytes(members, "key", CPasswordHash::kKeySize, CPasswordHash::kKeySize);
    members.Finish();
    return CPasswordHash(cost, std::move(salt), std::move(key));
}

SAccount ParseAccount(const Json::Value& object, const std::string& place)
{
    CJsonMembers members(object, place);
    const std::string name = members.TakeText("name");
    if (const std::string problem = CAccounts::CheckName(name); !problem.empty())
        members.Refuse("name", "is none: " + problem);
    const int level = members.TakeInt("level", 0, INT_MAX);
    if (!CAccounts::IsLevel(level))
        members.Refuse("level", "must be 1, 2 or 6");
    CPasswordHash hash = ParseHash(members.TakeObject("scrypt"), place + ", scrypt");
    members.Finish();
    return SAccount{name, static_cast<EAccessLevel>(level), std::move(hash)};
}

Json::Value PrintHash(const CPasswordHash& hash)
{
    Json::Value object;
    object["n"] = Json::UInt64{hash.GetCost().mN};
    object["r"] = hash.GetCost().mR;
    object["p"] = hash.GetCost().mP;
    object["salt"] = NHex::ToText(hash.GetSalt().data(), hash.GetSalt().size());
    object["key"] = NHex::ToText(hash.GetKey().data(), hash.GetKey().size());
    return object;
}
} // namespace

CAccounts CAccounts::Parse(const std::string& text)
{
    const Json::Value root = NJsonFile::ParseObject(text);
    CJsonMembers members(root, "accounts");
    members.TakeInt("version", kVersion, kVersion);
    CAccounts accounts;
    const Json::Value& list = members.TakeArray("accounts", CJsonMembers::kMayBeEmpty);
    for (Json::ArrayIndex i = 0; i < list.size(); ++i)
        accounts.Add(ParseAccount(list[i], "account " + std::to_string(i + 1)));
    members.Finish();
    return accounts;
}

std::string CAccounts::Print() const
{
    Json::Value root;
    root["version"] = kVersion;
    Json::Value& list = root["accounts"] = Json::Value(Json::arrayValue);
    for (const SAccount& account : mAccounts)
    {
        Json::Value& object = list.append(Json::Value(Json::objectValue));
        object["name"] = account.mName;
        object["level"] = static_cast<int>(account.mLevel);
        object["scrypt"] = PrintHash(account.mHash);
    }
    return NJsonFile::Print(root);
}

const SAccount* CAccounts::Find(std::string_view name) const noexcept
{
    const auto found = std::find_if(mAccounts.begin(), mAccounts.end(),
                                    [&](const SAccount& account) { return account.mName == name; });
    return found == mAccounts.end() ? nullptr : &*found;
}

SAccount* CAccounts::Find(std::string_view name) noexcept
{
    return const_cast<SAccount*>(std::as_const(*this).Find(name));
}

bool CAccounts::Remove(std::string_view name)
{
    const auto end = std::remove_if(mAccounts.begin(), mAccounts.end(),
                                    [&](const SAccount& account) { return account.mName == name; });
    const bool wasThere = end != mAccounts.end();
    mAccounts.erase(end, mAccounts.end());
    return wasThere;
}

void CAccounts::Add(SAccount account)
{
    if (Find(account.mName) != nullptr)
        throw CException(__func__, kSource, __LINE__, false, "An account \"%s\" exists already",
                         account.mName.c_str());
    if (mAccounts.size() >= kMaxAccounts)
        throw CException(__func__, kSource, __LINE__, false, "There are %zu accounts; there can be no more",
                         mAccounts.size());
    mAccounts.push_back(std::move(account));
}

SScryptCost CAccounts::GetHighestCost() const noexcept
{
    const auto highest =
        std::max_element(mAccounts.begin(), mAccounts.end(),
                         [](const SAccount& left, const SAccount& right)
                         { return left.mHash.GetCost().GetWork() < right.mHash.GetCost().GetWork(); });
    return highest == mAccounts.end() ? SScryptCost() : highest->mHash.GetCost();
}

std::string CAccounts::CheckName(std::string_view name)
{
    const bool isClean =
        std::none_of(name.begin(), name.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
    if (name.empty() || name.size() > kMaxName)
        return "a name has 1 to " + std::to_string(kMaxName) + " bytes";
    if (!isClean || !NUtf8::IsStorable(name) || name.front() == ' ' || name.back() == ' ')
        return "a name is UTF-8 text without control characters, and without blanks at its ends";
    return std::string();
}

std::string CAccounts::CheckPassword(std::string_view password)
{
    if (password.size() < kMinPassword || password.size() > kMaxPassword)
        return "a password has " + std::to_string(kMinPassword) + " to " + std::to_string(kMaxPassword) +
               " bytes";
    return NUtf8::IsStorable(password) ? std::string() : "a password is UTF-8 text without NUL";
}

bool CAccounts::IsLevel(int level) noexcept
{
    return std::find(std::begin(kLevels), std::end(kLevels), level) != std::end(kLevels);
}
