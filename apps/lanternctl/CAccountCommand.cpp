// Passwords are asked for before the file is locked, and only where they will be used.
#include "apps/lanternctl/CAccountCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NPassword.h"
#include "software/bp/security/CAccountFile.h"
#include "software/bp/security/CSecret.h"
#include "software/utility/NReason.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <exception>
#include <ostream>

namespace
{
constexpr char kList[] = "list";
constexpr char kAdd[] = "add";
constexpr char kPasswd[] = "passwd";
constexpr char kRemove[] = "remove";
constexpr char kFileName[] = "/accounts.json";

[[noreturn]] void Refuse(const std::string& sentence)
{
    throw CCommandFailure(EExitCode::Refused, sentence);
}

std::string NoAccount(const std::string& name)
{
    return "there is no account \"" + name + "\"";
}

CPasswordHash AskForHash(const std::string& name)
{
    const CSecret password(NPassword::Ask("New password of " + name, true));
    if (const std::string problem = CAccounts::CheckPassword(password.Get()); !problem.empty())
        Refuse(problem);
    return CPasswordHash::Make(password.Get(), SScryptCost());
}

bool IsLastOfService(const CAccounts& accounts, const SAccount& account)
{
    const auto count = std::count_if(accounts.GetAll().begin(), accounts.GetAll().end(),
                                     [](const SAccount& other) { return other.mLevel == eAccessProtected; });
    return account.mLevel == eAccessProtected && count == 1;
}
} // namespace

void CAccountCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("ACTION", mAction, "list, add, passwd or remove")
        ->type_name("")
        ->required()
        ->check(CLI::IsMember({kList, kAdd, kPasswd, kRemove}).description(""));
    arguments.add_option("NAME", mName, "Of the account; not for list")->type_name("");
    arguments.add_option("--state-dir", mStateDir, "State folder of the daemon")
        ->type_name("DIR")
        ->capture_default_str();
    arguments.add_option("--level", mLevel, "Of a new account: 1 user, 2 operator, 6 service")
        ->type_name("N")
        ->check(CLI::IsMember({1, 2, 6}).description(""));
    arguments.add_flag("--force", mForce, "Remove even the last account of level 6");
}

EExitCode CAccountCommand::Run(CSession& session)
{
    CheckArguments();
    const CAccountFile file(mStateDir + kFileName);
    try
    {
        if (mAction == kList)
            List(session, file);
        else if (mAction == kAdd)
            Add(file);
        else if (mAction == kPasswd)
            SetPassword(file);
        else
            Remove(file);
    }
    catch (const CCommandFailure&)
    {
        throw;
    }
    catch (const std::exception& failure)
    {
        Refuse(NReason::Of(failure));
    }
    return EExitCode::Done;
}

void CAccountCommand::CheckArguments() const
{
    const auto fail = [](const std::string& sentence)
    { throw CCommandFailure(EExitCode::WrongUsage, sentence); };
    if ((mAction == kList) != mName.empty())
        fail(mAction == kList ? "account list takes no name" : "account " + mAction + " needs a name");
    if ((mAction == kAdd) != (mLevel != 0))
        fail(mAction == kAdd ? "account add needs --level" : "--level is for account add only");
    if (mForce && mAction != kRemove)
        fail("--force is for account remove only");
}

void CAccountCommand::List(CSession& session, const CAccountFile& file) const
{
    const CAccounts accounts = file.Read();
    CTextTable table;
    for (const SAccount& account : accounts.GetAll())
    {
        Json::Value row(Json::objectValue);
        row["name"] = account.mName;
        row["level"] = static_cast<int>(account.mLevel);
        if (session.GetOptions().mJson)
            session.Out() << NJsonDocument::Compact(row) << '\n';
        else
            table.AddRow({account.mName, std::to_string(static_cast<int>(account.mLevel))});
    }
    table.Print(session.Out(), session.GetStyle());
}

void CAccountCommand::Add(const CAccountFile& file) const
{
    if (const std::string problem = CAccounts::CheckName(mName); !problem.empty())
        Refuse(problem);
    if (file.Exists() && file.Read().Find(mName) != nullptr)
        Refuse("an account \"" + mName + "\" exists already");
    const SAccount account{mName, static_cast<EAccessLevel>(mLevel), AskForHash(mName)};
    const auto first = [&]
    {
        CAccounts accounts;
        accounts.Add(account);
        return accounts;
    };
    if (!file.Create(first))
        file.Change([&](CAccounts& accounts) { accounts.Add(account); });
}

void CAccountCommand::SetPassword(const CAccountFile& file) const
{
    if (file.Read().Find(mName) == nullptr)
        Refuse(NoAccount(mName));
    const CPasswordHash hash = AskForHash(mName);
    file.Change(
        [&](CAccounts& accounts)
        {
            SAccount* const account = accounts.Find(mName);
            if (account == nullptr) // removed since
                Refuse(NoAccount(mName));
            account->mHash = hash;
        });
}

void CAccountCommand::Remove(const CAccountFile& file) const
{
    file.Change(
        [&](CAccounts& accounts)
        {
            const SAccount* const account = accounts.Find(mName);
            if (account == nullptr)
                Refuse(NoAccount(mName));
            if (!mForce && IsLastOfService(accounts, *account))
                Refuse("\"" + mName + "\" is the last account of level 6; --force removes it all the same");
            accounts.Remove(mName);
        });
}
