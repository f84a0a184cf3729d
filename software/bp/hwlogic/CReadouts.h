// Shows measured quantities in read-only controls.
#pragma once

#include <functional>
#include <string>
#include <vector>

class CEventDispatcher;

/// A control is set only when the number it shows changes, so that a projector at rest announces nothing.
/// The dispatcher is not owned and must outlive it. Used from the loop's thread.
class CReadouts
{
public:
    explicit CReadouts(CEventDispatcher& dispatcher) noexcept
        : mDispatcher(dispatcher)
    {
    }

    /// @param code     control that shows it; one that does not exist is passed over
    /// @param measure  gives the quantity in the control's unit; what is not a number leaves the control as
    /// it is
    void Add(const std::string& code, std::function<double()> measure);

    void Update(); ///< brings every control up to date

private:
    struct SReadout
    {
        std::string mCode;
        std::function<double()> mMeasure;
    };

    CEventDispatcher& mDispatcher;
    std::vector<SReadout> mReadouts;
};
