// The types of controls and what each family of them does.
#pragma once

/// Type of a control, grouped by hundreds; the family decides nearly every rule (`SControlFamily`).
enum EDisplayType : int
{
    eDisplayBoolean = 100,
    eDisplayInteger = 200,
    eDisplaySoftRange = 203, ///< integer with a soft range inside its range
    eDisplaySoftValue = 204, ///< integer with a soft range and a soft value
    eDisplayText = 300,
    eDisplayLongText = 301,
    eDisplayMultiline = 303,
    eDisplayDate = 304,      ///< exactly 10 bytes
    eDisplayTime = 305,      ///< exactly 8 bytes
    eDisplayIpAddress = 306, ///< IPv4, dotted
    eDisplayList = 400,
    eDisplayAction = 500,
    eDisplayMenu = 600,
    eDisplayCustom = 700,
};

enum class EControlFamily
{
    Boolean, ///< 100 to 199
    Integer, ///< 200 to 299
    Text,    ///< 300 to 399
    List,    ///< 400 to 499
    Action,  ///< 500 to 599
    Menu,    ///< 600 to 699
    Custom,  ///< 700 to 799
    None,    ///< no type of ours
};

/// How a number offered to a control is brought to one that the control may hold.
enum class EValueRule
{
    Clamp,   ///< into the range, and for soft ranges into those
    Entry,   ///< must be a list entry
    Default, ///< becomes the default, whatever was offered
    Refuse,  ///< the family holds no number
};

/// How a control's value leaves the library.
enum class EValueForm
{
    Boolean,
    Number,
    Text,
    Nothing, ///< reading it yields nothing
};

/// Everything that depends on the family alone; one row a family, in EDisplayType.cpp.
struct SControlFamily
{
    EControlFamily mFamily;
    EValueRule mValueRule;
    EValueForm mValueForm;
    bool mHasRange;       ///< minimum and maximum are told to clients
    bool mAlwaysApplies;  ///< setting the value it has is a change like any other
    bool mAlwaysNotifies; ///< setting the value it has is announced
    bool mRefreshes;      ///< `CProjCon::Refresh` sets it again
};

const SControlFamily& GetControlFamily(EDisplayType type) noexcept;

inline EControlFamily FamilyOf(EDisplayType type) noexcept
{
    return GetControlFamily(type).mFamily;
}
constexpr bool HasSoftRange(EDisplayType type) noexcept
{
    return type == eDisplaySoftRange || type == eDisplaySoftValue;
}
constexpr bool HasSoftValue(EDisplayType type) noexcept
{
    return type == eDisplaySoftValue;
}
