// What the messages of the local IPC have in common: reserved arguments, errors, codes.
#pragma once

#include "software/include/EError.h"
#include "software/utility/CIpcMessage.h"

#include <list>
#include <string>
#include <vector>

/// Keys of arguments that mean the same in every message of the local IPC.
enum EIpcArg : unsigned short
{
    eIpcArgError = 220,       ///< in a reply: the `EError` code of a failure
    eIpcArgErrorText = 221,   ///< in a reply: the text that goes with it
    eIpcArgAccessGroup = 231, ///< in a command or request: the caller's level
    eIpcArgEnabled = 240,     ///< these four in a notification
    eIpcArgMinimum = 241,
    eIpcArgMaximum = 242,
    eIpcArgListSize = 243,
};

/// Modifier of a code in a registration message.
enum EIpcRegistration : unsigned char
{
    eIpcRegister = 'R',
    eIpcRegisterSendNow = 'W', ///< and send the current state at once
    eIpcUnregister = 'U',
};

namespace NIpcMsgUtil
{
constexpr char kRegistrationCode[] = "NOT"; ///< code of a registration message
constexpr char kEveryCode[] = "*";          ///< in a registration message, with "U": every code

/// Adds the two arguments of a failure, 220 the code and 221 the text, and nothing else.
void MakeErrorResponse(CIpcMessage& reply, EError code, const std::string& text);
/// As above with the default text of the code.
void MakeErrorResponse(CIpcMessage& reply, EError code);
/// The code in argument 220: `eErrorNone` without one, `eErrorCommunications` when it is not a number above
/// 0.
EError GetError(const CIpcMessage& reply);
std::string GetErrorText(const CIpcMessage& reply); ///< argument 221, empty without one

/// Code and sub-code of a message joined by "+"; a sub-code that was never given is none.
std::string GetFullCode(const CIpcMessage& message);
/// Upper-cases a control code in place. @returns false when it is none or its sub-code fits in no message
[[nodiscard]] bool IsCarriedCode(std::string& fullCode);
/// Splits a control code into the two fields of a message, upper-cased.
/// @returns false, with the message untouched, when it is no code or its sub-code fits in no message
[[nodiscard]] bool SetFullCode(CIpcMessage& message, std::string fullCode);

/// Appends the bytes of messages back to back.
/// @returns false, with nothing appended, when one of them is larger than `CIpcMessage::kMaxSize`
[[nodiscard]] bool AppendMessages(std::list<CIpcMessage>& messages, std::vector<unsigned char>& bytes);
} // namespace NIpcMsgUtil
