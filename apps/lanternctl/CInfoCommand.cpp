// One line a fact; facts that a control does not have are left out.
#include "apps/lanternctl/CInfoCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NUnitText.h"
#include "apps/lanternctl/NValueText.h"
#include "software/include/EAccessLevel.h"

#include <CLI/App.hpp>
#include <ostream>
#include <utility>

namespace
{
constexpr char kIndentation[] = "  ";

std::string YesOrNo(bool yes)
{
    return yes ? "yes" : "no";
}

// Empty for what the projector did not tell.
std::string FormatFlag(const CControlInfo& control, const char* name, bool flag)
{
    return control.Knows(name) ? YesOrNo(flag) : "";
}

std::string FormatAccess(const CControlInfo& control)
{
    if (!control.Knows("access"))
        return "";
    const int group = control.GetAccessGroup();
    return "group " + std::to_string(group) + (group == eAccessProtected ? ", only after log-in" : "");
}

std::string FormatState(const SChoice& choice)
{
    if (!choice.mVisible)
        return "hidden";
    return choice.mEnabled ? "" : "disabled";
}
} // namespace

void CInfoCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("CODE", mCode, "Control code, such as LUM or KST+TLPX")->type_name("")->required();
}

EExitCode CInfoCommand::Run(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    const std::string code = NDisplayText::UpperCode(mCode);
    std::optional<CControlInfo> control = link.Describe(code, IProjectorLink::ENeed::All);
    if (!control) // refused by the projector, unless a program part answers under this code
    {
        control = CControlInfo::Unlisted(code);
        control->Merge(link.Get(code));
    }

    if (session.GetOptions().mJson)
        session.Out() << NJsonDocument::Compact(control->GetRaw()) << '\n';
    else
        Print(session, *control);
    return EExitCode::Done;
}

void CInfoCommand::Print(CSession& session, const CControlInfo& control)
{
    using NValueText::EUnit;
    std::ostream& out = session.Out();
    out << session.GetStyle().Bold(control.GetCode());
    if (!control.GetName().empty())
        out << kIndentation << NDisplayText::Printable(control.GetName());
    out << '\n';
    if (!control.GetHelp().empty())
        out << NDisplayText::Printable(control.GetHelp()) << '\n';

    CTextTable facts;
    const auto addFact = [&](const char* name, const std::string& fact)
    {
        if (!fact.empty())
            facts.AddRow({name, fact});
    };
    addFact("value", NValueText::Format(control, control.GetMember("value"), EUnit::Shown));
    addFact("type", NValueText::FormatType(control));
    addFact("range", NValueText::FormatRange(control));
    addFact("soft range", NValueText::FormatSoftRange(control));
    if (HasSoftValue(control.GetType()) && control.Knows("softvalue"))
        addFact("soft value", NValueText::Format(control, control.GetMember("softvalue"), EUnit::Shown));
    if (!NValueText::TakesNoValue(control))
        addFact("default", NValueText::Format(control, control.GetMember("default"), EUnit::Shown));
    addFact("unit", NUnitText::Pretty(control.GetUnit()));
    addFact("access", FormatAccess(control));
    addFact("saved", FormatFlag(control, "persistent", control.IsPersistent()));
    addFact("read-only", FormatFlag(control, "readOnly", control.IsReadOnly()));
    addFact("enabled", FormatFlag(control, "enabled", control.IsEnabled()));
    facts.Print(out, session.GetStyle(), kIndentation);

    CTextTable choices;
    for (const SChoice& choice : control.GetChoices())
        choices.AddRow({std::to_string(choice.mIndex), choice.mText, FormatState(choice)});
    if (!control.GetChoices().empty())
        out << kIndentation << "choices\n";
    choices.Print(out, session.GetStyle(), std::string(kIndentation) + kIndentation);
}
