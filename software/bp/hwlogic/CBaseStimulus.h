// What all stimuli have in common.
#pragma once

#include "software/bp/hwlogic/IStimulus.h"

#include <string>
#include <vector>

class IFanManager;

/// A name and the fans that depend on it. Fans are not owned and remove themselves before they go.
class CBaseStimulus : public IStimulus
{
public:
    explicit CBaseStimulus(std::string name);
    CBaseStimulus(const CBaseStimulus&) = delete;
    CBaseStimulus& operator=(const CBaseStimulus&) = delete;

    const std::string& GetName() const override { return mName; }

    void AddDependentFan(IFanManager* fan); ///< null and one that is there already change nothing
    void RemoveDependentFan(IFanManager* fan);

protected:
    /// Tells every dependent fan, in the order in which they were added. A fan may remove itself meanwhile.
    void NotifyChange();

private:
    const std::string mName;
    std::vector<IFanManager*> mFans;
};
