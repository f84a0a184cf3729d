// The check that decides between taking and refusing.
#include "software/bp/hwlogic/CDateTimeProxy.h"

#include "software/bp/hwlogic/NDateTime.h"

bool CDateTimeProxy::ApplyValue(const std::string&, int)
{
    return false;
}

bool CDateTimeProxy::ApplyText(const std::string&, const std::string& text)
{
    return mKind == EKind::Date ? NDateTime::IsDate(text) : NDateTime::IsTime(text);
}
