// jsoncpp's own conversions throw, or convert: every type is asked for before it is used.
#include "software/utility/CJsonMembers.h"

#include "software/utility/CException.h"
#include "software/utility/NUtf8.h"

#include <json/value.h>

#include <utility>

namespace
{
constexpr char kSource[] = "software/utility/CJsonMembers";
}

CJsonMembers::CJsonMembers(const Json::Value& object, std::string place)
    : mObject(object)
    , mPlace(std::move(place))
{
    if (!object.isObject())
        throw CException(__func__, kSource, __LINE__, false, "%s: it must be a JSON object", mPlace.c_str());
}

void CJsonMembers::Refuse(const std::string& name, const std::string& reason) const
{
    throw CException(__func__, kSource, __LINE__, false, "%s: member \"%s\" %s", mPlace.c_str(), name.c_str(),
                     reason.c_str());
}

bool CJsonMembers::Has(const char* name) const
{
    return mObject.isMember(name);
}

const Json::Value& CJsonMembers::Take(const char* name)
{
    if (!Has(name))
        Refuse(name, "is missing");
    mTaken.insert(name);
    return mObject[name];
}

int CJsonMembers::TakeInt(const char* name, int lowest, int highest)
{
    const Json::Value& value = Take(name);
    const bool isWhole = value.type() == Json::intValue || value.type() == Json::uintValue;
    if (!isWhole || !value.isInt() || value.asInt() < lowest || value.asInt() > highest)
        Refuse(name,
               "must be a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    return value.asInt();
}

int CJsonMembers::TakeInt(const char* name, int lowest, int highest, int otherwise)
{
    return Has(name) ? TakeInt(name, lowest, highest) : otherwise;
}

double CJsonMembers::TakeNumber(const char* name)
{
    const Json::Value& value = Take(name);
    if (!value.isDouble()) // true for whole numbers too
        Refuse(name, "must be a number");
    return value.asDouble();
}

bool CJsonMembers::TakeBool(const char* name)
{
    const Json::Value& value = Take(name);
    if (!value.isBool())
        Refuse(name, "must be true or false");
    return value.asBool();
}

bool CJsonMembers::TakeBool(const char* name, bool otherwise)
{
    return Has(name) ? TakeBool(name) : otherwise;
}

std::string CJsonMembers::TakeText(const char* name)
{
    const Json::Value& value = Take(name);
    if (!value.isString() || !NUtf8::IsStorable(value.asString()))
        Refuse(name, "must be a text without NUL");
    return value.asString();
}

std::string CJsonMembers::TakeText(const char* name, const std::string& otherwise)
{
    return Has(name) ? TakeText(name) : otherwise;
}

const Json::Value& CJsonMembers::TakeArray(const char* name, bool mayBeEmpty)
{
    const Json::Value& value = Take(name);
    if (!value.isArray() || (value.empty() && !mayBeEmpty))
        Refuse(name, mayBeEmpty ? "must be an array" : "must be an array with at least one element");
    return value;
}

const Json::Value& CJsonMembers::TakeObject(const char* name)
{
    const Json::Value& value = Take(name);
    if (!value.isObject())
        Refuse(name, "must be an object");
    return value;
}

void CJsonMembers::Finish() const
{
    for (const std::string& name : mObject.getMemberNames())
        if (mTaken.count(name) == 0)
            Refuse(name, "is unknown, or of no use to this type");
}
