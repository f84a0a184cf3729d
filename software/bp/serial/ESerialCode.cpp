// One row for each reserved code.
#include "software/bp/serial/ESerialCode.h"

#include "software/bp/serial/NIpcMsgUtil.h"

#include <algorithm>
#include <iterator>

namespace
{
struct SReserved
{
    std::string_view mCode;
    ESerialCode mMeaning;
};

constexpr SReserved kReserved[] = {
    {"UID", ESerialCode::LogIn},   {NIpcMsgUtil::kRegistrationCode, ESerialCode::Registration},
    {"DGN", ESerialCode::Request}, {"TST", ESerialCode::Request},
    {"EVT", ESerialCode::Request}, {"BST", ESerialCode::Request},
    {"FYI", ESerialCode::Ignored}, {"ERR", ESerialCode::Ignored},
};
} // namespace

ESerialCode FindSerialCode(std::string_view code) noexcept
{
    const auto found = std::find_if(std::begin(kReserved), std::end(kReserved),
                                    [=](const SReserved& r) { return r.mCode == code; });
    return found == std::end(kReserved) ? ESerialCode::Control : found->mMeaning;
}
