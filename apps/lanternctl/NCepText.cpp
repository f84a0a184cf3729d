// Values look as in JSON, so that they can be typed again.
#include "apps/lanternctl/NCepText.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NCepJson.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "cep/CCepMessage.h"

#include <cstdio>
#include <ostream>

namespace
{
std::string TypeText(const Json::Value& type)
{
    return type.isString() ? type.asString() : "type " + std::to_string(type.asUInt());
}

std::string ValueText(const Json::Value& type, const Json::Value& value)
{
    return type.isString() ? NJsonDocument::Compact(value) : value.asString(); // bytes are digits as they are
}
} // namespace

void NCepText::Print(CSession& session, const std::string& heading, const LibMarlix::CCepMessage& message,
                     const std::string& crcNote)
{
    char crc[] = "0x0000";
    std::snprintf(crc, sizeof crc, "0x%04x", message.getCrc() & 0xFFFFu);
    session.Out() << session.GetStyle().Bold(heading) << '\n'
                  << "  format " << +message.getFormat() << '.' << +message.getMinorVersion() << ", command "
                  << +message.getCommandCode() << ", object " << message.getObjectId() << ", error "
                  << message.getErrorCode() << ", from " << +message.getSourceId() << " to "
                  << +message.getDestinationId() << ", security " << +message.getSecurityId() << ", sequence "
                  << +message.getSequenceNumber() << ", CRC " << crc << ' ' << crcNote << '\n';
    CTextTable table;
    for (const std::uint32_t key : message.getMessageKeys())
    {
        const Json::Value type = NCepJson::GetType(message, key);
        table.AddRow(
            {std::to_string(key), TypeText(type), ValueText(type, NCepJson::GetValue(message, key))});
    }
    table.Print(session.Out(), session.GetStyle(), "  ");
}
