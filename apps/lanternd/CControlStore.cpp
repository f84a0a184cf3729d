// Compares the values as text: what is equal need not be written, and what was written is known exactly.
#include "apps/lanternd/CControlStore.h"

#include "software/bp/hwlogic/NDateTime.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/include/EError.h"
#include "software/include/ILog.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NJsonFile.h"
#include "software/utility/NReason.h"
#include "software/utility/NUtf8.h"

#include <json/value.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

namespace
{
constexpr char kSource[] = "apps/lanternd/CControlStore";
constexpr std::size_t kMaxFileSize = std::size_t{4} << 20; // bytes
constexpr int kFileVersion = 1;

bool IsKept(const CProjCon* control) noexcept
{
    return control != nullptr && control->IsPersistent() &&
           control->GetFamily().mValueForm != EValueForm::Nothing;
}

// A value that the control would cut to something else does not fit either, and the proxy, which knows dates
// and times, is not asked while values are restored.
bool RestoreText(CProjCon& control, const Json::Value& value)
{
    if (!value.isString())
        return false;
    const std::string text = value.asString();
    std::string limited = text;
    return NUtf8::IsStorable(text) && NDateTime::HasFormOf(control.GetDisplayType(), text) &&
           control.LimitText(limited, eChangeNoApply) == eErrorNone && limited == text &&
           control.SetText(text, eChangeNoApply) == eErrorNone;
}

bool RestoreNumber(CProjCon& control, const Json::Value& value)
{
    const bool isWhole = value.type() == Json::intValue || value.type() == Json::uintValue;
    if (!isWhole || !value.isInt())
        return false;
    const int number = value.asInt();
    int limited = number;
    return control.LimitValue(limited, eChangeNoApply) == eErrorNone && limited == number &&
           control.SetValue(number, eChangeNoApply) == eErrorNone;
}
} // namespace

CControlStore::CControlStore(CEventDispatcher& dispatcher, const std::string& path,
                             const IMonotonicClock& clock, ILog& log)
    : mDispatcher(dispatcher)
    , mPath(path)
    , mLog(log)
    , mLook(clock)
    , mFirstChange(clock)
    , mLastChange(clock)
    , mFailure(clock)
    , mSaver(path)
{
}

// --- Restoring ---------------------------------------------------------------------------------------------

void CControlStore::Load()
{
    std::string reason;
    const Json::Value values = ReadFile(reason);
    if (!reason.empty())
        SetAside(reason);
    Restore(values);
    // From here on only what changes is worth writing.
    mSeen = mSaved = Print();
    ClearDirty();
}

// The values by code; none, with a reason, when the file is damaged, and none without one when it is missing.
Json::Value CControlStore::ReadFile(std::string& reason) const
{
    Json::Value none(Json::objectValue);
    std::string bytes;
    try
    {
        if (!CAtomicFile::Read(mPath, bytes, kMaxFileSize))
            return none;
        if (bytes.empty())
        {
            reason = "it is empty";
            return none;
        }
        const Json::Value root = NJsonFile::ParseObject(bytes);
        if (root["version"] != kFileVersion)
            reason = "it is not of version " + std::to_string(kFileVersion);
        else if (!root["controls"].isObject())
            reason = "it has no object \"controls\"";
        else
            return root["controls"];
    }
    catch (const std::exception& error)
    {
        reason = NReason::Of(error);
    }
    return none;
}

void CControlStore::SetAside(const std::string& reason)
{
    const std::string aside = CAtomicFile::SetAside(mPath);
    if (aside.empty()) // saving would destroy what somebody may still want to look at
        throw CException(__func__, kSource, __LINE__, false, "Unable to set aside %s, which is damaged (%s)",
                         mPath.c_str(), reason.c_str());
    mLog.LogWarning(
        "Control values of %s can not be read: %s; kept as %s, controls start with their defaults",
        mPath.c_str(), reason.c_str(), aside.c_str());
    Tell(eStatusWarning, "not readable (" + reason + "), kept as " + aside + "; defaults are used");
}

void CControlStore::Restore(const Json::Value& values)
{
    for (auto value = values.begin(); value != values.end(); ++value)
        RestoreOne(value.name(), *value);
}

void CControlStore::RestoreOne(const std::string& code, const Json::Value& value)
{
    CProjCon* control = mDispatcher.GetControl(code);
    if (control == nullptr)
    {
        mForeign[code] = value;
        mLog.LogWarning("%s: no control %s; its value is kept in the file", mPath.c_str(), code.c_str());
        return;
    }
    if (!IsKept(control))
    {
        mLog.LogWarning("%s: %s is not kept any more; its value is dropped", mPath.c_str(), code.c_str());
        return;
    }
    const bool isText = control->GetFamily().mValueForm == EValueForm::Text;
    if (isText ? RestoreText(*control, value) : RestoreNumber(*control, value))
        return;
    mLog.LogWarning("%s: %s can not be %s; it starts with its default", mPath.c_str(), code.c_str(),
                    NJsonFile::PrintShort(value).c_str());
}

// --- Saving ------------------------------------------------------------------------------------------------

void CControlStore::Update()
{
    TakeOutcome();
    if (!mLook.HasTimerExpiredMs(kLookMs))
        return;
    mLook.ArmTimer();
    LookForChanges();
    if (IsTimeToSave())
        Save();
}

void CControlStore::LookForChanges()
{
    const auto& controls = mDispatcher.GetControls();
    const bool isAnyDirty =
        std::any_of(controls.begin(), controls.end(),
                    [](const auto& entry) { return IsKept(entry.second) && entry.second->IsDirty(); });
    if (!isAnyDirty)
        return;
    std::string now = Print();
    if (now != mSeen)
    {
        if (!mHasChanged)
            mFirstChange.ArmTimer();
        mHasChanged = true;
        mLastChange.ArmTimer();
        mSeen = std::move(now);
    }
    else if (!mHasChanged && mSeen == mSaved)
    {
        ClearDirty(); // announced, but the file holds it already
    }
}

bool CControlStore::IsTimeToSave() const
{
    if (mHasFailed)
        return mFailure.HasTimerExpiredMs(kRetryMs);
    return mHasChanged &&
           (mLastChange.HasTimerExpiredMs(kQuietMs) || mFirstChange.HasTimerExpiredMs(kStormMs));
}

void CControlStore::Save()
{
    mHasChanged = false;
    mFailure.ArmTimer(); // the next attempt after a failure is due only when this one had its time
    mSaver.Save(mSeen);
}

void CControlStore::TakeOutcome()
{
    const std::optional<CFileSaver::SOutcome> outcome = mSaver.TakeOutcome();
    if (!outcome)
        return;
    if (!outcome->mFailure.empty())
    {
        if (!mHasFailed)
            mLog.LogError("Control values are not saved: %s; they are kept and tried again every %u seconds",
                          outcome->mFailure.c_str(), kRetryMs / 1000);
        mHasFailed = true;
        mFailure.ArmTimer();
        Tell(eStatusAlarm, "not saved: " + outcome->mFailure);
        return;
    }
    if (mHasFailed)
        mLog.Log("Control values are saved again in %s", mPath.c_str());
    mHasFailed = false;
    Tell(eStatusOk, {});
    mSaved = outcome->mContent;
    if (Print() == mSaved)
        ClearDirty();
}

void CControlStore::Stop()
{
    TakeOutcome();
    mSeen = Print();
    if (mSeen != mSaved || mHasFailed)
        Save();
    mSaver.Stop();
    TakeOutcome();
    if (mHasFailed) // what was said of a later try holds no longer
        mLog.LogError("Control values that changed are lost: %s keeps those that it held before",
                      mPath.c_str());
}

void CControlStore::Tell(EStatusLevel level, const std::string& text)
{
    if (mTroubleHandler)
        mTroubleHandler(level, text);
}

Json::Value CControlStore::ValueOf(const CProjCon& control) const
{
    if (control.GetFamily().mValueForm == EValueForm::Text)
        return control.GetStoredText();
    return mLastingValue ? mLastingValue(control) : control.GetValue();
}

std::string CControlStore::Print() const
{
    Json::Value root;
    root["version"] = kFileVersion;
    Json::Value& values = root["controls"] = mForeign;
    for (const auto& [code, control] : mDispatcher.GetControls())
        if (IsKept(control))
            values[code] = ValueOf(*control);
    return NJsonFile::Print(root);
}

void CControlStore::ClearDirty()
{
    for (const auto& entry : mDispatcher.GetControls())
        if (IsKept(entry.second))
            entry.second->ClearDirty();
}
