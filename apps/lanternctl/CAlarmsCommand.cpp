// One request, one table.
#include "apps/lanternctl/CAlarmsCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NStatusTable.h"

void CAlarmsCommand::Declare(CLI::App&) {}

EExitCode CAlarmsCommand::Run(CSession& session)
{
    NStatusTable::Print(session, session.GetLink().GetAlarms(), "No alarms");
    return EExitCode::Done;
}
