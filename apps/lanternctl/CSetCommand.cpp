// Asks what the control is, so that a value is taken in the control's own terms.
#include "apps/lanternctl/CSetCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NCommandText.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NValueText.h"

#include <CLI/App.hpp>
#include <ostream>

void CSetCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("CODE", mCode, "Control code, such as LUM or KST+TLPX")->type_name("")->required();
    mValueOption =
        arguments
            .add_option("VALUE", mText,
                        "Number in the control's unit, on or off, a choice, or a text; none for an "
                        "action.\nA text that starts with \"-\" goes behind \"--\"")
            ->type_name("");
}

EExitCode CSetCommand::Run(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    const std::string code = NDisplayText::UpperCode(mCode);
    const CControlInfo control =
        link.Describe(code, IProjectorLink::ENeed::Set).value_or(CControlInfo::Unlisted(code));
    const bool isTriggered = NValueText::TakesNoValue(control);
    if (!isTriggered && mValueOption->count() == 0)
    {
        if (control.GetFamily() == EControlFamily::None)
            link.Get(code); // an unknown code is refused by the projector, in its own words
        throw CCommandFailure(EExitCode::WrongUsage, code + ": a value is missing");
    }
    const Json::Value wanted = isTriggered ? NValueText::Trigger() : NValueText::Parse(control, mText);
    const Json::Value reply = link.Set(code, wanted);
    const Json::Value& value = reply["value"];
    if (session.GetOptions().mJson)
        session.Out() << NJsonDocument::Compact(reply) << '\n';
    else if (!isTriggered)
        NCommandText::PrintValue(session, control, value);
    if (!isTriggered && value != wanted)
        session.Complain(code + ": the projector made it " +
                         NValueText::Format(control, value, NValueText::EUnit::Shown));
    return EExitCode::Done;
}
