// The members of one JSON object, checked as they are taken.
#pragma once

#include <set>
#include <string>

namespace Json
{
class Value; // <json/value.h>, which only those need who look into one
}

/// Takes members by name and type; what is missing, of another type or outside its range is refused, and so
/// is what nobody took. Every refusal is a `CException` "%s: member \"%s\" ...", the first part being the
/// place that is given here.
class CJsonMembers
{
public:
    /// @param object  a JSON object; not owned, must outlive this
    /// @param place   file, and what in it the object describes
    CJsonMembers(const Json::Value& object, std::string place);

    bool Has(const char* name) const;
    int TakeInt(const char* name, int lowest, int highest);
    int TakeInt(const char* name, int lowest, int highest, int otherwise); ///< `otherwise` when it is missing
    double TakeNumber(const char* name);                                   ///< any number
    bool TakeBool(const char* name);
    bool TakeBool(const char* name, bool otherwise);
    std::string TakeText(const char* name); ///< well-formed, without NUL
    std::string TakeText(const char* name, const std::string& otherwise);
    static constexpr bool kMayBeEmpty = true;
    const Json::Value& TakeArray(const char* name, bool mayBeEmpty = false);
    const Json::Value& TakeObject(const char* name);

    void Finish() const; ///< refuses members that were not taken

    /// @throws CException "PLACE: member \"NAME\" REASON"
    [[noreturn]] void Refuse(const std::string& name, const std::string& reason) const;
    const std::string& GetPlace() const noexcept { return mPlace; }

private:
    const Json::Value& Take(const char* name);

    const Json::Value& mObject;
    const std::string mPlace;
    std::set<std::string> mTaken;
};
