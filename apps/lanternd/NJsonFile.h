// Strict reading of our JSON files.
#pragma once

#include <json/value.h>

#include <string>

namespace NJsonFile
{
/// Reads the text of a file as one JSON object. Text after it, members that occur twice, comments, bytes that
/// are not UTF-8 and nesting deeper than a file of ours has are refused.
/// @throws std::runtime_error with the reason, on one line
Json::Value ParseObject(const std::string& bytes);

/// The reverse, indented for people, in UTF-8, with a newline at the end.
std::string Print(const Json::Value& object);

/// A value for a log line: on one line, and cut after some forty bytes.
std::string PrintShort(const Json::Value& value);
} // namespace NJsonFile
