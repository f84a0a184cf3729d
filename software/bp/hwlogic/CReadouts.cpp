// From a measured quantity to the digits that its control shows.
#include "software/bp/hwlogic/CReadouts.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"

#include <algorithm>
#include <cmath>
#include <utility>

void CReadouts::Add(const std::string& code, std::function<double()> measure)
{
    mReadouts.push_back({code, std::move(measure)});
}

void CReadouts::Update()
{
    for (const SReadout& readout : mReadouts)
    {
        CProjCon* control = mDispatcher.GetControl(readout.mCode);
        if (control == nullptr)
            continue;
        const double digits = readout.mMeasure() / control->GetScalingFactor();
        if (!std::isfinite(digits))
            continue;
        const double shown = std::clamp(std::round(digits), static_cast<double>(control->GetMinValue()),
                                        static_cast<double>(control->GetMaxValue()));
        const int value = static_cast<int>(shown); // the range is one of int
        if (value != control->GetValue())
            control->SetValue(value, eChangeNoApply);
    }
}
