// One row for each reserved code.
#include "software/bp/serial/ESerialCode.h"

#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <iterator>

namespace
{
struct SReserved
{
    std::uint32_t mCode;
    ESerialCode mMeaning;
};

constexpr SReserved kReserved[] = {
    {CIpcMessage::PackCode("UID"), ESerialCode::LogIn},
    {CIpcMessage::PackCode(NIpcMsgUtil::kRegistrationCode), ESerialCode::Registration},
    {CIpcMessage::PackCode("DGN"), ESerialCode::Request},
    {CIpcMessage::PackCode("TST"), ESerialCode::Request},
    {CIpcMessage::PackCode("EVT"), ESerialCode::Request},
    {CIpcMessage::PackCode("BST"), ESerialCode::Request},
    {CIpcMessage::PackCode("FYI"), ESerialCode::Ignored},
    {CIpcMessage::PackCode("ERR"), ESerialCode::Ignored},
};
} // namespace

ESerialCode FindSerialCode(std::uint32_t code) noexcept
{
    const auto found = std::find_if(std::begin(kReserved), std::end(kReserved),
                                    [=](const SReserved& r) { return r.mCode == code; });
    return found == std::end(kReserved) ? ESerialCode::Control : found->mMeaning;
}
