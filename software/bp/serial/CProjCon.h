// One control: a named, typed setting of the projector.
#pragma once

#include "software/bp/serial/EChangeMode.h"
#include "software/bp/serial/EDisplayType.h"
#include "software/bp/serial/ENotifyType.h"
#include "software/bp/serial/SListEntry.h"
#include "software/include/EAccessLevel.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class CEventDispatcher;
class IControlProxy;

/// A setting with its range, texts, access group and enabled state. A change is limited, applied through the
/// proxy and announced to every subscriber before the changing call returns. The control registers itself
/// with the dispatcher by code; its owner calls `CEventDispatcher::RemoveControl` before destroying it (one
/// that is forgotten removes itself). Dispatcher and proxy are not owned and must outlive it. Used from the
/// loop's thread.
///
/// Changes return 0 or an `EError`: 103 the operation is not one of this type, 104 the value is not
/// acceptable, 105 the control or the list entry is disabled, 112 the hardware refused.
class CProjCon
{
public:
    /// Every constructor throws `CException`: "%s Invalid control code", "%s Control already exists.", and
    /// those named with it. The value starts as the default; the hardware hears of it by `UpdateHardware` or
    /// `Refresh`. A control that fails after it was registered (invalid default) leaves its code taken,
    /// without a control, until `RemoveControl`.

    /// Integer, 200 to 299. @param decimals  how many of the value's digits stand behind the point, 0 to 7
    /// @throws CException "Invalid integer type %d", "Invalid min/max range %d < %d", "Invalid default value
    /// %d < %d
    ///         < %d", "Invalid number of decimals %d", "Add Control %s invalid default value: %d.  Err: %d"
    CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy, const std::string& code,
             bool persistent, int minimum, int maximum, int defaultValue, EAccessLevel accessGroup,
             int nameId, int helpId, unsigned char decimals, bool readOnly);

    /// Boolean, 100 to 199, kept as 100. @throws CException "Invalid boolean type %d"
    CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy, const std::string& code,
             bool persistent, bool defaultValue, EAccessLevel accessGroup, int nameId, int helpId,
             bool readOnly);

    /// Action, 500 to 599, kept as 500. @throws CException "Invalid action type %d"
    CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy, const std::string& code,
             bool persistent, EAccessLevel accessGroup, int nameId, int helpId, int continueId,
             bool readOnly);

    /// List, 400 to 499; the entries follow by `AddList`. @throws CException "Invalid list type %d"
    CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy, const std::string& code,
             bool persistent, int defaultValue, EAccessLevel accessGroup, int nameId, int helpId,
             bool readOnly);

    /// Text: 300, 301 and 303 between the given lengths in bytes; 304 (10), 305 (8) and 306 (7 to 15) have
    /// their own.
    /// @throws CException "Invalid string type %d", "Invalid min/max range %d < %d", "Invalid default string
    /// length
    ///         %d < %s < %d", "Add Control %s invalid default value: %s.  Err: %d"
    CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy, const std::string& code,
             bool persistent, int minimumLength, int maximumLength, const std::string& defaultText,
             EAccessLevel accessGroup, int nameId, int helpId, bool readOnly);

    /// Menu or custom entry, 600 to 799. @throws CException "Invalid menu/custom type %d"
    CProjCon(EDisplayType type, CEventDispatcher& dispatcher, IControlProxy& proxy, const std::string& code,
             int nameId, int helpId, const std::string& iconPath);

    CProjCon(const CProjCon&) = delete;
    CProjCon& operator=(const CProjCon&) = delete;

    virtual ~CProjCon();
    virtual std::string GetText() const { return mText; } ///< what `Refresh` sets again

    // --- Changing it ---------------------------------------------------------------------------------------

    /// Setting the value it has applies it again and announces nothing, unless it was limited or the control
    /// is a menu or custom entry. A refusal of the hardware restores the old value, announces that, and gives
    /// 112.
    std::uint32_t SetValue(int value, EChangeMode mode = eChangeNormal);
    /// As `SetValue`, but a refusal of the hardware restores the old text without a word to anybody.
    std::uint32_t SetText(const std::string& text, EChangeMode mode = eChangeNormal);

    std::uint32_t LimitValue(int& value, EChangeMode mode) const; ///< brings a candidate into what may be set
    std::uint32_t LimitText(std::string& text, EChangeMode mode) const;

    bool ApplyValue(int value); ///< hands a value to the hardware and does nothing else
    bool ApplyText(const std::string& text);

    /// A value outside the new range is set to its nearer end. Whether min <= max is the caller's business.
    void SetRange(int minimum, int maximum, EChangeMode mode = eChangeNormal);
    /// Types 203 and 204 only. The bounds are cut to the range; a value outside an active one is set to it.
    void SetSoftRange(int softMinimum, bool softMinimumActive, int softMaximum, bool softMaximumActive,
                      EChangeMode mode = eChangeNormal);
    /// Type 204 only. Cut to the range; the value itself is not touched.
    void SetSoftValue(int value, EChangeMode mode = eChangeNormal);

    /// @throws CException "New default value for %s (%d) is not valid"; texts: "New default value for %s (%s)
    /// is
    ///         not valid"
    void SetDefaultValue(int value);
    void SetDefaultText(const std::string& text); ///< kept as given, also where setting it would cut it

    void Refresh(EChangeMode mode = eChangeNormal); ///< sets it to what it is; with 8 only announces it
    bool UpdateHardware();                          ///< brings the hardware to what is stored; logs a failure

    // --- Whether it may be changed -------------------------------------------------------------------------

    void SetReserved(bool reserved);
    void SetReadOnly(bool readOnly);
    void SetLocked(bool locked);
    void SetProgEnabled(bool enabled);
    bool GetEnabled() const noexcept { return mEnabled; } ///< program-enabled, and none of the other three
    bool IsReserved() const noexcept { return mReserved; }
    bool IsReadOnly() const noexcept { return mReadOnly; }
    bool IsLocked() const noexcept { return mLocked; }

    // --- Choices; nothing of this does anything on a control that is not a list ----------------------------

    void AddList(const std::vector<SListEntry>& entries); ///< replaces the list, then `UpdateListRange`
    void SetListEntry(const SListEntry& entry); ///< appends; a second entry of a value stands behind it
    void RemoveListEntry(int value);            ///< the first of that value; range and clients unchanged
    void ClearList();                           ///< range and clients unchanged
    /// The range of a list is 0 to its number of entries. A value that is no longer a choice gives way to the
    /// default, or to the first entry. Announces the list.
    void UpdateListRange(EChangeMode mode);
    bool GetListEntry(int value, SListEntry& entry) const;
    /// By its displayed text: the literal one or, where it has a text id, the translation.
    bool GetListEntry(const std::string& text, SListEntry& entry) const;
    const SListEntry* FindListEntry(int value) const noexcept; ///< the first of that value, or null
    const std::vector<SListEntry>& GetList() const noexcept { return mList; }
    void GetList(std::vector<SListEntry>& entries) const { entries = mList; }
    std::size_t GetListSize() const noexcept { return mList.size(); }
    std::string GetEntryText(const SListEntry& entry) const; ///< the name a person sees

    // --- What it is ----------------------------------------------------------------------------------------

    const std::string& GetCode() const noexcept { return mCode; }
    EDisplayType GetDisplayType() const noexcept { return mType; }
    const SControlFamily& GetFamily() const noexcept { return *mFamily; }
    int GetValue() const noexcept { return mValue; }
    const std::string& GetStoredText() const noexcept { return mText; } ///< what `SetText` stored last
    int GetMinValue() const noexcept { return mMinimum; }               ///< texts: shortest length in bytes
    int GetMaxValue() const noexcept { return mMaximum; }
    int GetSoftMinValue() const noexcept { return mSoftMinimum; }
    int GetSoftMaxValue() const noexcept { return mSoftMaximum; }
    bool IsSoftMinActive() const noexcept { return mSoftMinimumActive; }
    bool IsSoftMaxActive() const noexcept { return mSoftMaximumActive; }
    int GetSoftValue() const noexcept { return mSoftValue; }
    int GetDefaultValue() const noexcept { return mDefaultValue; }
    const std::string& GetDefaultText() const noexcept { return mDefaultText; }
    unsigned GetDecimals() const noexcept { return mDecimals; }
    double GetScalingFactor() const noexcept; ///< 10 to the power of minus decimals
    EAccessLevel GetAccessGroup() const noexcept { return mAccessGroup; }

    int GetNameId() const noexcept { return mNameId; } ///< text ids, 0 for none
    int GetHelpId() const noexcept { return mHelpId; }
    std::string GetNameText() const; ///< these five in the catalogue's language, empty for text id 0
    std::string GetHelpText() const;
    std::string GetConfirmText() const;
    std::string GetContinueText() const;
    std::string GetWaitText() const;
    const std::string& GetIconPath() const noexcept { return mIconPath; }
    std::uint32_t GetColor() const noexcept { return mColor; }
    const std::string& GetUnit() const noexcept { return mUnit; } ///< UCUM, empty for a bare number

    /// None of these is announced.
    void SetDecimals(unsigned char decimals); ///< @throws CException "Invalid number of decimals %d"
    void SetConfirmText(int textId) noexcept { mConfirmId = textId; }
    void SetContinueText(int textId) noexcept { mContinueId = textId; }
    void SetWaitText(int textId) noexcept { mWaitId = textId; }
    void SetIconPath(const std::string& path) { mIconPath = path; }
    void SetColor(unsigned color) noexcept { mColor = color; }
    void SetUnit(const std::string& ucum) { mUnit = ucum; }

    // --- Saving it -----------------------------------------------------------------------------------------

    bool IsPersistent() const noexcept { return mPersistent; }
    bool IsDirty() const noexcept { return mDirty; } ///< persistent, and announced since it was last saved
    void ClearDirty() noexcept { mDirty = false; }   ///< by whoever saved it

private:
    struct SIdentity; // what every kind of control has

    explicit CProjCon(const SIdentity& identity);

    void AddToDispatcher(const std::string& code);
    void StoreDefault(int value);
    void StoreDefault(const std::string& text);
    void Announce(ENotifyType type);
    void AnnounceValue(); // and remember that it has to be saved
    void UpdateEnabled();
    bool AcceptsChange(EChangeMode mode) const noexcept;
    std::uint32_t LimitToEntry(int value, EChangeMode mode) const noexcept;
    std::uint32_t LimitToAddress(std::string& text) const;

    CEventDispatcher& mDispatcher;
    IControlProxy& mProxy;
    bool mDirty = false;
    bool mPersistent = false;
    bool mEnabled = true;
    bool mReadOnly = false;
    bool mReserved = false;
    bool mLocked = false;
    bool mProgEnabled = true;
    int mNameId = 0;
    int mHelpId = 0;
    int mConfirmId = 0;
    int mContinueId = 0;
    int mWaitId = 0;
    EAccessLevel mAccessGroup = eAccessOperator;
    int mDefaultValue = 0;
    int mValue = 0;
    int mMinimum = 0;
    int mMaximum = 0;
    int mSoftMinimum = 0;
    int mSoftMaximum = 0;
    int mSoftValue = 0;
    bool mSoftMinimumActive = false;
    bool mSoftMaximumActive = false;
    unsigned mDecimals = 0;
    EDisplayType mType;
    const SControlFamily* mFamily;
    std::string mDefaultText;
    std::string mText;
    std::string mCode;
    std::string mIconPath;
    std::vector<SListEntry> mList;
    std::uint32_t mColor = 0;
    std::string mUnit;
};
