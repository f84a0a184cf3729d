// The file of the accounts: refused, or printed and read to the same again, and never costly.
#include "software/bp/security/CAccounts.h"

#include <cstdlib>
#include <exception>
#include <string>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    CAccounts accounts;
    try
    {
        accounts = CAccounts::Parse(std::string(reinterpret_cast<const char*>(data), size));
    }
    catch (const std::exception&)
    {
        return 0;
    }
    for (const SAccount& account : accounts.GetAll())
    {
        Require(account.mHash.GetCost().IsBounded() && CAccounts::IsLevel(account.mLevel));
        Require(accounts.Find(account.mName) == &account);
    }
    const std::string printed = accounts.Print();
    Require(CAccounts::Parse(printed).Print() == printed);
    return 0;
}
