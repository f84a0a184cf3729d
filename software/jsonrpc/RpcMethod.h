// A method of the remote interface that is a member function of an object.
#pragma once

#include "software/jsonrpc/CallbackMethod.h"

#include <string>
#include <utility>

namespace Json::Rpc
{
/// Calls a member function of an object. The object is not owned and must outlive the method.
template <class T>
class RpcMethod : public CallbackMethod
{
public:
    using Function = bool (T::*)(const Json::Value& request, Json::Value& response);

    RpcMethod(T& object, Function function, std::string name, Json::Value description = Json::Value())
        : mObject(object)
        , mFunction(function)
        , mName(std::move(name))
        , mDescription(std::move(description))
    {
    }

    bool Call(const Json::Value& request, Json::Value& response) override
    {
        return (mObject.*mFunction)(request, response);
    }
    const std::string& GetName() const noexcept override { return mName; }
    const Json::Value& GetDescription() const noexcept override { return mDescription; }

private:
    T& mObject;
    const Function mFunction;
    const std::string mName;
    const Json::Value mDescription;
};
} // namespace Json::Rpc
