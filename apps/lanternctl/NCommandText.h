// What several sub-commands print in the same way.
#pragma once

#include <json/value.h>

class CControlInfo;
class CSession;

namespace NCommandText
{
/// The value alone on a line. A person gets the unit, and no control characters; a script gets the value as
/// it is.
void PrintValue(CSession& session, const CControlInfo& control, const Json::Value& value);
} // namespace NCommandText
