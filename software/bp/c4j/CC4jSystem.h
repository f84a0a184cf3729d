// The methods of the module "system".
#pragma once

#include "software/bp/c4j/CC4jBaseHandler.h"

class CJobScheduler;

/// Tells how the controller itself is doing. The scheduler is not owned and must outlive it.
class CC4jSystem : public CC4jBaseHandler
{
public:
    CC4jSystem(CJsonRpcServer& server, const CJobScheduler& scheduler);

    /// [{"name", "periodUs", "runs", "latenessUs": {"min", "mean", "max"}, "durationUs": the same}, ...] in
    /// the order in which the jobs run. The numbers are of the last 50 runs at most; "runs" says how many.
    bool Jobs(const Json::Value& request, Json::Value& response);

private:
    const CJobScheduler& mScheduler;
};
