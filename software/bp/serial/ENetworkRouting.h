// Which serial ports pass messages on to which others.
#pragma once

/// The ports that a unit relays between, named by their numbers.
enum ENetworkRouting : int
{
    eRouting2And4 = 0,
    eRouting2And4And8 = 1,
    eRouting2And4And16 = 2,
    eRoutingAll = 3,
};
