// A table of what "getModules" answers.
#include "apps/lanternctl/CModulesCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NJsonDocument.h"

#include <ostream>

namespace
{
std::string AsText(const Json::Value& value)
{
    return value.isString() ? value.asString() : NJsonDocument::Compact(value);
}
} // namespace

void CModulesCommand::Declare(CLI::App&) {}

EExitCode CModulesCommand::Run(CSession& session)
{
    const Json::Value modules = session.GetTcpLink().Call("getModules", Json::Value());
    CTextTable table{"MODULE", "VERSION"};
    for (const Json::Value& module : modules)
    {
        if (session.GetOptions().mJson)
            session.Out() << NJsonDocument::Compact(module) << '\n';
        else if (module.isObject())
            table.AddRow({AsText(module["module"]), AsText(module["version"])});
    }
    if (!session.GetOptions().mJson)
        table.Print(session.Out(), session.GetStyle());
    return EExitCode::Done;
}
