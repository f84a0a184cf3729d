// Keeps the values of persistent controls across restarts.
#pragma once

#include "apps/lanternd/CFileSaver.h"
#include "software/bp/status/SStatus.h"
#include "software/utility/CTimer.h"

#include <json/value.h>

#include <functional>
#include <string>
#include <utility>

class CEventDispatcher;
class CProjCon;
class ILog;
class IMonotonicClock;

/// One file, {"version": 1, "controls": {"LUM": 735, "NME": "...", ...}}, replaced as a whole by a thread of
/// its own. A change is on the medium within a second of the last one of a series, and of a series without
/// end at most five seconds are lost. When saving fails, everything stays to be saved and is tried again
/// every five seconds. Codes that the file holds and this projector does not have are kept in it, so that a
/// version that has them finds them again. Dispatcher, clock and log are not owned and must outlive it. Used
/// from the loop's thread.
class CControlStore
{
public:
    /// @param path   file to keep the values in
    /// @param clock  one that does not wrap within minutes
    CControlStore(CEventDispatcher& dispatcher, const std::string& path, const IMonotonicClock& clock,
                  ILog& log);
    CControlStore(const CControlStore&) = delete;
    CControlStore& operator=(const CControlStore&) = delete;

    using LastingValue = std::function<int(const CProjCon& control)>;
    using TroubleHandler = std::function<void(EStatusLevel level, const std::string& text)>;

    /// Says what of a number is kept, where that is not the present one. Before `Load`.
    void SetLastingValue(LastingValue value) { mLastingValue = std::move(value); }
    /// Is told when a file was set aside (a warning), when saving fails (an alarm), and when the values are
    /// saved again (OK, with an empty text).
    void SetTroubleHandler(TroubleHandler handler) { mTroubleHandler = std::move(handler); }

    /// Sets every persistent control to what the file holds, without applying it. A missing file leaves the
    /// defaults. One that cannot be read as a whole is set aside, with a warning, and leaves the defaults
    /// too; single values that no longer fit leave the default of their control, each with a warning.
    /// @throws CException "Unable to set aside %s, which is damaged (%s)"
    void Load();

    void Update(); ///< one step of the loop: notices changes, and has them saved when it is time

    /// Saves what is not saved yet, and waits for it. Nothing is saved afterwards.
    void Stop();

    static constexpr unsigned kLookMs = 100;   ///< how often changes are looked for
    static constexpr unsigned kQuietMs = 400;  ///< after the last change it is saved
    static constexpr unsigned kStormMs = 3000; ///< after the first one it is saved in any case
    static constexpr unsigned kRetryMs = 5000; ///< after a failure

private:
    Json::Value ReadFile(std::string& reason) const;
    void SetAside(const std::string& reason);
    void Restore(const Json::Value& values);
    void RestoreOne(const std::string& code, const Json::Value& value);

    void LookForChanges();
    bool IsTimeToSave() const;
    void Save();
    void TakeOutcome();
    void Tell(EStatusLevel level, const std::string& text);
    Json::Value ValueOf(const CProjCon& control) const;
    std::string Print() const;
    void ClearDirty();

    CEventDispatcher& mDispatcher;
    const std::string mPath;
    ILog& mLog;
    Json::Value mForeign{Json::objectValue}; // values of codes that this projector does not have
    std::string mSeen;                       // the values as they were last looked at
    std::string mSaved;                      // what the file holds
    bool mHasChanged = false;                // `mSeen` has not been given to the saver yet
    bool mHasFailed = false;                 // the last attempt did not work
    LastingValue mLastingValue;              // may be empty, and so may the other
    TroubleHandler mTroubleHandler;
    CTimer mLook;        // since changes were last looked for
    CTimer mFirstChange; // of those that were not given to the saver
    CTimer mLastChange;
    CTimer mFailure; // since it was noticed
    CFileSaver mSaver;
};
