// What the main board of a projector can be told.
#pragma once

/// The adjustments of the picture that the board makes by a number.
enum class EPictureSetting
{
    Brightness,
    Contrast,
    Gamma,
    Sharpness,
    ColourTemperature,
    Aspect,
    Orientation,
    Freeze,
};

/// The board's side of power, light and picture. Every operation says whether the board took it, and none may
/// block. Used from the loop's thread.
class IProjectorBoard
{
public:
    virtual ~IProjectorBoard() = default;

    virtual bool SetPower(bool on) = 0;
    virtual bool SetShutter(bool closed) = 0;
    virtual bool SetLightOutput(double fraction) = 0; ///< 0 to 1 of the full output
    virtual bool SelectSource(int source) = 0;        ///< value of the list entry
    virtual bool ShowTestPattern(int pattern) = 0;    ///< value of the list entry, 0 for none
    virtual bool SetPicture(EPictureSetting setting, int value) = 0;
};
