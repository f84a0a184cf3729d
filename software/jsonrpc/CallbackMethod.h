// A method that the dispatcher can call.
#pragma once

#include <json/value.h>

#include <string>

namespace Json::Rpc
{
/// One method of the remote interface. A `Handler` owns the methods that were added to it.
class CallbackMethod
{
public:
    CallbackMethod() = default;
    CallbackMethod(const CallbackMethod&) = delete;
    CallbackMethod& operator=(const CallbackMethod&) = delete;
    virtual ~CallbackMethod() = default;

    /// @param request   a valid request object; its integer member "fd" is the calling client's id
    /// @param response  null at first; what it holds afterwards is the reply, and null sends nothing
    /// @returns true; false says that the reply follows later, by the `Ticket` that the method took
    /// @throws  anything derived from std::exception: the caller is answered "Internal error"
    virtual bool Call(const Json::Value& request, Json::Value& response) = 0;

    virtual const std::string& GetName() const noexcept = 0; ///< never changes
    virtual const Json::Value& GetDescription() const noexcept = 0;
};
} // namespace Json::Rpc
