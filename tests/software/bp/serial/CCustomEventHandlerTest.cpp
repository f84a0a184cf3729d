#include "software/bp/serial/CCustomEventHandler.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "tests/software/bp/serial/CControlCoreFixture.h"

namespace
{
class CEcho : public CCustomEventHandler
{
public:
    using CCustomEventHandler::CCustomEventHandler;

protected:
    bool HandleIpcCommand(const CIpcMessage& command, CIpcMessage& reply) override
    {
        reply = command;
        return true;
    }
};
} // namespace

class CustomEventHandler : public CControlCoreFixture
{
protected:
    static std::string Refusal(CEventDispatcher& dispatcher, const std::string& code)
    {
        try
        {
            const CCustomEventHandler handler(dispatcher, code, false);
        }
        catch (const CException& e)
        {
            EXPECT_NE(std::string(e.what()).find("software/bp/serial/CCustomEventHandler"),
                      std::string::npos);
            return e.GetMessage();
        }
        return "";
    }
};

TEST_F(CustomEventHandler, RegistersUnderItsOwnNameSpaceAndGoesWithItsEntry)
{
    const CProjCon control = Boolean(false); // "PWR" as a control does not stand in the way
    {
        const CCustomEventHandler handler(mDispatcher, "pwr", true);
        EXPECT_EQ(mDispatcher.GetCustomHandler("PWR"), &handler);
        EXPECT_TRUE(handler.GetFlag());
        EXPECT_EQ(Refusal(mDispatcher, "PWR"), "PWR Event handler already exists.");
        EXPECT_EQ(mDispatcher.GetCustomHandler("PWR"), &handler);
    }
    EXPECT_EQ(mDispatcher.GetCustomHandler("PWR"), nullptr);
    EXPECT_EQ(Refusal(mDispatcher, "P?R"), "P?R Invalid event handler code");
}

TEST_F(CustomEventHandler, AnswersWhatItOverridesAndRefusesTheRest)
{
    CEcho handler(mDispatcher, "ECH", false);
    CIpcMessage command(static_cast<EMessageType>(0));
    command.SetCode("ECH");
    CIpcMessage reply(static_cast<EMessageType>(0));
    std::list<CIpcMessage> replies;
    EXPECT_TRUE(handler.HandleCommand(command, reply));
    EXPECT_EQ(reply.GetCode(), "ECH");
    EXPECT_FALSE(handler.HandleRequest(command, replies));
    EXPECT_TRUE(replies.empty());
}
