// Open to all: nothing here can be changed.
#include "software/bp/c4j/CC4jSystem.h"

#include "software/utility/CJobScheduler.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace
{
constexpr char kModule[] = "system";
constexpr unsigned kModuleVersion = 1;

Json::Value MakeSpread(std::uint32_t least, std::uint32_t mean, std::uint32_t most)
{
    Json::Value spread(Json::objectValue);
    spread["min"] = least;
    spread["mean"] = mean;
    spread["max"] = most;
    return spread;
}
} // namespace

CC4jSystem::CC4jSystem(CJsonRpcServer& server, const CJobScheduler& scheduler)
    : CC4jBaseHandler(server, kModule, kModuleVersion)
    , mScheduler(scheduler)
{
    static constexpr SMethod<CC4jSystem> kMethods[] = {
        {"system:version", &CC4jSystem::Version},
        {"system:jobs", &CC4jSystem::Jobs},
    };
    AddMethods(*this, kMethods);
}

bool CC4jSystem::Jobs(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    Json::Value jobs(Json::arrayValue);
    for (std::size_t i = 0; i < mScheduler.GetNumJobs(); ++i)
    {
        const SJobStatistics s = mScheduler.GetJobStatistics(i);
        Json::Value job(Json::objectValue);
        job["name"] = mScheduler.GetJobName(i);
        job["periodUs"] = mScheduler.FindJob(i).mPeriod; // the statistics have none before the first run
        job["runs"] = s.mRecords;
        job["latenessUs"] = MakeSpread(s.mMinLateness, s.mMeanLateness, s.mMaxLateness);
        job["durationUs"] = MakeSpread(s.mMinDuration, s.mMeanDuration, s.mMaxDuration);
        jobs.append(std::move(job));
    }
    SetResult(response, std::move(jobs));
    return true;
}
