// Binds the controls of power, light and picture to the main board.
#pragma once

#include "software/bp/serial/IControlProxy.h"

#include <string_view>

class IProjectorBoard;

/// One proxy for all controls of the board; which operation a code stands for is one table in its source.
/// The board is not owned and must outlive it. Used from the loop's thread.
class CBoardProxy : public IControlProxy
{
public:
    explicit CBoardProxy(IProjectorBoard& board) noexcept
        : mBoard(board)
    {
    }

    static bool Serves(std::string_view code) noexcept; ///< whether the code is one of the board

    bool ApplyValue(const std::string& code, int value) override; ///< false also for a code it does not serve
    bool ApplyText(const std::string& code,
                   const std::string& text) override; ///< false: the board takes none

private:
    IProjectorBoard& mBoard;
};
