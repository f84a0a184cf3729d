// How a projector weighs noise against heat.
#pragma once

class IThermalMode
{
public:
    enum ETcmMode : int
    {
        eModeDefault = 0,
        eModeQuiet = 1,
        eModePerformance = 2,
    };

    virtual ~IThermalMode() = default;

    virtual ETcmMode GetMode() const = 0;
};
