// A light of three colours on the front of a board.
#pragma once

namespace NFpga
{
class ILedTriColor
{
public:
    enum EColor ///< bit 0 red, bit 1 green, bit 2 blue
    {
        eOff = 0,
        eRed = 1,
        eGreen = 2,
        eYellow = 3,
        eBlue = 4,
        eMagenta = 5,
        eCyan = 6,
        eWhite = 7,
    };

    virtual ~ILedTriColor() = default;
    virtual void SetColor(EColor color) = 0; ///< @throws CException
};
} // namespace NFpga
