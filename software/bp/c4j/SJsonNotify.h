// A notification that is ready to leave.
#pragma once

#include <list>
#include <string>

/// One text for many clients of the JSON-RPC server.
struct SJsonNotify
{
    std::string mText;               ///< serialised JSON, without the NUL that ends it on the wire
    std::list<std::string> mClients; ///< client descriptors, "JSON_TCP.%d" of a client id each
};
