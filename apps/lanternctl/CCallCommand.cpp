// Parameters are checked before anything is sent.
#include "apps/lanternctl/CCallCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/NJsonDocument.h"

#include <CLI/App.hpp>
#include <ostream>

void CCallCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("METHOD", mMethod, "Name of the method, such as control:get")
        ->type_name("")
        ->required();
    arguments.add_option("PARAMS", mParameters, "Its parameters, a JSON array or object")->type_name("");
}

EExitCode CCallCommand::Run(CSession& session)
{
    Json::Value parameters;
    std::string problem;
    if (!mParameters.empty() && !NJsonDocument::Parse(mParameters, parameters, problem))
        throw CCommandFailure(EExitCode::WrongUsage, "the parameters are not JSON: " + problem);
    if (!parameters.isNull() && !parameters.isArray() && !parameters.isObject())
        throw CCommandFailure(EExitCode::WrongUsage, "the parameters must be a JSON array or object");
    const Json::Value result = session.GetTcpLink().Call(mMethod, parameters);
    session.Out() << (session.GetOptions().mJson ? NJsonDocument::Compact(result)
                                                 : NJsonDocument::Pretty(result))
                  << '\n';
    return EExitCode::Done;
}
