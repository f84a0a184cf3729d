// One row for each port of each routing.
#include "software/bp/serial/NSerialRouting.h"

#include <algorithm>
#include <iterator>

namespace
{
struct SRoute
{
    ENetworkRouting mRouting;
    unsigned char mPort;
    unsigned char mTargets;
};

constexpr SRoute kRoutes[] = {
    {eRouting2And4, 2, 4},
    {eRouting2And4, 4, 2},

    {eRouting2And4And8, 2, 4 + 8},
    {eRouting2And4And8, 4, 2 + 8},
    {eRouting2And4And8, 8, 2 + 4},

    {eRouting2And4And16, 2, 4 + 16},
    {eRouting2And4And16, 4, 2 + 16},
    {eRouting2And4And16, 16, 2 + 4},

    {eRoutingAll, 2, 4 + 8 + 16 + 32},
    {eRoutingAll, 4, 2 + 8 + 16 + 32},
    {eRoutingAll, 8, 2 + 4 + 16 + 32},
    {eRoutingAll, 16, 2 + 4 + 8 + 16 + 32}, // names itself; a message never goes back to where it came from
    {eRoutingAll, 32, 2 + 4 + 8 + 16},
};
} // namespace

unsigned char NSerialRouting::GetTargets(ENetworkRouting routing, unsigned char port) noexcept
{
    const auto route =
        std::find_if(std::begin(kRoutes), std::end(kRoutes),
                     [=](const SRoute& r) { return r.mRouting == routing && r.mPort == port; });
    return route == std::end(kRoutes) ? static_cast<unsigned char>(0) : route->mTargets;
}
