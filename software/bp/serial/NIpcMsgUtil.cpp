// Reserved arguments, and codes in and out of messages.
#include "software/bp/serial/NIpcMsgUtil.h"

#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/bp/serial/NErrorText.h"

void NIpcMsgUtil::MakeErrorResponse(CIpcMessage& reply, EError code, const std::string& text)
{
    reply.AddArg(eIpcArgError, static_cast<int>(code));
    reply.AddArg(eIpcArgErrorText, text);
}

void NIpcMsgUtil::MakeErrorResponse(CIpcMessage& reply, EError code)
{
    MakeErrorResponse(reply, code, NErrorText::GetErrorString(code));
}

EError NIpcMsgUtil::GetError(const CIpcMessage& reply)
{
    std::string text;
    if (!reply.GetArg(eIpcArgError, text))
        return eErrorNone;
    int code = 0;
    return reply.GetArg(eIpcArgError, code) && code > 0 ? static_cast<EError>(code) : eErrorCommunications;
}

std::string NIpcMsgUtil::GetErrorText(const CIpcMessage& reply)
{
    std::string text;
    reply.GetArg(eIpcArgErrorText, text);
    return text;
}

std::string NIpcMsgUtil::GetFullCode(const CIpcMessage& message)
{
    const std::string subCode = message.GetSubCode();
    return NAsciiCodeUtils::JoinCode(message.GetCode(),
                                     subCode == NAsciiCodeUtils::kNoSubCode ? "" : subCode);
}

bool NIpcMsgUtil::IsCarriedCode(std::string& fullCode)
{
    if (!NAsciiCodeUtils::ValidateCode(fullCode))
        return false;
    std::string code;
    std::string subCode;
    NAsciiCodeUtils::SplitCode(fullCode, code, subCode);
    return NAsciiCodeUtils::FitsMessage(subCode);
}

bool NIpcMsgUtil::SetFullCode(CIpcMessage& message, std::string fullCode)
{
    if (!IsCarriedCode(fullCode))
        return false;
    std::string code;
    std::string subCode;
    NAsciiCodeUtils::SplitCode(fullCode, code, subCode);
    message.SetCode(code);
    message.SetSubCode(subCode == NAsciiCodeUtils::kNoSubCode ? "" : subCode);
    return true;
}

bool NIpcMsgUtil::AppendMessages(std::list<CIpcMessage>& messages, std::vector<unsigned char>& bytes)
{
    const std::size_t start = bytes.size();
    for (CIpcMessage& message : messages)
    {
        unsigned char* serialized = nullptr;
        const unsigned size = message.SerializeMessage(serialized);
        if (size > CIpcMessage::kMaxSize)
        {
            bytes.resize(start);
            return false;
        }
        bytes.insert(bytes.end(), serialized, serialized + size);
    }
    return true;
}
