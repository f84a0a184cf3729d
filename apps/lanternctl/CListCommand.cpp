// One list, three ways to write it.
#include "apps/lanternctl/CListCommand.h"

#include "apps/lanternctl/CMenuReader.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NValueText.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/include/EAccessLevel.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <ostream>

namespace
{
constexpr std::size_t kMaxValueWidth = 40; // columns; a note of 255 bytes would push the rest off the screen

std::string Join(const std::vector<std::string>& words, const char* separator = ", ")
{
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : separator) + word;
    return line;
}

// What does not change while the projector runs.
std::vector<std::string> LastingFlags(const CControlInfo& control)
{
    std::vector<std::string> flags;
    if (control.IsReadOnly())
        flags.emplace_back("read-only");
    if (control.GetAccessGroup() == eAccessProtected)
        flags.emplace_back("protected");
    if (control.IsPersistent())
        flags.emplace_back("saved");
    return flags;
}

std::string PresentFlags(const CControlInfo& control)
{
    std::vector<std::string> flags = LastingFlags(control);
    if (!control.IsEnabled() && !control.IsReadOnly()) // read-only says it already
        flags.emplace_back("disabled");
    return Join(flags);
}

std::string NumberedChoices(const CControlInfo& control)
{
    std::vector<std::string> words;
    for (const SChoice& choice : control.GetChoices())
        words.push_back(std::to_string(choice.mIndex) + " " + choice.mText +
                        (choice.mEnabled ? "" : " (disabled)"));
    return Join(words, "; "); // a choice may hold a comma
}

std::string MarkdownCell(const std::string& text)
{
    std::string cell;
    for (const char c : NDisplayText::Printable(text))
        cell += c == '|' ? std::string("\\|") : std::string(1, c);
    return cell;
}
} // namespace

const std::vector<CListCommand::SFormat> CListCommand::kFormats = {
    {"table", &CListCommand::PrintTable},
    {"codes", &CListCommand::PrintCodes},
    {"markdown", &CListCommand::PrintReference},
};

void CListCommand::Declare(CLI::App& arguments)
{
    std::vector<std::string> names;
    names.reserve(kFormats.size());
    for (const SFormat& format : kFormats)
        names.emplace_back(format.mName);
    mFormat = names.front();
    arguments
        .add_option("MENU_OR_PREFIX", mChoice,
                    "Only the controls of a menu (IMAG or MMM+IMAG), or those whose codes begin with this")
        ->type_name("");
    arguments.add_option("--format", mFormat, "How to write it")
        ->type_name("")
        ->check(CLI::IsMember(names))
        ->capture_default_str();
}

EExitCode CListCommand::Run(CSession& session)
{
    const std::vector<CControlInfo> controls = Find(session);
    if (session.GetOptions().mJson)
    {
        for (const CControlInfo& control : controls)
            session.Out() << NJsonDocument::Compact(control.GetRaw()) << '\n';
        return EExitCode::Done;
    }
    const auto format =
        std::find_if(kFormats.begin(), kFormats.end(), [&](const SFormat& f) { return mFormat == f.mName; });
    format->mPrint(session, controls); // the check of the option left no other name
    return EExitCode::Done;
}

std::vector<CControlInfo> CListCommand::Find(CSession& session) const
{
    CTcpLink& link = session.GetTcpLink();
    if (!CMenuReader::NamesMenu(mChoice))
        return link.List(NDisplayText::UpperCode(mChoice));
    CMenuReader reader(link);
    const std::optional<Json::Value> page = reader.Read(CMenuReader::MenuCode(mChoice));
    std::vector<CControlInfo> controls;
    if (page)
        controls = reader.GetItems(*page);
    const auto isNone = [](const CControlInfo& item) { return item.GetCode().empty(); }; // a placeholder
    controls.erase(std::remove_if(controls.begin(), controls.end(), isNone), controls.end());
    return controls;
}

void CListCommand::PrintTable(CSession& session, const std::vector<CControlInfo>& controls)
{
    CTextTable table{"CODE", "NAME", "VALUE", "RANGE", "FLAGS"};
    for (const CControlInfo& control : controls)
    {
        const std::string value = NDisplayText::Printable(
            NValueText::Format(control, control.GetMember("value"), NValueText::EUnit::Shown));
        table.AddRow({control.GetCode(), control.GetName(), NDisplayText::Clip(value, kMaxValueWidth),
                      NValueText::FormatRange(control), PresentFlags(control)});
    }
    table.Print(session.Out(), session.GetStyle());
}

void CListCommand::PrintCodes(CSession& session, const std::vector<CControlInfo>& controls)
{
    for (const CControlInfo& control : controls)
    {
        // A shell completes with these and may expand what it is given: "$(...)" from a stranger stays out.
        std::string code = control.GetCode();
        if (NAsciiCodeUtils::ValidateCode(code))
            session.Out() << code << '\n';
    }
}

void CListCommand::PrintReference(CSession& session, const std::vector<CControlInfo>& controls)
{
    session.Out() << "| Code | Name | Type | Range or choices | Default | Access | Flags | Help |\n"
                     "|---|---|---|---|---|---|---|---|\n";
    for (const CControlInfo& control : controls)
    {
        const bool isList = control.GetFamily() == EControlFamily::List;
        const bool hasDefault = !NValueText::TakesNoValue(control);
        const std::string cells[] = {
            control.GetCode(),
            control.GetName(),
            NValueText::FormatType(control),
            isList ? NumberedChoices(control) : NValueText::FormatRange(control),
            hasDefault ? NValueText::Format(control, control.GetMember("default"), NValueText::EUnit::Shown)
                       : "",
            std::to_string(control.GetAccessGroup()),
            Join(LastingFlags(control)),
            control.GetHelp(),
        };
        for (const std::string& cell : cells)
            session.Out() << "| " << MarkdownCell(cell) << (cell.empty() ? "" : " ");
        session.Out() << "|\n";
    }
}
