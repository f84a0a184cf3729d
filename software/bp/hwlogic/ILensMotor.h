// One motorised axis of the lens.
#pragma once

/// How far an axis can go, in motor steps from its home position.
struct SLensTravel
{
    int mLowest = 0;  ///< steps, at most 0
    int mHighest = 0; ///< steps, at least 0
};

/// Drives one axis. A move is only started here and goes on by itself; a new target replaces the one before
/// it. Used from the loop's thread; no operation may block.
class ILensMotor
{
public:
    virtual ~ILensMotor() = default;

    virtual SLensTravel GetTravel() const = 0;
    virtual int GetPosition() const = 0; ///< steps from home, where the axis is at this moment

    virtual bool MoveTo(int steps) = 0; ///< false when the drive refused
    virtual bool Home() = 0;            ///< finds position 0 and stays there; false when the drive refused
};
