// One row a family: what the rules of controls turn on.
#include "software/bp/serial/EDisplayType.h"

namespace
{
constexpr int kFamilySize = 100;

// In the order of their hundreds.
// clang-format off
constexpr SControlFamily kFamilies[] = {
    // family                 value rule           value form           range  applies notifies refreshes
    {EControlFamily::Boolean, EValueRule::Clamp,   EValueForm::Boolean, true,  false,  false,   true },
    {EControlFamily::Integer, EValueRule::Clamp,   EValueForm::Number,  true,  false,  false,   true },
    {EControlFamily::Text,    EValueRule::Refuse,  EValueForm::Text,    true,  false,  false,   true },
    {EControlFamily::List,    EValueRule::Entry,   EValueForm::Number,  false, false,  false,   true },
    {EControlFamily::Action,  EValueRule::Default, EValueForm::Nothing, false, false,  false,   true },
    {EControlFamily::Menu,    EValueRule::Default, EValueForm::Nothing, false, true,   false,   false},
    {EControlFamily::Custom,  EValueRule::Default, EValueForm::Nothing, false, false,  true,    true },
};
// clang-format on
constexpr int kFamilyCount = sizeof kFamilies / sizeof kFamilies[0];

constexpr SControlFamily kNoFamily = {
    EControlFamily::None, EValueRule::Refuse, EValueForm::Number, false, false, false, true};
} // namespace

const SControlFamily& GetControlFamily(EDisplayType type) noexcept
{
    const int hundred = type / kFamilySize;
    return hundred >= 1 && hundred <= kFamilyCount ? kFamilies[hundred - 1] : kNoFamily;
}
