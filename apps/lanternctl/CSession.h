// What a sub-command works with: the options, the two streams, the projector.
#pragma once

#include "apps/lanternctl/CTerminalStyle.h"
#include "apps/lanternctl/ETransport.h"

#include <chrono>
#include <iosfwd>
#include <memory>
#include <string>

class CSerialLine;
class CTcpLink;
class IProjectorLink;

/// The options that all sub-commands share, with their defaults.
struct SClientOptions
{
    std::string mHost = "127.0.0.1";
    unsigned short mPort = 7400;
    std::string mRunDirectory;  ///< of the local IPC, which replaces host and port unless empty
    std::string mSerial;        ///< "DEVICE[:BAUD]", which replaces them in the same way
    std::string mUser;          ///< who logs in; empty: nobody
    unsigned mTimeoutMs = 3000; ///< for the connection and for each reply
    bool mJson = false;         ///< raw members, one document a line

    ETransport GetTransport() const noexcept;
};

/// Lives for one run of the program. The streams are not owned and must outlive it.
class CSession
{
public:
    /// @param isTerminal  whether a person reads `out`
    CSession(const SClientOptions& options, std::ostream& out, std::ostream& error, bool isTerminal);
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;
    ~CSession();

    const SClientOptions& GetOptions() const noexcept { return mOptions; }
    std::ostream& Out() noexcept { return mOut; }
    std::chrono::milliseconds GetTimeout() const { return std::chrono::milliseconds(mOptions.mTimeoutMs); }
    bool IsTerminal() const noexcept { return mIsTerminal; }
    const CTerminalStyle& GetStyle() const noexcept { return mStyle; } ///< for `Out`

    /// The projector that the options name; connects at the first call.
    /// @throws CCommandFailure (no connection)
    IProjectorLink& GetLink();
    /// The same for what only one kind of link has; not to be mixed with `GetLink`.
    CTcpLink& GetTcpLink();
    CSerialLine& GetSerialLine();

    /// One line on standard error: "lanternctl: SENTENCE".
    void Complain(const std::string& sentence);

    /// Hands what was printed to its reader.
    /// @returns false when nobody reads any longer
    /// @throws CCommandFailure (wrong usage) when it cannot be written for another reason, a full disk
    bool Flush();

private:
    std::unique_ptr<CTcpLink> OpenTcpLink();
    std::unique_ptr<IProjectorLink> OpenSerialLink();

    const SClientOptions& mOptions;
    std::ostream& mOut;
    std::ostream& mError;
    const bool mIsTerminal;
    const CTerminalStyle mStyle;
    const CTerminalStyle mErrorStyle;
    std::unique_ptr<IProjectorLink> mLink;
    std::unique_ptr<CTcpLink> mTcpLink;
    std::unique_ptr<CSerialLine> mSerialLine;
};
