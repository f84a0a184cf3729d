// Which operation of the board each code stands for.
#include "software/bp/hwlogic/CBoardProxy.h"

#include "software/bp/hwlogic/IProjectorBoard.h"

#include <algorithm>
#include <iterator>

namespace
{
constexpr double kFullLight = 1000.0; // LUM counts tenths of a percent

struct SBoardControl
{
    std::string_view mCode;
    bool (*mApply)(IProjectorBoard& board, int value);
};

template <EPictureSetting Setting>
bool ApplyPicture(IProjectorBoard& board, int value)
{
    return board.SetPicture(Setting, value);
}

constexpr SBoardControl kBoardControls[] = {
    {"PWR", [](IProjectorBoard& board, int value) { return board.SetPower(value != 0); }},
    {"SHT", [](IProjectorBoard& board, int value) { return board.SetShutter(value != 0); }},
    {"LUM", [](IProjectorBoard& board, int value) { return board.SetLightOutput(value / kFullLight); }},
    {"SRC", [](IProjectorBoard& board, int value) { return board.SelectSource(value); }},
    {"PAT", [](IProjectorBoard& board, int value) { return board.ShowTestPattern(value); }},
    {"BRI", ApplyPicture<EPictureSetting::Brightness>},
    {"CTR", ApplyPicture<EPictureSetting::Contrast>},
    {"GAM", ApplyPicture<EPictureSetting::Gamma>},
    {"SHP", ApplyPicture<EPictureSetting::Sharpness>},
    {"CLT", ApplyPicture<EPictureSetting::ColourTemperature>},
    {"ASP", ApplyPicture<EPictureSetting::Aspect>},
    {"ORI", ApplyPicture<EPictureSetting::Orientation>},
    {"FRZ", ApplyPicture<EPictureSetting::Freeze>},
};

const SBoardControl* Find(std::string_view code) noexcept
{
    const auto row = std::find_if(std::begin(kBoardControls), std::end(kBoardControls),
                                  [=](const SBoardControl& control) { return control.mCode == code; });
    return row == std::end(kBoardControls) ? nullptr : row;
}
} // namespace

bool CBoardProxy::Serves(std::string_view code) noexcept
{
    return Find(code) != nullptr;
}

bool CBoardProxy::ApplyValue(const std::string& code, int value)
{
    const SBoardControl* control = Find(code);
    return control != nullptr && control->mApply(mBoard, value);
}

bool CBoardProxy::ApplyText(const std::string&, const std::string&)
{
    return false;
}
