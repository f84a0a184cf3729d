// Looks up under the lock, hashes without it.
#include "software/bp/security/CSecurityManager.h"

#include "software/bp/security/CSecret.h"
#include "software/bp/security/NRandom.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/NReason.h"
#include "software/utility/NUtf8.h"

#include <exception>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/security/CSecurityManager";
constexpr char kWrong[] = "Invalid user name or password";
constexpr char kNoAccounts[] = "The accounts can not be read, so nobody can log in";
constexpr char kNoCheck[] = "The password can not be checked";

std::string Printable(const std::string& name)
{
    std::string line;
    NUtf8::AppendPrintable(line, name);
    return line;
}
} // namespace

CSecurityManager::CSecurityManager(const std::string& path, ILog& log, const SScryptCost& cost)
    : mFile(path)
    , mLog(log)
    , mCost(cost)
{
    if (!mFile.Exists())
        CreateFirstAccount();
    const std::lock_guard<std::mutex> lock(mMutex);
    Refresh();
}

CSecurityManager::~CSecurityManager()
{
    CSecret::Wipe(mGenerated);
}

void CSecurityManager::CreateFirstAccount()
{
    try
    {
        std::string password = NRandom::MakePassword();
        const bool isNew = mFile.Create(
            [&]
            {
                CAccounts accounts;
                accounts.Add({kFirstAccount, eAccessProtected, CPasswordHash::Make(password, mCost)});
                return accounts;
            });
        if (isNew)
            mGenerated = password;
        CSecret::Wipe(password);
    }
    catch (const std::exception& failure)
    {
        mLog.LogError("No accounts could be made: %s", NReason::Of(failure).c_str());
    }
}

bool CSecurityManager::Login(const std::string& user, const std::string& password, EAccessLevel& level,
                             std::string& message)
{
    if (!IsAllowed(user, password, level, message))
        return false;
    mLog.LogFYI(eFyiSecurity, "%s logged in with level %d", Printable(user).c_str(), static_cast<int>(level));
    return true;
}

EError CSecurityManager::ChangePassword(const std::string& current, const std::string& next,
                                        std::string& message)
{
    return ChangePassword(kFirstAccount, current, next, message);
}

EError CSecurityManager::ChangePassword(const std::string& user, const std::string& current,
                                        const std::string& next, std::string& message)
{
    message = CAccounts::CheckPassword(next);
    if (!message.empty())
    {
        message = "The new password is not possible: " + message;
        return eErrorInvalidParameter;
    }
    EAccessLevel level = eAccessNone;
    if (!IsAllowed(user, current, level, message))
        return eErrorAccessGroup;
    try
    {
        Store(user, CPasswordHash::Make(next, mCost));
    }
    catch (const std::exception& failure)
    {
        message = "The new password could not be stored: " + NReason::Of(failure);
        mLog.LogError("Password of %s: %s", Printable(user).c_str(), message.c_str());
        return eErrorCommandNotExecuted;
    }
    return eErrorNone;
}

std::string CSecurityManager::GetGeneratedPassword() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mGenerated;
}

std::string CSecurityManager::GetProblem() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mProblem;
}

// The stamp is taken first: what is changed while it is read is read once more.
void CSecurityManager::Refresh()
{
    const CAccountFile::SStamp stamp = mFile.GetStamp();
    if (stamp == mStamp && mProblem.empty())
        return;
    mStamp = stamp;
    std::string problem;
    try
    {
        mAccounts = mFile.Read();
    }
    catch (const std::exception& failure)
    {
        problem = "Accounts of " + mFile.GetPath() +
                  " can not be read, so nobody can log in: " + NReason::Of(failure) +
                  "; the file is left as it is";
    }
    if (problem != mProblem && !problem.empty())
        mLog.LogError("%s", problem.c_str());
    else if (problem != mProblem)
        mLog.Log("Accounts of %s can be read again", mFile.GetPath().c_str());
    mProblem = std::move(problem);
}

std::optional<CAccounts> CSecurityManager::GetAccounts(std::string& message)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    Refresh();
    if (mProblem.empty())
        return mAccounts;
    message = kNoAccounts;
    return std::nullopt;
}

bool CSecurityManager::IsAllowed(const std::string& user, const std::string& password, EAccessLevel& level,
                                 std::string& message)
{
    message = kWrong;
    if (!CAccounts::CheckName(user).empty() || password.empty() || password.size() > CAccounts::kMaxPassword)
        return false; // no account is like that, which everybody may know
    const std::optional<CAccounts> accounts = GetAccounts(message);
    if (!accounts)
        return false;
    try
    {
        const SAccount* const account = accounts->Find(user);
        const CPasswordHash hash =
            account != nullptr ? account->mHash : CPasswordHash::MakeDummy(accounts->GetHighestCost());
        if (!hash.Matches(password) || account == nullptr)
            return false;
        level = account->mLevel;
        message.clear();
        return true;
    }
    catch (const std::exception& failure) // no memory for the hash
    {
        mLog.LogError("Log-in of %s: %s", Printable(user).c_str(), NReason::Of(failure).c_str());
        message = kNoCheck;
        return false;
    }
}

void CSecurityManager::Store(const std::string& user, const CPasswordHash& hash)
{
    mFile.Change(
        [&](CAccounts& accounts)
        {
            SAccount* const account = accounts.Find(user);
            if (account == nullptr) // removed since its password was checked
                throw CException("Store", kSource, __LINE__, false, "the account is no longer there");
            account->mHash = hash;
        });
    const std::lock_guard<std::mutex> lock(mMutex);
    Refresh();
    if (user == kFirstAccount)
        CSecret::Wipe(mGenerated);
}
