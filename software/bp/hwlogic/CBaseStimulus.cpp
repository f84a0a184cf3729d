// The walk goes over a copy, so that a fan may leave while it is told.
#include "software/bp/hwlogic/CBaseStimulus.h"

#include "software/bp/hwlogic/IFanManager.h"

#include <algorithm>
#include <utility>

CBaseStimulus::CBaseStimulus(std::string name)
    : mName(std::move(name))
{
}

void CBaseStimulus::AddDependentFan(IFanManager* fan)
{
    if (fan != nullptr && std::find(mFans.begin(), mFans.end(), fan) == mFans.end())
        mFans.push_back(fan);
}

void CBaseStimulus::RemoveDependentFan(IFanManager* fan)
{
    mFans.erase(std::remove(mFans.begin(), mFans.end(), fan), mFans.end());
}

void CBaseStimulus::NotifyChange()
{
    const std::vector<IFanManager*> fans = mFans;
    for (IFanManager* fan : fans)
        if (std::find(mFans.begin(), mFans.end(), fan) != mFans.end()) // still there
            fan->OnStimulusChange(*this);
}
