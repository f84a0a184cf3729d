// Status items for people.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

class CSession;

namespace NStatusTable
{
std::string GetWord(const Json::Value& status); ///< "OK", "warning", "alarm", or the number
int GetLevel(const Json::Value& item);          ///< its "status"; 0 when that is no number

/// Prints items, the worst first and otherwise as they come: a table, or with --json an object a line.
/// @param whenNone  the line of an empty table
void Print(CSession& session, std::vector<Json::Value> items, const char* whenNone);
} // namespace NStatusTable
