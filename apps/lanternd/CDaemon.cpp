// Order of construction is order of dependency; the front ends come last and go first.
#include "apps/lanternd/CDaemon.h"

#include "apps/lanternd/NMenus.h"
#include "apps/lanternd/NProcess.h"
#include "apps/lanternd/NThermalFile.h"
#include "apps/lanternd/SOptions.h"
#include "software/bp/c4j/CC4jControl.h"
#include "software/bp/c4j/CC4jMenu.h"
#include "software/bp/c4j/CC4jSession.h"
#include "software/bp/c4j/CC4jStatus.h"
#include "software/bp/c4j/CC4jSystem.h"
#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/bp/security/CLogInQueue.h"
#include "software/bp/security/CSecret.h"
#include "software/bp/security/CSecurityManager.h"
#include "software/bp/security/NRandom.h"
#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CIpcEventDispatcher.h"
#include "software/bp/serial/CIpcLocalClient.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/CSerialHandler.h"
#include "software/bp/serial/CVarnholtSerialParser.h"
#include "software/bp/serial/NCommPort.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ILog.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/CStopwatch.h"
#include "software/utility/NReason.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <ostream>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace
{
constexpr char kSource[] = "apps/lanternd/CDaemon";
constexpr std::chrono::milliseconds kSimulatorPeriod(20);
constexpr std::chrono::milliseconds kStorePeriod(100);
constexpr std::chrono::milliseconds kRest(20);   // after a pass that failed
constexpr std::size_t kReservedDescriptors = 64; // for files, logs, timers and the other front ends

// Made private to the daemon's account and group when it is missing.
std::string OpenStateFolder(const std::string& folder)
{
    namespace fs = std::filesystem;
    std::error_code error;
    if (fs::create_directories(folder, error))
        fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec, error);
    if (error || !fs::is_directory(folder, error))
        throw CException(__func__, kSource, __LINE__, false, "Unable to use the state folder %s: %s",
                         folder.c_str(), error ? error.message().c_str() : "it is not a folder");
    return folder;
}

std::size_t ChooseMaxClients(std::size_t wanted, ILog& log)
{
    const std::size_t descriptors = NProcess::RaiseDescriptorLimit();
    const std::size_t possible =
        descriptors > 2 * kReservedDescriptors ? descriptors - kReservedDescriptors : descriptors / 2;
    if (wanted > possible)
        log.LogWarning("The limit of %zu open files leaves room for %zu clients, not for %zu", descriptors,
                       possible, wanted);
    return wanted == 0 ? possible : std::min(wanted, possible);
}

// For the web pages of the projector itself. @returns empty when nobody could read it
std::string MakeWebToken(const std::string& path, ILog& log)
{
    constexpr unsigned kMode = 0600;
    try
    {
        std::string token = NRandom::MakeToken();
        CAtomicFile::Write(path, token, kMode);
        return token;
    }
    catch (const std::exception& error)
    {
        log.LogWarning("No log-in by web token until the next start: %s", NReason::Of(error).c_str());
        return std::string();
    }
}
} // namespace

CDaemon::CDaemon(const SOptions& options, ILog& log)
    : mLog(log)
    , mStateLock(OpenStateFolder(options.mStateDir) + "/lanternd.lock", "state in " + options.mStateDir)
    , mDispatcher(log)
    , mStatus(log)
    , mProjector(options.mTransport, mClock, log)
    , mLogic(mDispatcher, mProjector.GetHardware(), mStatus, log)
    , mSystemStatus(mStatus)
    , mControls(mDispatcher, [this](std::string_view code) -> IControlProxy& { return GetProxy(code); })
    , mStore(mDispatcher, options.mStateDir + "/controls.json", mSlowClock, log)
    , mMenu(options.mConfigDir, options.mStateDir + "/favmenu.json")
    , mScheduler(mClock, log)
{
    NProcess::SetFinestTimerSlack();
    mLog.LogFYI(eFyiStartup, "lanternd %s keeps its state in %s and is configured by %s", LANTERN_VERSION,
                options.mStateDir.c_str(), options.mConfigDir.c_str());
    LoadControls(options);
    OpenAccounts(options);
    mLogic.ConfigureThermal(NThermalFile::Load(options.mConfigDir + "/thermal.json"));
    RegisterJobs();
    OpenServer(options);
}

CDaemon::~CDaemon() = default;

IControlProxy& CDaemon::GetProxy(std::string_view code) noexcept
{
    return CSimulatedFaults::Serves(code) ? mProjector.GetFaults() : mLogic.GetProxy(code);
}

void CDaemon::RegisterJobs()
{
    const auto ms = [](std::chrono::milliseconds period)
    { return static_cast<std::uint32_t>(period.count()); };
    mScheduler.RegisterJob(
        "simulator", [this, watch = CStopwatch(mClock)]() mutable { mProjector.Advance(watch.Take()); },
        ms(kSimulatorPeriod));
    mLogic.RegisterJobs(mScheduler, mClock);
    mScheduler.RegisterJob(
        "store", [this] { mStore.Update(); }, ms(kStorePeriod));
    mJobTimer.Arm();
}

void CDaemon::LoadControls(const SOptions& options)
{
    mTexts.Load(options.mConfigDir + "/texts." + options.mLanguage + ".json");
    mDispatcher.SetTextCatalog(&mTexts);
    mControls.Load(options.mConfigDir + "/controls.json");
    mStore.SetLastingValue([this](const CProjCon& control) { return mLogic.GetLastingValue(control); });
    mStore.SetTroubleHandler([this](EStatusLevel level, const std::string& text)
                             { mSystemStatus.Report(ESystemItem::ControlValues, level, text); });
    mStore.Load();
    if (CProjCon* version = mDispatcher.GetControl("VER"))
        version->SetText(LANTERN_VERSION, eChangeNoApply);
    mControls.UpdateHardware();
    NMenus::Load(mMenu, mDispatcher, mLog);
}

// The password is told before anything else can fail, because nobody will ever know it otherwise.
void CDaemon::OpenAccounts(const SOptions& options)
{
    mSecurity = std::make_unique<CSecurityManager>(options.mStateDir + "/accounts.json", mLog);
    std::string password = mSecurity->GetGeneratedPassword();
    if (!password.empty())
    {
        std::cout << "account \"" << CSecurityManager::kFirstAccount << "\" created, password: " << password
                  << std::endl;
        if (CProjCon* control = mDispatcher.GetControl(CC4jSession::kGeneratedPasswordCode))
            control->SetText(password, eChangeNoApply);
    }
    CSecret::Wipe(password);
    mLogIns = std::make_unique<CLogInQueue>(*mSecurity);
    mLogIns->SetProblemObserver(
        [this](const std::string& problem) {
            mSystemStatus.Report(ESystemItem::Accounts, problem.empty() ? eStatusOk : eStatusAlarm, problem);
        });
}

// The network comes last: nobody connects to a daemon that then refuses to start.
void CDaemon::OpenServer(const SOptions& options)
{
    OpenIpc(options);
    OpenSerialPorts(options);
    OpenJsonRpc(options);
    mServer->AddWakeDescriptor(mJobTimer.GetDescriptor());
    mServer->AddWakeDescriptor(mScheduler.GetWakeDescriptor());
    mServer->AddWakeDescriptor(mSignals.GetDescriptor());
    mServer->AddWakeDescriptor(mIpc->GetDescriptor());
    mServer->AddWakeDescriptor(mSerial->GetDescriptor());
    mServer->AddWakeDescriptor(mLogIns->GetDescriptor());
}

void CDaemon::OpenIpc(const SOptions& options)
{
    // As other processes see it too: an address of theirs that is not in this folder is refused.
    const std::filesystem::path folder = std::filesystem::absolute(options.mRunDir).lexically_normal();
    mIpcName = NIpcSocket::MakeServerName(folder.string());
    mIpc = std::make_unique<CIpcEventDispatcher>(mDispatcher, mIpcName, mLog);
    mIpc->SetStatusDb(&mStatus);
}

void CDaemon::OpenSerialPorts(const SOptions& options)
{
    CVarnholtSerialParser::UpdateAddress(options.mAddress);
    CVarnholtSerialParser::UpdateRouting(options.mRouting);
    // A link over a socket would wait for the very thread that has to answer.
    const auto makeLink = [this]
    { return std::make_unique<CEventLink>(mLog, std::make_unique<CIpcLocalClient>(*mIpc)); };
    mSerial = std::make_unique<CSerialHandler>(makeLink, mSlowClock, mLog);
    mSerial->SetLogIn(mLogIns.get());
    const std::string link = NIpcSocket::GetRunDirectory(mIpcName) + "serial";
    for (const std::string& description : options.mSerialPorts)
    {
        std::unique_ptr<CCommPort> port =
            NCommPort::Open(description, link + std::to_string(mSerialNames.size()));
        mSerialNames.push_back(port->GetName());
        mSerial->AddPort(std::move(port));
    }
}

void CDaemon::OpenJsonRpc(const SOptions& options)
{
    try
    {
        mServer =
            std::make_unique<CJsonRpcServer>(mDispatcher, options.mBindAddress, options.mPort, mClock, mLog);
    }
    catch (const CException& error)
    {
        throw CException(__func__, kSource, __LINE__, false, "Unable to listen on %s port %u: %s",
                         options.mBindAddress.c_str(), unsigned{options.mPort}, NReason::Of(error).c_str());
    }
    CJsonRpcServer::SLimits limits;
    limits.mMaxClients = ChooseMaxClients(options.mMaxClients, mLog);
    limits.mMaxClientsPerPeer =
        options.mMaxPerPeer > 0 ? options.mMaxPerPeer : std::max<std::size_t>(limits.mMaxClients / 2, 1);
    limits.mMaxPendingBytes = options.mMaxPendingBytes;
    mServer->SetLimits(limits);
    mControlMethods = std::make_unique<CC4jControl>(*mServer);
    mStatusMethods = std::make_unique<CC4jStatus>(*mServer, mStatus);
    mStatusMethods->AddGroupAdditionalHandler(CStatusMonitor::kTemperatures, mTemperatureRanges);
    mMenuMethods = std::make_unique<CC4jMenu>(*mServer, mMenu);
    mSessionMethods = std::make_unique<CC4jSession>(*mServer, *mLogIns, *mSecurity,
                                                    MakeWebToken(options.mStateDir + "/web.token", mLog));
    mSystemMethods = std::make_unique<CC4jSystem>(*mServer, mScheduler);
}

void CDaemon::PrintReady(std::ostream& out) const
{
    out << "lanternd ready: json-rpc=" << mServer->GetPort() << " ipc=" << mIpcName;
    const char* separator = " serial=";
    for (const std::string& name : mSerialNames)
        out << std::exchange(separator, ",") << name;
    out << std::endl; // flushed: somebody waits for it
}

void CDaemon::Run()
{
    int signal = 0;
    for (bool isWoken = true; signal == 0; signal = isWoken ? mSignals.TakeSignal() : 0)
        isWoken = RunPass(isWoken);
    mLog.LogFYI(eFyiGeneral, "Signal %d: stopping", signal);
    CloseServer(); // nobody is told of a change that the file will not hold
    mStore.Stop();
}

void CDaemon::CloseServer()
{
    mServer->Close();
    mSerial.reset(); // before what its links talk to
    mIpc.reset();
}

bool CDaemon::RunPass(bool isWoken)
{
    try
    {
        // What wakes the wait says so: a request over the network costs no system call for anything else.
        if (isWoken)
        {
            mDispatcher.Update(); // the local IPC
            mSerial->Update();
            mLogIns->Update();
            mJobTimer.Run();
        }
        mServer->ProcessMessages();
        return mServer->IsWoken();
    }
    catch (const std::exception& error)
    {
        mLog.LogError("A pass of the loop ended early: %s", error.what());
        std::this_thread::sleep_for(kRest); // what failed may fail for ever, and must not take the whole core
        return true;
    }
}
