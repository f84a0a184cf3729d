// One fan.
#pragma once

/// Used from the loop's thread; no operation may block or throw. A board whose controller is silent runs its
/// fans at their safe speed by itself.
class IFan
{
public:
    virtual ~IFan() = default;

    virtual void SetDemand(double demand) = 0; ///< 0 (stopped) to 1 (full speed)
    virtual double GetSpeed() const = 0;       ///< rpm; not a number when it does not tell
};
