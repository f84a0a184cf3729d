// Nothing but the answer.
#include "bench/support/CAcceptingProxy.h"

bool CAcceptingProxy::ApplyValue(const std::string&, int)
{
    return true;
}

bool CAcceptingProxy::ApplyText(const std::string&, const std::string&)
{
    return true;
}
