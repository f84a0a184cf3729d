// The fan of one zone, as the board drives it.
#pragma once

#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/include/IFan.h"

/// The board is not owned and must outlive it.
class CBoardFan : public IFan
{
public:
    CBoardFan(ICoolingBoard& board, EThermalZone zone) noexcept
        : mBoard(board)
        , mZone(zone)
    {
    }

    void SetDemand(double demand) override { mBoard.SetFanDemand(mZone, demand); }
    double GetSpeed() const override { return mBoard.GetFanSpeed(mZone); }

private:
    ICoolingBoard& mBoard;
    const EThermalZone mZone;
};
