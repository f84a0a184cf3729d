// Messages of the companion module as JSON, and their properties as text.
#pragma once

#include <cstdint>
#include <json/value.h>
#include <string>

namespace LibMarlix
{
class CCepMessage;
}

/// A property is {"key", "type", "value"}. Its type is a name ("uint16", "string", "int32[]"), and its value
/// of the JSON type that fits; or a number, and then the value is the bytes as hexadecimal digits: for types
/// without a name, for messages in format 1 (type 255), and for data that no value of the named type has.
namespace NCepJson
{
Json::Value FromMessage(const LibMarlix::CCepMessage& message);

/// Members that are missing are 0; "format" is 2 and "properties" empty.
/// @param message  starts out new
/// @returns false, with the reason, when a member is unknown, of the wrong type, or out of range
[[nodiscard]] bool ToMessage(const Json::Value& document, LibMarlix::CCepMessage& message,
                             std::string& problem);

/// Sets one property. @param type  a name, or a number for hexadecimal values
[[nodiscard]] bool SetProperty(LibMarlix::CCepMessage& message, std::uint32_t key, const Json::Value& type,
                               const Json::Value& value, std::string& problem);

Json::Value GetType(const LibMarlix::CCepMessage& message, std::uint32_t key);
Json::Value GetValue(const LibMarlix::CCepMessage& message, std::uint32_t key);
bool IsTextType(const std::string& name); ///< whose values are JSON texts
} // namespace NCepJson
