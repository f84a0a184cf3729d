// Who wants to know when a stimulus changes.
#pragma once

class IStimulus;

class IFanManager
{
public:
    virtual ~IFanManager() = default;

    virtual void OnStimulusChange(const IStimulus& stimulus) = 0; ///< its transformation is another one now
};
