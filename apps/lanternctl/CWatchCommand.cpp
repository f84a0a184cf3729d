// A loop around one wait.
#include "apps/lanternctl/CWatchCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CStopRequest.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NValueText.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <limits>
#include <optional>
#include <ostream>

namespace
{
using Clock = std::chrono::steady_clock;

constexpr double kMinSeconds = 0.001;
constexpr double kMaxSeconds = 366.0 * 24 * 3600; // a year: what fits every clock involved

// A change has one kind of member; only the state that is sent at the start has all of them.
bool IsState(const Json::Value& change)
{
    return change.isMember("value") && change.isMember("enabled");
}

std::string TimeOfDay()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    std::snprintf(text.data() + length, text.size() - length, ".%03d", static_cast<int>(milliseconds % 1000));
    return text.data();
}

void AddPart(std::string& line, const std::string& part)
{
    if (!part.empty())
        line += (line.empty() ? "" : "; ") + part;
}

std::string DescribeRange(const CControlInfo& control)
{
    std::string words;
    const std::string range = NValueText::FormatRange(control);
    if (!range.empty())
        AddPart(words, "range " + range);
    const std::string softRange = NValueText::FormatSoftRange(control);
    if (!softRange.empty())
        AddPart(words, "soft range " + softRange);
    return words;
}

// What happened, in words. The control has taken the change over already.
std::string DescribeChange(const CControlInfo& control, const Json::Value& change)
{
    std::string words;
    if (change.isMember("value"))
        AddPart(words, NValueText::Format(control, change["value"], NValueText::EUnit::Shown));
    if (IsState(change))
        return control.IsEnabled() || control.IsReadOnly() ? words : words + " (disabled)";
    if (change.isMember("enabled"))
        AddPart(words, control.IsEnabled() ? "enabled" : "disabled");
    if (change.isMember("min") || change.isMember("max"))
        AddPart(words, DescribeRange(control));
    if (change.isMember("list"))
        AddPart(words, "choices " + NValueText::FormatChoices(control));
    return words.empty() ? NJsonDocument::Compact(change) : words;
}
} // namespace

void CWatchCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("CODE", mCodes, "Control codes, such as LUM or KST+TLPX")->type_name("")->required();
    arguments.add_option("--count", mCount, "End after so many changes; the state at the start is none")
        ->type_name("N")
        ->check(CLI::Range(1u, std::numeric_limits<unsigned>::max()).description(""));
    arguments.add_option("--seconds", mSeconds, "End after so many seconds")
        ->type_name("S")
        ->check(CLI::Range(kMinSeconds, kMaxSeconds).description(""));
}

EExitCode CWatchCommand::Run(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    link.Watch(Describe(session));
    const CStopRequest stop;
    const auto end = Clock::now() + std::chrono::milliseconds(static_cast<std::int64_t>(mSeconds * 1000.0));
    unsigned changes = 0;
    while (mCount == 0 || changes < mCount)
    {
        std::optional<std::chrono::milliseconds> left;
        if (mSeconds > 0.0)
            left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        Json::Value change;
        if ((left && left->count() <= 0) ||
            link.WaitForChange(change, left, stop.GetDescriptor()) != IProjectorLink::EWait::Change)
            break;
        Print(session, change);
        if (!session.Flush())
            break;
        changes += IsState(change) ? 0 : 1;
    }
    return EExitCode::Done;
}

std::vector<std::string> CWatchCommand::Describe(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    std::vector<std::string> codes; // in the order given, each once: a second registration shows nothing more
    for (const std::string& typed : mCodes)
    {
        const std::string code = NDisplayText::UpperCode(typed);
        if (mControls.count(code) > 0)
            continue;
        std::optional<CControlInfo> control = link.Describe(code, IProjectorLink::ENeed::Show);
        if (!control)
        {
            link.Get(code); // refused by its name, while a refused subscription would name all of them
            control = CControlInfo::Unlisted(code);
        }
        mControls.emplace(code, std::move(*control));
        codes.push_back(code);
    }
    return codes;
}

void CWatchCommand::Print(CSession& session, const Json::Value& change)
{
    if (session.GetOptions().mJson)
    {
        session.Out() << NJsonDocument::Compact(change) << '\n';
        return;
    }
    const std::string code = CControlInfo(change).GetCode();
    CControlInfo& control = mControls.emplace(code, CControlInfo::Unlisted(code)).first->second;
    control.Merge(change);
    session.Out() << session.GetStyle().Dim(TimeOfDay()) << ' ' << session.GetStyle().Bold(code) << ' '
                  << NDisplayText::Printable(DescribeChange(control, change)) << '\n';
}
