// The projector's menus may lead back to where they came from; a tree does not.
#include "apps/lanternctl/CMenuCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CMenuReader.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NJsonDocument.h"

#include <CLI/App.hpp>
#include <ostream>

namespace
{
constexpr std::size_t kMaxMenus = 256; // a peer that always has another menu must not keep us for ever

// How an entry hangs in the tree, and what stands below it.
constexpr char kBranch[] = "├─ ";
constexpr char kLastBranch[] = "└─ ";
constexpr char kLine[] = "│  ";
constexpr char kNoLine[] = "   ";

std::string NameOf(const CControlInfo& item)
{
    return item.GetName().empty() ? item.GetCode() : item.GetName();
}
} // namespace

struct CMenuCommand::SWalk
{
    CSession& mSession;
    CMenuReader mReader;
    CTextTable mTable;
    std::set<std::string> mOpened; // codes
};

void CMenuCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("MENU", mMenu, "A menu, such as IMAG or MMM+IMAG; the main menu if not given")
        ->type_name("");
}

EExitCode CMenuCommand::Run(CSession& session)
{
    SWalk walk{session, CMenuReader(session.GetTcpLink()), CTextTable(), {}};
    OpenMenu(walk, CMenuReader::MenuCode(mMenu), "");
    if (!session.GetOptions().mJson)
        walk.mTable.Print(session.Out(), session.GetStyle());
    return EExitCode::Done;
}

void CMenuCommand::OpenMenu(SWalk& walk, const std::string& code, const std::string& lines)
{
    const bool isRoot = walk.mOpened.empty();
    walk.mOpened.insert(code);
    const std::optional<Json::Value> page = walk.mReader.Read(code);
    if (!page)
    {
        walk.mTable.AddRow(isRoot ? std::vector<std::string>{"(empty)"}
                                  : std::vector<std::string>{lines + kLastBranch + "(empty)"});
        return;
    }
    if (walk.mSession.GetOptions().mJson)
        walk.mSession.Out() << NJsonDocument::Compact(*page) << '\n';
    if (isRoot)
        walk.mTable.AddRow({NameOf(CControlInfo(*page)), code});
    AddItems(walk, walk.mReader.GetItems(*page), lines);
}

void CMenuCommand::AddItems(SWalk& walk, const std::vector<CControlInfo>& items, const std::string& lines)
{
    for (const CControlInfo& item : items)
    {
        const bool isLast = &item == &items.back();
        AddItem(walk, item, lines + (isLast ? kLastBranch : kBranch), lines + (isLast ? kNoLine : kLine));
    }
}

void CMenuCommand::AddItem(SWalk& walk, const CControlInfo& item, const std::string& branch,
                           const std::string& lines)
{
    const std::string code = item.GetCode();
    const std::string name = branch + NameOf(item);
    if (item.GetFamily() != EControlFamily::Menu)
        return walk.mTable.AddRow({name, code, CMenuReader::FormatValue(item)});
    if (walk.mOpened.count(code) != 0)
        return walk.mTable.AddRow({name, code, "(see there)"});
    if (walk.mOpened.size() >= kMaxMenus)
        return walk.mTable.AddRow({name, code, "(not shown)"});
    walk.mTable.AddRow({name, code});
    try
    {
        OpenMenu(walk, code, lines);
    }
    catch (const CCommandFailure& failure)
    {
        if (failure.GetExitCode() != EExitCode::Refused)
            throw;
        walk.mTable.AddRow({lines + kLastBranch + failure.what()}); // the others are worth showing
    }
}
