// Values of controls as people write them, and back.
#pragma once

#include <json/value.h>
#include <string>

class CControlInfo;

namespace NValueText
{
enum class EUnit
{
    Hidden, ///< for scripts
    Shown,  ///< for people
};

/// A value of this control: "73.5 %", "on", "HDMI 2", a text as it is, "-" where there is nothing to read.
std::string Format(const CControlInfo& control, const Json::Value& value, EUnit unit);

/// "0.0 to 100.0 %", "0 to 32 bytes", "5 choices"; empty for a control without a range.
std::string FormatRange(const CControlInfo& control);
/// The soft range in the same form, empty when the control has none.
std::string FormatSoftRange(const CControlInfo& control);
/// All choices in one line, quoted as a shell takes them: "HDMI 1", "SDI" (disabled).
std::string FormatChoices(const CControlInfo& control);
/// The type in words and its number, "choice (400)".
std::string FormatType(const CControlInfo& control);

/// What a person typed, as the projector wants it. Numbers may carry the control's unit. Choices are found by
/// their text, without regard to case where that is clear, else by number.
/// @throws CCommandFailure (wrong usage) naming what is wrong and, for a choice, what there is
Json::Value Parse(const CControlInfo& control, const std::string& text);

/// Whether this control is set without a value: actions, menu and custom entries.
bool TakesNoValue(const CControlInfo& control) noexcept;
/// What is sent for such a control.
Json::Value Trigger();
} // namespace NValueText
