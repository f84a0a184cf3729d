// The registry of controls, and the point from which every change is announced.
#pragma once

#include "software/bp/serial/CNotificationManager.h"
#include "software/bp/serial/ENotifyType.h"

#include <list>
#include <map>
#include <string>
#include <string_view>

class CCustomEventHandler;
class CProjCon;
class CTextCatalog;
class IControlNotifier;
class IIpcServer;
class ILog;

/// Finds controls and custom handlers by code and tells the front ends of changes. It owns none of them:
/// whoever made one removes it, and the dispatcher outlives them all. Used from the one thread that runs the
/// loop.
class CEventDispatcher
{
public:
    using ControlMap = std::map<std::string, CProjCon*, std::less<>>;

    explicit CEventDispatcher(ILog& log);
    CEventDispatcher(const CEventDispatcher&) = delete;
    CEventDispatcher& operator=(const CEventDispatcher&) = delete;

    /// @returns false when the code is taken; custom handlers have codes of their own
    bool AddControl(CProjCon& control);
    void RemoveControl(const std::string& code);
    CProjCon* GetControl(std::string_view code) const noexcept; ///< null when there is none
    /// Every control by ascending code. A null pointer is a code whose control failed to construct.
    const ControlMap& GetControls() const noexcept { return mControls; }

    bool AddCustomHandler(CCustomEventHandler& handler); ///< false when the code is taken
    void RemoveCustomHandler(const std::string& code);
    CCustomEventHandler* GetCustomHandler(std::string_view code) const noexcept; ///< null when there is none

    /// Tells every subscriber of the control, on whichever front end, before it returns. A subscriber may
    /// change a control from within; changes nested deeper than `kMaxNesting` are stored but not announced,
    /// and logged.
    void SendNotificationMessage(const CProjCon& control, ENotifyType type);

    void GetIpcNotifyRecipientList(const std::string& code, std::list<std::string>& recipients) const;
    void GetC4jNotifyRecipientList(const std::string& code, std::list<std::string>& recipients) const;
    CNotificationManager& GetNotificationManager() noexcept { return mNotificationManager; }
    const CNotificationManager& GetNotificationManager() const noexcept { return mNotificationManager; }

    /// The front ends that announce changes; null takes one away. Neither is owned.
    void SetControlNotifier(IControlNotifier* notifier) noexcept { mControlNotifier = notifier; }
    void SetIpcServer(IIpcServer* server) noexcept { mIpcServer = server; }

    /// Lends the texts of names, help and questions; null: every id shows as "#id". Must outlive its use.
    void SetTextCatalog(const CTextCatalog* catalog) noexcept { mTextCatalog = catalog; }
    std::string GetText(int textId) const; ///< in the catalogue's language; empty for id 0

    /// One step of the owner's loop: lets the local IPC server process what has arrived.
    void Update();

    ILog& GetLog() const noexcept { return mLog; }

    static constexpr unsigned kMaxNesting = 8;

private:
    friend class CProjCon; // gives up its entry when its constructor fails, and when it goes without being
                           // removed

    void ForgetControl(const CProjCon& control, bool keepCode) noexcept;

    ControlMap mControls;
    std::map<std::string, CCustomEventHandler*, std::less<>> mCustomHandlers;
    CNotificationManager mNotificationManager;
    IControlNotifier* mControlNotifier = nullptr;
    IIpcServer* mIpcServer = nullptr;
    const CTextCatalog* mTextCatalog = nullptr;
    unsigned mNesting = 0;
    ILog& mLog;
};
