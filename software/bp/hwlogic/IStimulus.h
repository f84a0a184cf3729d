// One step from the base demand to what a fan is told.
#pragma once

#include <cstdint>
#include <string>

/// Demands are percent of full speed. Used from the loop's thread.
class IStimulus
{
public:
    virtual ~IStimulus() = default;

    /// @param fan  index of the fan that asks
    virtual double ApplyTransformation(double demand, std::uint16_t fan = 0) = 0;
    virtual const std::string& GetName() const = 0;
};
