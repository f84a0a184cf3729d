// What the projector says about one of its controls.
#pragma once

#include "software/bp/serial/EDisplayType.h"

#include <cstdint>
#include <json/value.h>
#include <string>
#include <vector>

/// One choice of a list control.
struct SChoice
{
    int mIndex = 0; ///< the number that selects it
    std::string mText;
    bool mEnabled = true;
    bool mVisible = true; ///< to other users of the projector
};

/// An entry of the projector's list of controls, with its members checked: whatever a peer sends, the getters
/// answer something harmless. Changes are merged into it as they are reported.
class CControlInfo
{
public:
    enum class ENumbers
    {
        Described, ///< with their decimals and unit; a switch is on or off
        Bare,      ///< as they are, for a link that tells nothing about them; a switch is 1 or 0
    };

    /// @param raw  an object with the members of "control:list"; what is missing counts as not known
    explicit CControlInfo(Json::Value raw, ENumbers numbers = ENumbers::Described);
    /// Stands for a code that is not in the list: its values are shown and taken as they are.
    static CControlInfo Unlisted(const std::string& code);

    /// Takes over the members of a notification ("value", "enabled", "min", "list", ...).
    void Merge(const Json::Value& members);

    const Json::Value& GetRaw() const noexcept { return mRaw; }
    const Json::Value& GetMember(const char* name) const; ///< null when there is none
    bool HasNumber(const char* name) const;               ///< a whole number of 64 bits at most
    bool Knows(const char* name) const { return !GetMember(name).isNull(); }
    bool HasBareNumbers() const noexcept { return mNumbers == ENumbers::Bare; }

    std::string GetCode() const { return GetText("code"); }
    std::string GetName() const { return GetText("label"); }
    std::string GetHelp() const { return GetText("help"); }
    std::string GetUnit() const { return GetText("unit"); } ///< UCUM, empty for a bare number
    EDisplayType GetType() const;                           ///< 0 when not known
    EControlFamily GetFamily() const { return FamilyOf(GetType()); }
    unsigned GetDecimals() const; ///< 0 to `NDecimal::kMaxDecimals`
    int GetAccessGroup() const;   ///< 0 when not known
    bool IsEnabled() const { return GetFlag("enabled", true); }
    bool IsReadOnly() const { return GetFlag("readOnly", false); }
    bool IsPersistent() const { return GetFlag("persistent", false); }

    std::vector<SChoice> GetChoices() const;
    /// The text of a choice: as it came with the value, else from the choices; its number without either.
    std::string GetChoiceText(std::int64_t index) const;

private:
    std::string GetText(const char* name) const;
    bool GetFlag(const char* name, bool otherwise) const;
    int GetNumber(const char* name, int otherwise) const;

    Json::Value mRaw; // always an object
    ENumbers mNumbers;
};
