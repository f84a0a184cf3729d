// Checks who somebody is, against the accounts.
#pragma once

#include "software/bp/security/CAccountFile.h"
#include "software/bp/security/CAccounts.h"
#include "software/include/EAccessLevel.h"
#include "software/include/EError.h"

#include <mutex>
#include <optional>
#include <string>

class ILog;

/// Keeps the accounts of one file. Each check hashes a password, which takes a tenth of a second on purpose:
/// `CLogInQueue` does so without making the loop wait. May be used from any thread.
///
/// The file is read again when it has changed. While it cannot be read nobody can log in; it is left as it
/// is, for whoever may want to mend it.
class CSecurityManager
{
public:
    /// Reads the accounts. When there is no file, it is made with the account "admin" (level 6), which gets a
    /// generated password.
    /// @param log   not owned, must outlive this
    /// @param cost  of the hashes of new passwords
    CSecurityManager(const std::string& path, ILog& log, const SScryptCost& cost = SScryptCost());
    ~CSecurityManager();
    CSecurityManager(const CSecurityManager&) = delete;
    CSecurityManager& operator=(const CSecurityManager&) = delete;

    /// Takes as long for a name that nobody has as for a wrong password.
    /// @param level    the account's; untouched on failure
    /// @param message  why not
    bool Login(const std::string& user, const std::string& password, EAccessLevel& level,
               std::string& message);

    /// Changes the password of the account "admin", or of the one that is named first.
    /// @param message  why not
    /// @returns 0; 117 for a wrong name or current password, 3 for a new password that is too short, too long
    ///          or no text, 7 when it could not be stored
    [[nodiscard]] EError ChangePassword(const std::string& current, const std::string& next,
                                        std::string& message);
    [[nodiscard]] EError ChangePassword(const std::string& user, const std::string& current,
                                        const std::string& next, std::string& message);

    /// The password that this object generated for "admin", for as long as it is in force; else empty.
    std::string GetGeneratedPassword() const;

    /// Why nobody can log in, as a sentence; empty while the accounts can be read.
    std::string GetProblem() const;

    static constexpr char kFirstAccount[] = "admin";

private:
    void CreateFirstAccount();
    void Refresh(); // under the mutex
    std::optional<CAccounts> GetAccounts(std::string& message);
    bool IsAllowed(const std::string& user, const std::string& password, EAccessLevel& level,
                   std::string& message);
    void Store(const std::string& user, const CPasswordHash& hash);

    const CAccountFile mFile;
    ILog& mLog;
    const SScryptCost mCost;

    mutable std::mutex mMutex; // guards what follows; never held while a password is hashed
    CAccountFile::SStamp mStamp;
    CAccounts mAccounts;
    std::string mProblem;
    std::string mGenerated;
};
