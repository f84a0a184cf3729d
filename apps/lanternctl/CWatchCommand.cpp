// A loop around one wait.
#include "apps/lanternctl/CWatchCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CStopRequest.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NStatusTable.h"
#include "apps/lanternctl/NValueText.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iterator>
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

struct SEventRow
{
    CAlarmHistory::EEvent mEvent;
    const char* mWord;
};
constexpr SEventRow kEvents[] = {
    {CAlarmHistory::EEvent::Active, "active"},
    {CAlarmHistory::EEvent::Raised, "raised"},
    {CAlarmHistory::EEvent::Changed, "changed"},
    {CAlarmHistory::EEvent::Cleared, "cleared"},
};

const char* GetWord(CAlarmHistory::EEvent event)
{
    return std::find_if(std::begin(kEvents), std::end(kEvents),
                        [=](const SEventRow& row) { return row.mEvent == event; })
        ->mWord;
}

Json::Value MakeObject(const CAlarmHistory::SEvent& event)
{
    Json::Value object(Json::objectValue);
    object["event"] = GetWord(event.mEvent);
    object["alarm"] = event.mAlarm;
    return object;
}

// "alarm raised: Temperature, Image device, 68.1 °C"; of a cleared one the value is that of a while ago.
std::string DescribeAlarm(const CAlarmHistory::SEvent& event)
{
    const Json::Value& alarm = event.mAlarm;
    std::string words = NStatusTable::GetWord(alarm["status"]) + " " + GetWord(event.mEvent) + ":";
    const char* separator = " ";
    for (const char* member : {"group", "desc", "value"})
    {
        const bool isOld = event.mEvent == CAlarmHistory::EEvent::Cleared && member == std::string("value");
        if (isOld || !alarm[member].isString() || alarm[member].asString().empty())
            continue;
        words += separator + alarm[member].asString();
        separator = ", ";
    }
    return words;
}
} // namespace

void CWatchCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("CODE", mCodes, "Control codes, such as LUM or KST+TLPX")->type_name("");
    arguments.add_flag("--alarms", mWatchesAlarms, "The alarms, too: each that is raised or cleared");
    arguments.add_option("--count", mCount, "End after so many changes; the state at the start is none")
        ->type_name("N")
        ->check(CLI::Range(1u, std::numeric_limits<unsigned>::max()).description(""));
    arguments.add_option("--seconds", mSeconds, "End after so many seconds")
        ->type_name("S")
        ->check(CLI::Range(kMinSeconds, kMaxSeconds).description(""));
    arguments.callback(
        [this]
        {
            if (mCodes.empty() && !mWatchesAlarms)
                throw CLI::RequiredError("CODE or --alarms");
        });
}

EExitCode CWatchCommand::Run(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    if (mWatchesAlarms)
        link.WatchAlarms();
    if (!mCodes.empty())
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
        changes += Print(session, change);
        if (!session.Flush())
            break;
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

unsigned CWatchCommand::Print(CSession& session, const Json::Value& change)
{
    if (change.isMember("alarms"))
        return PrintAlarms(session, change["alarms"]);
    PrintChange(session, change);
    return IsState(change) ? 0 : 1;
}

unsigned CWatchCommand::PrintAlarms(CSession& session, const Json::Value& alarms)
{
    unsigned changes = 0;
    for (const CAlarmHistory::SEvent& event : mAlarms.Take(alarms))
    {
        changes += event.mEvent == CAlarmHistory::EEvent::Active ? 0 : 1;
        if (session.GetOptions().mJson)
        {
            session.Out() << NJsonDocument::Compact(MakeObject(event)) << '\n';
            continue;
        }
        const std::string words = NDisplayText::Printable(DescribeAlarm(event));
        const bool isOver = event.mEvent == CAlarmHistory::EEvent::Cleared;
        session.Out() << session.GetStyle().Dim(TimeOfDay()) << ' '
                      << (isOver ? words : session.GetStyle().Red(words)) << '\n';
    }
    return changes;
}

void CWatchCommand::PrintChange(CSession& session, const Json::Value& change)
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
