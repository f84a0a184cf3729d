// Names of members that requests, replies and notifications share.
#pragma once

#include <json/value.h>

/// Static strings: a member set by one of these costs no copy of its name.
namespace NJsonMember
{
inline const Json::StaticString kId("id");
inline const Json::StaticString kJsonRpc("jsonrpc");
inline const Json::StaticString kJsonRpcVersion("2.0");
inline const Json::StaticString kMethod("method");
inline const Json::StaticString kParams("params");
inline const Json::StaticString kResult("result");
inline const Json::StaticString kError("error");
inline const Json::StaticString kFd("fd"); ///< client id, set by the dispatcher on every request

inline const Json::StaticString kCode("code");
inline const Json::StaticString kMessage("message");
inline const Json::StaticString kPort("port");
inline const Json::StaticString kPosition("position");
inline const Json::StaticString kModifier("modifier");
inline const Json::StaticString kNotifyMethod("notifyMethod");
inline const Json::StaticString kSendNow("sendNow");
inline const Json::StaticString kVersion("version");

inline const Json::StaticString kAccess("access");
inline const Json::StaticString kColor("color");
inline const Json::StaticString kConfirm("confirm");
inline const Json::StaticString kContinue("continue");
inline const Json::StaticString kCount("count");
inline const Json::StaticString kDecimals("decimals");
inline const Json::StaticString kDefault("default");
inline const Json::StaticString kEnabled("enabled");
inline const Json::StaticString kHelp("help");
inline const Json::StaticString kHint("hint");
inline const Json::StaticString kIcon("icon");
inline const Json::StaticString kIdx("idx");
inline const Json::StaticString kLabel("label");
inline const Json::StaticString kList("list");
inline const Json::StaticString kMax("max");
inline const Json::StaticString kMin("min");
inline const Json::StaticString kPersistent("persistent");
inline const Json::StaticString kReadOnly("readOnly");
inline const Json::StaticString kSoftMax("softmax");
inline const Json::StaticString kSoftMin("softmin");
inline const Json::StaticString kSoftValue("softvalue");
inline const Json::StaticString kText("text");
inline const Json::StaticString kType("type");
inline const Json::StaticString kUnit("unit");
inline const Json::StaticString kValue("value");
inline const Json::StaticString kWait("wait");
} // namespace NJsonMember
