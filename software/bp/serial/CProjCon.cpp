// The rules of controls: construction, limits, changes, lists.
#include "software/bp/serial/CProjCon.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/IControlProxy.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/include/EError.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iterator>
#include <optional>
#include <utility>

#include <arpa/inet.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CProjCon";
constexpr unsigned kMaxDecimals = 7;

// Lengths of texts in bytes: those of the types that fix their own.
struct STextBounds
{
    EDisplayType mType;
    int mMinimum;
    int mMaximum;
};
constexpr STextBounds kFixedBounds[] = {
    {eDisplayDate, 10, 10},
    {eDisplayTime, 8, 8},
    {eDisplayIpAddress, 7, 15},
};
constexpr EDisplayType kFreeTexts[] = {eDisplayText, eDisplayLongText, eDisplayMultiline};

/// The lengths a text type has; none for a type that is no text.
std::optional<STextBounds> BoundsOf(EDisplayType type, int minimum, int maximum)
{
    if (std::find(std::begin(kFreeTexts), std::end(kFreeTexts), type) != std::end(kFreeTexts))
        return STextBounds{type, minimum, maximum};
    const auto fixed = std::find_if(std::begin(kFixedBounds), std::end(kFixedBounds),
                                    [=](const STextBounds& bounds) { return bounds.mType == type; });
    if (fixed == std::end(kFixedBounds))
        return std::nullopt;
    return *fixed;
}

/// Upper bound first, then the lower one, which therefore wins where they are crossed.
int Clamp(int value, int minimum, int maximum) noexcept
{
    return std::max(std::min(value, maximum), minimum);
}

bool ReachesDisabled(EChangeMode mode) noexcept
{
    return (mode & (eChangeHardware | eChangeNoApply)) != 0;
}

bool HasLengthBetween(const std::string& text, int minimum, int maximum) noexcept
{
    const auto length = static_cast<long long>(text.size());
    return length >= minimum && length <= maximum;
}

constexpr int kAddressParts = 4;

bool IsBlank(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// One number as scanf's "%d" takes it (blanks and a sign may stand before it), except that one of too many
/// digits stays large instead of being undefined. @returns false, with the position untouched, when there is
/// no number
bool ScanNumber(const char*& position, int& number) noexcept
{
    constexpr int kLarge = 100000;
    const char* at = position;
    while (IsBlank(*at))
        ++at;
    const bool isNegative = *at == '-';
    if (*at == '-' || *at == '+')
        ++at;
    if (*at < '0' || *at > '9')
        return false;
    int result = 0;
    for (; *at >= '0' && *at <= '9'; ++at)
        result = std::min(result * 10 + (*at - '0'), kLarge);
    number = isNegative ? -result : result;
    position = at;
    return true;
}

/// Scans "%d.%d.%d.%d": what stands behind the fourth number is not looked at, a part that is missing stays
/// -1.
void ScanAddress(const std::string& text, int (&parts)[kAddressParts]) noexcept
{
    std::fill(std::begin(parts), std::end(parts), -1);
    const char* position = text.c_str();
    for (int i = 0; i < kAddressParts; ++i)
    {
        if (i > 0 && *position++ != '.')
            return;
        if (!ScanNumber(position, parts[i]))
            return;
    }
}
} // namespace

struct CProjCon::SIdentity
{
    EDisplayType mType;
    CEventDispatcher& mDispatcher;
    IControlProxy& mProxy;
    bool mPersistent;
    EAccessLevel mAccessGroup;
    int mNameId;
    int mHelpId;
    bool mReadOnly;
};

// --- Construction ------------------------------------------------------------------------------------------

CProjCon::CProjCon(const SIdentity& identity)
    : mDispatcher(identity.mDispatcher)
    , mProxy(identity.mProxy)
    , mPersistent(identity.mPersistent)
    , mEnabled(!identity.mReadOnly)
    , mReadOnly(identity.mReadOnly)
    , mNameId(identity.mNameId)
    , mHelpId(identity.mHelpId)
    , mAccessGroup(identity.mAccessGroup)
    , mType(identity.mType)
    , mFamily(&GetControlFamily(identity.mType))
{
}

CProjCon::CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy,
                   const std::string& code, bool persistent, int minimum, int maximum, int defaultValue,
                   EAccessLevel accessGroup, int nameId, int helpId, unsigned char decimals, bool readOnly)
    : CProjCon(SIdentity{type, dispatcher, proxy, persistent, accessGroup, nameId, helpId, readOnly})
{
    if (minimum > maximum)
        throw CException(__func__, kSource, __LINE__, false, "Invalid min/max range %d < %d", minimum,
                         maximum);
    if (defaultValue < minimum || defaultValue > maximum)
        throw CException(__func__, kSource, __LINE__, false, "Invalid default value %d < %d < %d", minimum,
                         defaultValue, maximum);
    if (mFamily->mFamily != EControlFamily::Integer)
        throw CException(__func__, kSource, __LINE__, false, "Invalid integer type %d", type);
    SetDecimals(decimals);
    mMinimum = mSoftMinimum = minimum;
    mMaximum = mSoftMaximum = maximum;
    mSoftValue = defaultValue;
    AddToDispatcher(code);
    StoreDefault(defaultValue);
}

CProjCon::CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy,
                   const std::string& code, bool persistent, bool defaultValue, EAccessLevel accessGroup,
                   int nameId, int helpId, bool readOnly)
    : CProjCon(SIdentity{type, dispatcher, proxy, persistent, accessGroup, nameId, helpId, readOnly})
{
    if (mFamily->mFamily != EControlFamily::Boolean)
        throw CException(__func__, kSource, __LINE__, false, "Invalid boolean type %d", type);
    mType = eDisplayBoolean;
    mMaximum = mSoftMaximum = 1;
    AddToDispatcher(code);
    StoreDefault(defaultValue ? 1 : 0);
}

CProjCon::CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy,
                   const std::string& code, bool persistent, EAccessLevel accessGroup, int nameId, int helpId,
                   int continueId, bool readOnly)
    : CProjCon(SIdentity{type, dispatcher, proxy, persistent, accessGroup, nameId, helpId, readOnly})
{
    if (mFamily->mFamily != EControlFamily::Action)
        throw CException(__func__, kSource, __LINE__, false, "Invalid action type %d", type);
    mType = eDisplayAction;
    mContinueId = continueId;
    AddToDispatcher(code);
}

CProjCon::CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy,
                   const std::string& code, bool persistent, int defaultValue, EAccessLevel accessGroup,
                   int nameId, int helpId, bool readOnly)
    : CProjCon(SIdentity{type, dispatcher, proxy, persistent, accessGroup, nameId, helpId, readOnly})
{
    if (mFamily->mFamily != EControlFamily::List)
        throw CException(__func__, kSource, __LINE__, false, "Invalid list type %d", type);
    mDefaultValue = mValue = defaultValue; // whether it is a choice shows when the list is there
    AddToDispatcher(code);
}

CProjCon::CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy,
                   const std::string& code, bool persistent, int minimumLength, int maximumLength,
                   const std::string& defaultText, EAccessLevel accessGroup, int nameId, int helpId,
                   bool readOnly)
    : CProjCon(SIdentity{type, dispatcher, proxy, persistent, accessGroup, nameId, helpId, readOnly})
{
    const std::optional<STextBounds> bounds = BoundsOf(type, minimumLength, maximumLength);
    if (!bounds)
        throw CException(__func__, kSource, __LINE__, false, "Invalid string type %d", type);
    mMinimum = mSoftMinimum = bounds->mMinimum;
    mMaximum = mSoftMaximum = bounds->mMaximum;
    if (mMinimum > mMaximum)
        throw CException(__func__, kSource, __LINE__, false, "Invalid min/max range %d < %d", mMinimum,
                         mMaximum);
    if (!HasLengthBetween(defaultText, mMinimum, mMaximum))
        throw CException(__func__, kSource, __LINE__, false, "Invalid default string length %d < %s < %d",
                         mMinimum, defaultText.c_str(), mMaximum);
    AddToDispatcher(code);
    StoreDefault(defaultText);
}

CProjCon::CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy,
                   const std::string& code, int nameId, int helpId, const std::string& iconPath)
    : CProjCon(SIdentity{type, dispatcher, proxy, false, eAccessOperator, nameId, helpId, false})
{
    if (mFamily->mFamily != EControlFamily::Menu && mFamily->mFamily != EControlFamily::Custom)
        throw CException(__func__, kSource, __LINE__, false, "Invalid menu/custom type %d", type);
    mIconPath = iconPath;
    AddToDispatcher(code);
}

CProjCon::~CProjCon()
{
    mDispatcher.ForgetControl(*this, false);
}

void CProjCon::AddToDispatcher(const std::string& code)
{
    mCode = code;
    if (!NAsciiCodeUtils::ValidateCode(mCode))
        throw CException(__func__, kSource, __LINE__, false, "%s Invalid control code", code.c_str());
    if (!mDispatcher.AddControl(*this))
        throw CException(__func__, kSource, __LINE__, false, "%s Control already exists.", mCode.c_str());
}

// The default is in place before it is set, so that setting it changes, announces and dirties nothing.
void CProjCon::StoreDefault(int value)
{
    mDefaultValue = mValue = value;
    const std::uint32_t error = SetValue(value, eChangeNoApply);
    if (error == eErrorNone)
        return;
    mDispatcher.ForgetControl(*this, true);
    throw CException(__func__, kSource, __LINE__, false, "Add Control %s invalid default value: %d.  Err: %d",
                     mCode.c_str(), value, static_cast<int>(error));
}

void CProjCon::StoreDefault(const std::string& text)
{
    mDefaultText = mText = text;
    const std::uint32_t error = SetText(text, eChangeNoApply);
    mDirty = false; // an address may have been normalised: that is the default, not a change
    if (error == eErrorNone)
        return;
    mDispatcher.ForgetControl(*this, true);
    throw CException(__func__, kSource, __LINE__, false, "Add Control %s invalid default value: %s.  Err: %d",
                     mCode.c_str(), text.c_str(), static_cast<int>(error));
}

// --- Limits ------------------------------------------------------------------------------------------------

bool CProjCon::AcceptsChange(EChangeMode mode) const noexcept
{
    return mEnabled || ReachesDisabled(mode);
}

std::uint32_t CProjCon::LimitValue(int& value, EChangeMode mode) const
{
    switch (mFamily->mValueRule)
    {
    case EValueRule::Clamp:
        value = Clamp(value, mMinimum, mMaximum);
        if (HasSoftRange(mType) && mSoftMinimumActive)
            value = std::max(value, mSoftMinimum);
        if (HasSoftRange(mType) && mSoftMaximumActive)
            value = std::min(value, mSoftMaximum);
        return eErrorNone;
    case EValueRule::Entry: return LimitToEntry(value, mode);
    case EValueRule::Default: value = mDefaultValue; return eErrorNone;
    case EValueRule::Refuse: break;
    }
    return eErrorWrongControlType;
}

std::uint32_t CProjCon::LimitToEntry(int value, EChangeMode mode) const noexcept
{
    const SListEntry* entry = FindListEntry(value);
    if (entry == nullptr)
        return eErrorInvalidValue;
    return entry->mEnabled || ReachesDisabled(mode) ? eErrorNone : eErrorDisabledControl;
}

std::uint32_t CProjCon::LimitText(std::string& text, EChangeMode) const
{
    switch (mType)
    {
    case eDisplayText:
    case eDisplayLongText:
    case eDisplayMultiline:
        if (mMaximum >= 0 && text.size() > static_cast<std::size_t>(mMaximum))
            text.resize(NUtf8::CutLength(text, static_cast<std::size_t>(mMaximum)));
        return static_cast<long long>(text.size()) < mMinimum ? eErrorInvalidValue : eErrorNone;
    case eDisplayDate:
    case eDisplayTime: return eErrorNone; // their form is the proxy's business
    case eDisplayIpAddress: return LimitToAddress(text);
    default: return eErrorWrongControlType;
    }
}

std::uint32_t CProjCon::LimitToAddress(std::string& text) const
{
    if (!HasLengthBetween(text, mMinimum, mMaximum))
        return eErrorInvalidValue;
    int parts[kAddressParts];
    ScanAddress(text, parts);
    if (std::any_of(std::begin(parts), std::end(parts), [](int part) { return part < 0 || part > 255; }))
        return eErrorInvalidValue;
    char normalised[INET_ADDRSTRLEN];
    std::snprintf(normalised, sizeof normalised, "%d.%d.%d.%d", parts[0], parts[1], parts[2], parts[3]);
    in_addr address{};
    if (inet_pton(AF_INET, normalised, &address) != 1)
    {
        mDispatcher.GetLog().LogWarning("Invalid IP address, verification failed (%s)", normalised);
        return eErrorInvalidValue;
    }
    text = normalised;
    return eErrorNone;
}

// --- Changes -----------------------------------------------------------------------------------------------

std::uint32_t CProjCon::SetValue(int value, EChangeMode mode)
{
    if (!AcceptsChange(mode))
        return eErrorDisabledControl;
    int limited = value;
    if (const std::uint32_t error = LimitValue(limited, mode); error != eErrorNone)
        return error;

    const int old = mValue;
    const bool isChange = limited != old || mFamily->mAlwaysApplies;
    mValue = limited; // before it is applied: a proxy may correct it from within
    if ((mode & eChangeNoApply) == 0 && !ApplyValue(limited))
    {
        mDispatcher.GetLog().LogWarning("%s ApplyValue(%d) failed!!! reverting value: %d", mCode.c_str(),
                                        limited, old);
        mValue = old;
        AnnounceValue(); // so that clients see what is there again
        return eErrorHardware;
    }
    const bool isCorrected = mValue != limited; // by the proxy, which announced it
    if (!isCorrected && (isChange || limited != value || mFamily->mAlwaysNotifies))
        AnnounceValue();
    return eErrorNone;
}

std::uint32_t CProjCon::SetText(const std::string& text, EChangeMode mode)
{
    if (!AcceptsChange(mode))
        return eErrorDisabledControl;
    std::string limited = text;
    if (const std::uint32_t error = LimitText(limited, mode); error != eErrorNone)
        return error;

    const bool isChange = limited != mText;
    std::string old = std::exchange(mText, limited); // before it is applied, as above
    if ((mode & eChangeNoApply) == 0 && !ApplyText(limited))
    {
        mDispatcher.GetLog().LogWarning("%s ApplyText(%s) failed!!! reverting text: %s", mCode.c_str(),
                                        limited.c_str(), old.c_str());
        mText = std::move(old);
        return eErrorHardware;
    }
    if (isChange)
        AnnounceValue();
    return eErrorNone;
}

// A proxy reaches hardware, which throws; a change answers with a code.
bool CProjCon::ApplyValue(int value)
{
    try
    {
        return mProxy.ApplyValue(mCode, value);
    }
    catch (const std::exception& e)
    {
        mDispatcher.GetLog().LogError("%s could not be applied: %s", mCode.c_str(), e.what());
        return false;
    }
}

bool CProjCon::ApplyText(const std::string& text)
{
    try
    {
        return mProxy.ApplyText(mCode, text);
    }
    catch (const std::exception& e)
    {
        mDispatcher.GetLog().LogError("%s could not be applied: %s", mCode.c_str(), e.what());
        return false;
    }
}

void CProjCon::SetRange(int minimum, int maximum, EChangeMode mode)
{
    mMinimum = minimum;
    mMaximum = maximum;
    if (HasSoftRange(mType))
    {
        mSoftMinimum = std::max(mSoftMinimum, minimum);
        mSoftMaximum = std::min(mSoftMaximum, maximum);
    }
    else
    {
        mSoftMinimum = minimum;
        mSoftMaximum = maximum;
    }
    const bool isOutside = mValue < minimum || mValue > maximum;
    if (mFamily->mFamily != EControlFamily::List && isOutside)
        SetValue(mValue < minimum ? minimum : maximum, mode);
    Announce(eNotifyRange);
}

void CProjCon::SetSoftRange(int softMinimum, bool softMinimumActive, int softMaximum, bool softMaximumActive,
                            EChangeMode mode)
{
    if (!HasSoftRange(mType))
        return;
    mSoftMinimum = Clamp(softMinimum, mMinimum, mMaximum);
    mSoftMaximum = Clamp(softMaximum, mMinimum, mMaximum);
    mSoftMinimumActive = softMinimumActive;
    mSoftMaximumActive = softMaximumActive;
    if (mSoftMinimumActive && mValue < mSoftMinimum)
        SetValue(mSoftMinimum, mode);
    if (mSoftMaximumActive && mValue > mSoftMaximum)
        SetValue(mSoftMaximum, mode);
    Announce(eNotifyRange);
}

void CProjCon::SetSoftValue(int value, EChangeMode)
{
    if (!HasSoftValue(mType))
        return;
    mSoftValue = Clamp(value, mMinimum, mMaximum);
    Announce(eNotifyRange);
}

void CProjCon::SetDefaultValue(int value)
{
    if (value == mDefaultValue)
        return;
    int limited = value;
    if (LimitValue(limited, eChangeNormal) != eErrorNone)
        throw CException(__func__, kSource, __LINE__, false, "New default value for %s (%d) is not valid",
                         mCode.c_str(), value);
    mDefaultValue = limited;
}

void CProjCon::SetDefaultText(const std::string& text)
{
    if (text == mDefaultText)
        return;
    std::string limited = text;
    if (LimitText(limited, eChangeNormal) != eErrorNone)
        throw CException(__func__, kSource, __LINE__, false, "New default value for %s (%s) is not valid",
                         mCode.c_str(), text.c_str());
    mDefaultText = text;
}

void CProjCon::Refresh(EChangeMode mode)
{
    if ((mode & eChangeNoApply) != 0)
        Announce(eNotifyValue);
    else if (!mFamily->mRefreshes)
        return;
    else if (mFamily->mFamily == EControlFamily::Text)
        SetText(GetText(), mode);
    else
        SetValue(GetValue(), mode);
}

bool CProjCon::UpdateHardware()
{
    const std::uint32_t error = mFamily->mFamily == EControlFamily::Text ? SetText(mText, eChangeHardware)
                                                                         : SetValue(mValue, eChangeHardware);
    if (error != eErrorNone)
        mDispatcher.GetLog().LogError("%s UpdateHardware() failed", mCode.c_str());
    return error == eErrorNone;
}

void CProjCon::Announce(ENotifyType type)
{
    mDispatcher.SendNotificationMessage(*this, type);
}

void CProjCon::AnnounceValue()
{
    mDirty = mDirty || mPersistent;
    Announce(eNotifyValue);
}

// --- Whether it may be changed -----------------------------------------------------------------------------

void CProjCon::SetReserved(bool reserved)
{
    mReserved = reserved;
    UpdateEnabled();
}

void CProjCon::SetReadOnly(bool readOnly)
{
    mReadOnly = readOnly;
    UpdateEnabled();
}

void CProjCon::SetLocked(bool locked)
{
    mLocked = locked;
    UpdateEnabled();
}

void CProjCon::SetProgEnabled(bool enabled)
{
    mProgEnabled = enabled;
    UpdateEnabled();
}

void CProjCon::UpdateEnabled()
{
    const bool enabled = mProgEnabled && !mReserved && !mReadOnly && !mLocked;
    if (enabled == mEnabled)
        return;
    mEnabled = enabled;
    Announce(eNotifyEnabled);
}

// --- Choices -----------------------------------------------------------------------------------------------

void CProjCon::AddList(const std::vector<SListEntry>& entries)
{
    if (mFamily->mFamily != EControlFamily::List)
        return;
    mList = entries;
    UpdateListRange(eChangeNormal);
}

void CProjCon::SetListEntry(const SListEntry& entry)
{
    if (mFamily->mFamily != EControlFamily::List)
        return;
    mList.push_back(entry);
    mMinimum = 0;
    mMaximum = static_cast<int>(mList.size());
}

void CProjCon::RemoveListEntry(int value)
{
    if (mFamily->mFamily != EControlFamily::List)
        return;
    const auto entry =
        std::find_if(mList.begin(), mList.end(), [=](const SListEntry& e) { return e.mValue == value; });
    if (entry != mList.end())
        mList.erase(entry);
}

void CProjCon::ClearList()
{
    if (mFamily->mFamily == EControlFamily::List)
        mList.clear();
}

void CProjCon::UpdateListRange(EChangeMode mode)
{
    if (mFamily->mFamily != EControlFamily::List)
        return;
    mMinimum = 0;
    mMaximum = static_cast<int>(mList.size());
    if (!mList.empty() && LimitToEntry(mValue, mode) != eErrorNone)
    {
        const bool isDefaultChoice = LimitToEntry(mDefaultValue, mode) == eErrorNone;
        SetValue(isDefaultChoice ? mDefaultValue : mList.front().mValue, mode);
    }
    Announce(eNotifyList);
}

const SListEntry* CProjCon::FindListEntry(int value) const noexcept
{
    const auto entry =
        std::find_if(mList.begin(), mList.end(), [=](const SListEntry& e) { return e.mValue == value; });
    return entry == mList.end() ? nullptr : &*entry;
}

bool CProjCon::GetListEntry(int value, SListEntry& entry) const
{
    const SListEntry* found = FindListEntry(value);
    if (found == nullptr)
        return false;
    entry = *found;
    return true;
}

bool CProjCon::GetListEntry(const std::string& text, SListEntry& entry) const
{
    const auto found = std::find_if(
        mList.begin(), mList.end(),
        [&](const SListEntry& e) { return e.mText == text || (e.mTextId != 0 && GetEntryText(e) == text); });
    if (found == mList.end())
        return false;
    entry = *found;
    return true;
}

std::string CProjCon::GetEntryText(const SListEntry& entry) const
{
    return entry.mTextId == 0 ? entry.mText : mDispatcher.GetText(entry.mTextId);
}

// --- What it is --------------------------------------------------------------------------------------------

double CProjCon::GetScalingFactor() const noexcept
{
    return std::pow(10.0, -static_cast<double>(mDecimals));
}

void CProjCon::SetDecimals(unsigned char decimals)
{
    if (decimals > kMaxDecimals)
        throw CException(__func__, kSource, __LINE__, false, "Invalid number of decimals %d", decimals);
    mDecimals = decimals;
}

std::string CProjCon::GetNameText() const
{
    return mDispatcher.GetText(mNameId);
}

std::string CProjCon::GetHelpText() const
{
    return mDispatcher.GetText(mHelpId);
}

std::string CProjCon::GetConfirmText() const
{
    return mDispatcher.GetText(mConfirmId);
}

std::string CProjCon::GetContinueText() const
{
    return mDispatcher.GetText(mContinueId);
}

std::string CProjCon::GetWaitText() const
{
    return mDispatcher.GetText(mWaitId);
}
