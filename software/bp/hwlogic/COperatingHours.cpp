// Whole digits of the counter go to the control, the rest is carried.
#include "software/bp/hwlogic/COperatingHours.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"

#include <algorithm>
#include <cmath>
#include <limits>

COperatingHours::COperatingHours(CEventDispatcher& dispatcher, const std::string& counter,
                                 const std::string& power)
    : mDispatcher(dispatcher)
    , mCounter(counter)
    , mPower(power)
{
}

void COperatingHours::Advance(std::chrono::milliseconds elapsed)
{
    const CProjCon* power = mDispatcher.GetControl(mPower);
    CProjCon* counter = mDispatcher.GetControl(mCounter);
    if (power == nullptr || counter == nullptr || power->GetValue() == 0)
        return;

    constexpr std::chrono::milliseconds kHour = std::chrono::hours(1);
    const std::chrono::milliseconds digit(
        std::max(1LL, std::llround(static_cast<double>(kHour.count()) * counter->GetScalingFactor())));
    mUncounted += elapsed;
    const long long digits = mUncounted / digit;
    if (digits == 0)
        return;
    mUncounted %= digit;
    const long long total =
        std::min<long long>(counter->GetValue() + digits, std::numeric_limits<int>::max());
    counter->SetValue(static_cast<int>(total), eChangeNoApply);
}
