// Strict reading of our JSON files.
#pragma once

#include <string>

namespace Json
{
class Value; // <json/value.h>, which only those need who look into one
}

/// Reading takes the text of a file as one JSON value. Text after it, members that occur twice, comments,
/// bytes that are not UTF-8 and nesting deeper than a file of ours has are refused with a
/// `std::runtime_error` that gives the reason on one line.
namespace NJsonFile
{
Json::Value ParseObject(const std::string& bytes); ///< refuses an array, too
Json::Value ParseArray(const std::string& bytes);  ///< refuses an object, too

/// A configuration file of ours, of at most 1 MiB.
/// @throws CException "%s: there is no such file", "%s: REASON" when it is not one object, and as
///         `CAtomicFile::Read`
Json::Value ReadObject(const std::string& path);

/// The reverse, indented for people, in UTF-8, with a newline at the end.
std::string Print(const Json::Value& value);

/// A value for a log line: on one line, and cut after some forty bytes.
std::string PrintShort(const Json::Value& value);
} // namespace NJsonFile
