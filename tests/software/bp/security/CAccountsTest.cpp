// The text of the accounts, and the hash in it.
#include "software/bp/security/CAccounts.h"

#include "software/utility/CException.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

namespace
{
constexpr SScryptCost kCheap{16, 1, 1};

std::string Account(const std::string& name, const std::string& level, const std::string& scrypt)
{
    return R"({"name":")" + name + R"(","level":)" + level + R"(,"scrypt":)" + scrypt + "}";
}
std::string Scrypt(const std::string& n, const std::string& r = "8", const std::string& p = "1",
                   const std::string& salt = std::string(32, 'a'),
                   const std::string& key = std::string(64, 'b'))
{
    return R"({"n":)" + n + R"(,"r":)" + r + R"(,"p":)" + p + R"(,"salt":")" + salt + R"(","key":")" + key +
           "\"}";
}
std::string File(const std::string& accounts, const std::string& version = "1")
{
    return R"({"version":)" + version + R"(,"accounts":[)" + accounts + "]}";
}

TEST(PasswordHash, IsThatOfTheStandardAndDiffersBySalt)
{
    // RFC 7914, section 12: the first 32 bytes of scrypt("pleaseletmein", "SodiumChloride", 16384, 8, 1).
    const std::string salt = "SodiumChloride";
    const std::vector<unsigned char> key{0x70, 0x23, 0xbd, 0xcb, 0x3a, 0xfd, 0x73, 0x48, 0x46, 0x1c, 0x06,
                                         0xcd, 0x81, 0xfd, 0x38, 0xeb, 0xfd, 0xa8, 0xfb, 0xba, 0x90, 0x4f,
                                         0x8e, 0x3e, 0xa9, 0xb5, 0x43, 0xf6, 0x54, 0x5d, 0xa1, 0xf2};
    const CPasswordHash known({16384, 8, 1}, {salt.begin(), salt.end()}, key);
    EXPECT_TRUE(known.Matches("pleaseletmein"));
    EXPECT_FALSE(known.Matches("pleaseletmeiN"));

    const CPasswordHash one = CPasswordHash::Make("secret", kCheap);
    EXPECT_NE(one.GetKey(), CPasswordHash::Make("secret", kCheap).GetKey());
    EXPECT_TRUE(one.Matches("secret"));
    EXPECT_FALSE(one.Matches(""));
    EXPECT_FALSE(CPasswordHash::MakeDummy(kCheap).Matches("secret"));
}

TEST(Accounts, WhatIsPrintedIsReadAgain)
{
    CAccounts accounts;
    accounts.Add({"admin", eAccessProtected, CPasswordHash::Make("first one", kCheap)});
    accounts.Add({"J\xC3\xB6rg \"x\"", eAccessOperator, CPasswordHash::Make("another", {32, 2, 3})});
    CAccounts again = CAccounts::Parse(accounts.Print());
    EXPECT_EQ(again.Print(), accounts.Print());
    ASSERT_NE(again.Find("J\xC3\xB6rg \"x\""), nullptr);
    EXPECT_EQ(again.Find("J\xC3\xB6rg \"x\"")->mLevel, eAccessOperator);
    EXPECT_TRUE(again.Find("J\xC3\xB6rg \"x\"")->mHash.Matches("another")) << "with parameters of its own";
    EXPECT_EQ(again.GetHighestCost().GetWork(), 192u);
    EXPECT_THROW(again.Add({"admin", eAccessUser, CPasswordHash::MakeDummy(kCheap)}), CException);
    EXPECT_TRUE(again.Remove("admin"));
    EXPECT_FALSE(again.Remove("admin"));
    EXPECT_EQ(CAccounts::Parse(CAccounts().Print()).GetAll().size(), 0u);
}

TEST(Accounts, WhatIsNotSoIsRefusedAtOnce)
{
    const std::string good = Account("admin", "6", Scrypt("32768"));
    ASSERT_EQ(CAccounts::Parse(File(good)).GetAll().size(), 1u);
    std::string many;
    for (std::size_t i = 0; i <= CAccounts::kMaxAccounts; ++i)
        many += (many.empty() ? "" : ",") + Account("a" + std::to_string(i), "1", Scrypt("32768"));
    const std::pair<const char*, std::string> cases[] = {
        {"empty", ""},
        {"cut", File(good).substr(0, 90)},
        {"another version", File(good, "2")},
        {"no list", R"({"version":1,"accounts":{}})"},
        {"no account", File("7")},
        {"a name twice", File(good + "," + good)},
        {"too many", File(many)},
        {"empty name", File(Account("", "6", Scrypt("32768")))},
        {"long name", File(Account(std::string(65, 'x'), "6", Scrypt("32768")))},
        {"control character", File(Account(R"(a\u0007)", "6", Scrypt("32768")))},
        {"no such level", File(Account("admin", "3", Scrypt("32768")))},
        {"level is text", File(Account("admin", "\"6\"", Scrypt("32768")))},
        {"no power of two", File(Account("admin", "6", Scrypt("32767")))},
        {"N of one", File(Account("admin", "6", Scrypt("1")))},
        {"GiB", File(Account("admin", "6", Scrypt("1073741824")))},
        {"GiB by r", File(Account("admin", "6", Scrypt("1024", "2147483647")))},
        {"minutes", File(Account("admin", "6", Scrypt("32768", "8", "1024")))},
        {"no block", File(Account("admin", "6", Scrypt("32768", "0")))},
        {"short salt", File(Account("admin", "6", Scrypt("32768", "8", "1", "aabb")))},
        {"short key", File(Account("admin", "6", Scrypt("32768", "8", "1", std::string(32, 'a'), "bb")))},
        {"no digits", File(Account("admin", "6", Scrypt("32768", "8", "1", std::string(32, 'g'))))},
    };
    const auto start = std::chrono::steady_clock::now();
    for (const auto& [name, text] : cases)
    {
        SCOPED_TRACE(name);
        EXPECT_THROW(CAccounts::Parse(text), std::exception);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
} // namespace
