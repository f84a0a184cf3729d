// Writes JSON text: the same bytes as jsoncpp's compact writer, without its temporaries.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <string_view>

/// Everything is appended to a text, so that one buffer serves a whole message. The result is ASCII: other
/// characters become \uXXXX escapes, bytes that are not UTF-8 become \ufffd.
namespace NJsonText
{
/// A whole value. Numbers that are not finite have no form in JSON and become null.
void Append(const Json::Value& value, std::string& text);

void AppendQuoted(std::string_view content, std::string& text); ///< a string with its quotes
void AppendInteger(std::int64_t number, std::string& text);
void AppendUnsigned(std::uint64_t number, std::string& text);
} // namespace NJsonText
