// JSON as text, the same for all sub-commands.
#pragma once

#include <json/value.h>
#include <string>

namespace NJsonDocument
{
std::string Compact(const Json::Value& value); ///< one line, UTF-8 as it is, no newline at the end
std::string Pretty(const Json::Value& value);  ///< indented by two, no newline at the end

/// Strict: one document, no comments, no duplicate members, at most 64 levels deep. The value may be a
/// scalar.
/// @param problem  what is wrong, on one line, when it is not JSON
[[nodiscard]] bool Parse(const std::string& text, Json::Value& value, std::string& problem);
} // namespace NJsonDocument
