// A message of the companion module, for a person.
#pragma once

#include <string>

namespace LibMarlix
{
class CCepMessage;
}
class CSession;

namespace NCepText
{
/// A heading, the header fields on a line, and the properties, a line each.
/// @param crcNote  what is known about the CRC
void Print(CSession& session, const std::string& heading, const LibMarlix::CCepMessage& message,
           const std::string& crcNote);
} // namespace NCepText
