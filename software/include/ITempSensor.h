// A temperature sensor, whatever it is made of.
#pragma once

/// Used from one thread; no operation may block for long.
class ITempSensor
{
public:
    virtual ~ITempSensor() = default;
    virtual double GetTemperature() = 0; ///< °C; not a number when the sensor is silent
};
