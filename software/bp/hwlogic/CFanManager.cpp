// Whatever goes wrong on the way, a fan gets a demand that cools.
#include "software/bp/hwlogic/CFanManager.h"

#include "software/bp/hwlogic/CBaseStimulus.h"
#include "software/include/IFan.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr double kPercent = 100.0;

double Valid(double demand) noexcept
{
    return std::isnan(demand) ? kPercent : std::clamp(demand, 0.0, kPercent);
}
} // namespace

CFanManager::CFanManager(IFan& fan, std::uint16_t index, double safeDemand)
    : mFan(fan)
    , mIndex(index)
    , mSafeDemand(safeDemand)
{
    Tell(mSafeDemand);
}

CFanManager::~CFanManager()
{
    for (const SEntry& entry : mStimuli)
        entry.mStimulus->RemoveDependentFan(this);
    Tell(mSafeDemand);
}

void CFanManager::AddStimulus(CBaseStimulus& stimulus, EStimulusStage stage)
{
    const auto behind = std::find_if(mStimuli.begin(), mStimuli.end(),
                                     [=](const SEntry& entry) { return entry.mStage > stage; });
    mStimuli.insert(behind, {stage, &stimulus});
    stimulus.AddDependentFan(this);
}

void CFanManager::Update()
{
    mIsRunning = true;
    double demand = kBaseDemand;
    for (const SEntry& entry : mStimuli)
        demand = entry.mStimulus->ApplyTransformation(demand, mIndex);
    Tell(demand);
}

void CFanManager::OnStimulusChange(const IStimulus&)
{
    if (mIsRunning)
        Update();
}

void CFanManager::Tell(double demand)
{
    mDemand = Valid(demand);
    mFan.SetDemand(mDemand / kPercent);
}
