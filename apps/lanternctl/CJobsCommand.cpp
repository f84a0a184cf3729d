// A table of what "system:jobs" answers.
#include "apps/lanternctl/CJobsCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>

namespace
{
constexpr double kUsPerMs = 1000.0;
constexpr std::size_t kNumberWidth = 11; // columns; the figures stand under each other's last digit

std::string Right(const std::string& text)
{
    const std::size_t width = NDisplayText::Width(text);
    return std::string(kNumberWidth - std::min(width, kNumberWidth), ' ') + text;
}

std::string AsText(const Json::Value& value)
{
    return value.isString() ? value.asString() : NJsonDocument::Compact(value);
}

// What a newer projector answers in another form is shown as it is.
std::string AsMs(const Json::Value& us, int decimals)
{
    if (!us.isNumeric())
        return Right(AsText(us));
    char text[64];
    std::snprintf(text, sizeof text, "%.*f ms", decimals, us.asDouble() / kUsPerMs);
    return Right(text);
}

const Json::Value& MemberOf(const Json::Value& value, const char* name)
{
    return value.isObject() ? value[name] : Json::Value::nullSingleton();
}
} // namespace

void CJobsCommand::Declare(CLI::App&) {}

EExitCode CJobsCommand::Run(CSession& session)
{
    const Json::Value jobs = session.GetTcpLink().Call("system:jobs", Json::Value());
    CTextTable table{"JOB",        Right("PERIOD"),    Right("RUNS"), Right("LATE mean"),
                     Right("max"), Right("TOOK mean"), Right("max")};
    for (const Json::Value& job : jobs)
    {
        if (session.GetOptions().mJson)
        {
            session.Out() << NJsonDocument::Compact(job) << '\n';
            continue;
        }
        const Json::Value& late = MemberOf(job, "latenessUs");
        const Json::Value& took = MemberOf(job, "durationUs");
        table.AddRow({AsText(MemberOf(job, "name")), AsMs(MemberOf(job, "periodUs"), 0),
                      Right(AsText(MemberOf(job, "runs"))), AsMs(MemberOf(late, "mean"), 3),
                      AsMs(MemberOf(late, "max"), 3), AsMs(MemberOf(took, "mean"), 3),
                      AsMs(MemberOf(took, "max"), 3)});
    }
    if (!session.GetOptions().mJson)
        table.Print(session.Out(), session.GetStyle());
    return EExitCode::Done;
}
