// The value comes from the method that refuses, its form from the description.
#include "apps/lanternctl/CGetCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NCommandText.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NValueText.h"

#include <CLI/App.hpp>
#include <ostream>

void CGetCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("CODE", mCodes, "Control codes, such as LUM or KST+TLPX")->type_name("")->required();
}

EExitCode CGetCommand::Run(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    const bool isAlone = mCodes.size() == 1;
    EExitCode exitCode = EExitCode::Done;
    CTextTable table;
    for (const std::string& typed : mCodes)
    {
        try
        {
            const std::string code = NDisplayText::UpperCode(typed);
            const Json::Value reply = link.Get(code);
            if (session.GetOptions().mJson)
            {
                session.Out() << NJsonDocument::Compact(reply) << '\n';
                continue;
            }
            CControlInfo control =
                link.Describe(code, IProjectorLink::ENeed::Show).value_or(CControlInfo::Unlisted(code));
            control.Merge(reply);
            if (isAlone)
                NCommandText::PrintValue(session, control, reply["value"]);
            else
                table.AddRow({code, NValueText::Format(control, reply["value"], NValueText::EUnit::Shown)});
        }
        catch (const CCommandFailure& failure)
        {
            if (failure.GetExitCode() != EExitCode::Refused)
                throw;
            session.Complain(failure.what());
            exitCode = EExitCode::Refused;
        }
    }
    table.Print(session.Out(), session.GetStyle());
    return exitCode;
}
