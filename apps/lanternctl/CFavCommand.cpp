// One method of the projector each; adding looks first whether there is such a control.
#include "apps/lanternctl/CFavCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CMenuReader.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <ostream>

const std::vector<CFavCommand::SAction> CFavCommand::kActions = {
    {"list", false, &CFavCommand::List},
    {"add", true, &CFavCommand::Add},
    {"remove", true, &CFavCommand::Remove},
    {"clear", false, &CFavCommand::Clear},
};

void CFavCommand::Declare(CLI::App& arguments)
{
    std::vector<std::string> names;
    names.reserve(kActions.size());
    for (const SAction& action : kActions)
        names.emplace_back(action.mName);
    arguments.add_option("ACTION", mAction, "list, add, remove or clear")
        ->type_name("")
        ->required()
        ->check(CLI::IsMember(names));
    arguments.add_option("CODE", mCodes, "Control codes to add or remove")->type_name("");
}

EExitCode CFavCommand::Run(CSession& session)
{
    const auto action =
        std::find_if(kActions.begin(), kActions.end(), [&](const SAction& a) { return mAction == a.mName; });
    if (action->mTakesCodes == mCodes.empty()) // the check of the argument left no other name
        throw CCommandFailure(EExitCode::WrongUsage,
                              "fav " + mAction + (mCodes.empty() ? ": a code is missing" : " takes no code"));
    std::transform(mCodes.begin(), mCodes.end(), mCodes.begin(), NDisplayText::UpperCode);
    (this->*action->mRun)(session);
    return EExitCode::Done;
}

void CFavCommand::List(CSession& session) const
{
    CMenuReader reader(session.GetTcpLink());
    const std::optional<Json::Value> page = reader.Read(CMenuReader::kFavorites);
    if (session.GetOptions().mJson)
    {
        session.Out() << (page ? NJsonDocument::Compact((*page)["items"]) : "[]") << '\n';
        return;
    }
    CTextTable table{"CODE", "NAME", "VALUE"};
    if (page)
        for (const CControlInfo& item : reader.GetItems(*page))
            table.AddRow({item.GetCode().empty() ? "-" : item.GetCode(), item.GetName(),
                          CMenuReader::FormatValue(item)});
    table.Print(session.Out(), session.GetStyle());
}

void CFavCommand::Add(CSession& session) const
{
    CTcpLink& link = session.GetTcpLink();
    for (const std::string& code : mCodes) // all or none
        if (!link.Describe(code, IProjectorLink::ENeed::Show))
            link.Get(code); // refused by the projector, in its own words
    for (const std::string& code : mCodes)
        link.ChangeFavorites("menu:addFavorite", code);
}

void CFavCommand::Remove(CSession& session) const
{
    for (const std::string& code : mCodes)
        session.GetTcpLink().ChangeFavorites("menu:deleteFavorite", code);
}

void CFavCommand::Clear(CSession& session) const
{
    session.GetTcpLink().Call("menu:clearFavorites", Json::Value());
}
