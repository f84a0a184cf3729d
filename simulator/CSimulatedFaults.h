// Faults of the simulated projector that can be switched on, to see what is made of them.
#pragma once

#include "software/bp/serial/IControlProxy.h"

#include <string_view>

class CSimulatedBoard;

/// The proxy of the controls SIM+FANS (0 none, 1 to 3 the fan that is stuck) and SIM+SENS (0 none; how the
/// sensor of the image device fails: 1 silent, 2 absurd, 3 frozen). The board is not owned and must outlive
/// it. Used from the loop's thread.
class CSimulatedFaults : public IControlProxy
{
public:
    explicit CSimulatedFaults(CSimulatedBoard& board) noexcept
        : mBoard(board)
    {
    }

    static bool Serves(std::string_view code) noexcept; ///< whether the code is one of the two

    bool ApplyValue(const std::string& code, int value) override; ///< false for a fault that does not exist
    bool ApplyText(const std::string& code, const std::string& text) override; ///< false

private:
    CSimulatedBoard& mBoard;
};
