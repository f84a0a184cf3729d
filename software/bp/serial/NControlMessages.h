// What a control says in messages: the answers to requests, what commands do, its notifications.
#pragma once

#include <list>

class CIpcMessage;
class CProjCon;
class ILog;

namespace NControlMessages
{
/// Sets a control as a command asks, its access checked before. The reply gets the value or text that the
/// control has afterwards, and for a failure the two error arguments.
/// @param reply  to the command, without arguments
void ApplyCommand(CProjCon& control, const CIpcMessage& command, CIpcMessage& reply);

/// Appends the answers that the modifier of the request's argument 0 selects: one, or several for a list.
/// @param reply  to the request, without arguments: every answer is made from it
void AnswerRequest(const CProjCon& control, const CIpcMessage& request, CIpcMessage reply,
                   std::list<CIpcMessage>& answers);

/// Adds the arguments of a notification.
/// @param types  bits of `ENotifyType`
void AddState(CIpcMessage& notification, const CProjCon& control, unsigned types, ILog& log);
} // namespace NControlMessages
