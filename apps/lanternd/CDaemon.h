// The daemon: everything it is made of, and the loop that drives it.
#pragma once

#include "apps/lanternd/CControlStore.h"
#include "apps/lanternd/CControlTable.h"
#include "apps/lanternd/CJobTimer.h"
#include "apps/lanternd/CLockFile.h"
#include "apps/lanternd/CSignalWatch.h"
#include "apps/lanternd/CSystemStatus.h"
#include "apps/lanternd/CTemperatureRanges.h"
#include "simulator/CSimulatedProjector.h"
#include "software/bp/c4j/CJsonMenu.h"
#include "software/bp/hwlogic/CProjectorLogic.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/status/CStatusDb.h"
#include "software/utility/CJobScheduler.h"
#include "software/utility/CMonotonicClockHighResPosix.h"
#include "software/utility/CMonotonicClockLowRes.h"
#include "software/utility/CTextCatalog.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CC4jControl;
class CC4jMenu;
class CC4jSession;
class CC4jStatus;
class CC4jSystem;
class CIpcEventDispatcher;
class CJsonRpcServer;
class CLogInQueue;
class CSecurityManager;
class CSerialHandler;
class IControlProxy;
class ILog;
struct SOptions;

/// A projector that can be talked to from the end of the constructor on. One thread constructs, runs and
/// destroys it.
class CDaemon
{
public:
    /// Opens everything: state, controls, hardware, ports.
    /// @param log           must outlive the daemon
    /// @throws CException   a sentence that names what could not be opened
    CDaemon(const SOptions& options, ILog& log);
    CDaemon(const CDaemon&) = delete;
    CDaemon& operator=(const CDaemon&) = delete;
    ~CDaemon();

    /// Tells what is open in one line: "lanternd ready: json-rpc=7400 ipc=... serial=...".
    void PrintReady(std::ostream& out) const;

    void Run(); ///< until SIGTERM or SIGINT; then everything is saved

private:
    void LoadControls(const SOptions& options);
    void OpenAccounts(const SOptions& options);
    void OpenServer(const SOptions& options);
    void OpenIpc(const SOptions& options);
    void OpenSerialPorts(const SOptions& options);
    void OpenJsonRpc(const SOptions& options);
    void CloseServer();
    bool RunPass(bool isWoken); ///< @returns whether one of the daemon's own descriptors woke the wait
    IControlProxy& GetProxy(std::string_view code) noexcept;
    void RegisterJobs();

    ILog& mLog;
    CSignalWatch mSignals; // before the first thread starts, so that all of them leave the signals to it
    CLockFile mStateLock;
    CMonotonicClockHighResPosix mClock;
    CMonotonicClockLowRes mSlowClock; // for what takes longer than the other one's 42 s
    CTextCatalog mTexts;
    CEventDispatcher mDispatcher;
    CStatusDb mStatus;
    CSimulatedProjector mProjector;
    CProjectorLogic mLogic;
    CSystemStatus mSystemStatus; // behind the groups of the hardware
    CTemperatureRanges mTemperatureRanges;
    CControlTable mControls;
    CControlStore mStore;
    CJsonMenu mMenu;
    CJobScheduler mScheduler; // its jobs work on what stands above
    CJobTimer mJobTimer{mScheduler};
    std::unique_ptr<CSecurityManager> mSecurity;
    std::unique_ptr<CLogInQueue> mLogIns; // before those who wait for its results
    std::string mIpcName;                 // of the socket
    std::unique_ptr<CIpcEventDispatcher> mIpc;
    std::vector<std::string> mSerialNames;
    std::unique_ptr<CSerialHandler> mSerial; // its links talk to mIpc
    std::unique_ptr<CJsonRpcServer> mServer;
    std::unique_ptr<CC4jControl> mControlMethods;
    std::unique_ptr<CC4jStatus> mStatusMethods;
    std::unique_ptr<CC4jMenu> mMenuMethods;
    std::unique_ptr<CC4jSession> mSessionMethods;
    std::unique_ptr<CC4jSystem> mSystemMethods;
};
