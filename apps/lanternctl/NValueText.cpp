// One function a family of controls in each direction; numbers never become floating point.
#include "apps/lanternctl/NValueText.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CControlInfo.h"
#include "apps/lanternctl/NDecimal.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "apps/lanternctl/NUnitText.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace
{
constexpr char kNothing[] = "-";

struct SBooleanWord
{
    const char* mWord;
    bool mValue;
};
constexpr SBooleanWord kBooleanWords[] = {
    {"on", true},  {"off", false}, {"true", true}, {"false", false},
    {"yes", true}, {"no", false},  {"1", true},    {"0", false},
};

struct STypeWords
{
    EDisplayType mType;
    const char* mWords;
};
constexpr STypeWords kTypeWords[] = {
    {eDisplaySoftRange, "number with a soft range"},
    {eDisplaySoftValue, "number with a soft range and a soft value"},
    {eDisplayMultiline, "text of several lines"},
    {eDisplayDate, "date"},
    {eDisplayTime, "time of day"},
    {eDisplayIpAddress, "IPv4 address"},
};

const char* FamilyWords(EControlFamily family) noexcept
{
    switch (family)
    {
    case EControlFamily::Boolean: return "on or off";
    case EControlFamily::Integer: return "number";
    case EControlFamily::Text: return "text";
    case EControlFamily::List: return "choice";
    case EControlFamily::Action: return "action";
    case EControlFamily::Menu: return "menu";
    case EControlFamily::Custom: return "custom entry";
    case EControlFamily::None: break;
    }
    return "of no known type";
}

[[noreturn]] void RefuseUsage(const CControlInfo& control, const std::string& sentence)
{
    throw CCommandFailure(EExitCode::WrongUsage, control.GetCode() + ": " + sentence);
}

std::string Quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

std::string OnOrOff(bool on)
{
    return on ? "on" : "off";
}

std::string WithUnit(const CControlInfo& control, const std::string& number)
{
    const std::string unit = NUnitText::Pretty(control.GetUnit());
    return unit.empty() ? number : number + " " + unit;
}

std::string FormatNumber(const CControlInfo& control, const Json::Value& number)
{
    return NDecimal::Format(number.asInt64(), control.GetDecimals());
}

std::string FormatBounds(const CControlInfo& control, const char* minimum, const char* maximum)
{
    if (!control.HasNumber(minimum) || !control.HasNumber(maximum))
        return "";
    return WithUnit(control, FormatNumber(control, control.GetMember(minimum)) + " to " +
                                 FormatNumber(control, control.GetMember(maximum)));
}

std::string FormatLengths(const CControlInfo& control)
{
    if (!control.HasNumber("min") || !control.HasNumber("max"))
        return "";
    const std::string shortest = control.GetMember("min").asString();
    const std::string longest = control.GetMember("max").asString();
    return (shortest == longest ? longest : shortest + " to " + longest) + " bytes";
}

// The number of "73.5 %" or "73.5%"; a text with anything else behind its number comes back whole.
std::string StripUnit(const CControlInfo& control, const std::string& text)
{
    const std::size_t numberEnd = std::min(text.find_first_not_of("+-.0123456789"), text.size());
    const std::size_t unitStart = std::min(text.find_first_not_of(' ', numberEnd), text.size());
    const std::string unit = text.substr(unitStart);
    const bool isOurs = unit.empty() || NUnitText::IsSame(unit, control.GetUnit());
    return isOurs ? text.substr(0, numberEnd) : text;
}

std::string OneExample(unsigned decimals)
{
    return decimals == 0 ? "20" : NDecimal::Format(735, decimals);
}

Json::Value ParseNumber(const CControlInfo& control, const std::string& text)
{
    const unsigned decimals = control.GetDecimals();
    std::int32_t value = 0;
    switch (NDecimal::Parse(StripUnit(control, text), decimals, value))
    {
    case NDecimal::EParse::Ok: return value;
    case NDecimal::EParse::NotANumber:
        RefuseUsage(control, Quoted(text) + " is not a number such as " +
                                 Quoted(WithUnit(control, OneExample(decimals))));
    case NDecimal::EParse::TooManyDecimals:
        RefuseUsage(control, decimals == 0 ? Quoted(text) + " is not a whole number"
                                           : Quoted(text) + " has more decimals than the " +
                                                 std::to_string(decimals) + " that this control keeps");
    case NDecimal::EParse::TooLarge: break;
    }
    RefuseUsage(control, Quoted(text) + " is more than any control can hold");
}

Json::Value ParseBoolean(const CControlInfo& control, const std::string& text)
{
    const std::string folded = NDisplayText::FoldCase(text);
    const auto word = std::find_if(std::begin(kBooleanWords), std::end(kBooleanWords),
                                   [&](const SBooleanWord& w) { return folded == w.mWord; });
    if (word == std::end(kBooleanWords))
        RefuseUsage(control, Quoted(text) + " is neither \"on\" nor \"off\"");
    return control.HasBareNumbers() ? Json::Value(word->mValue ? 1 : 0) : Json::Value(word->mValue);
}

Json::Value ParseChoice(const CControlInfo& control, const std::string& text)
{
    const std::vector<SChoice> choices = control.GetChoices();
    const auto exact =
        std::find_if(choices.begin(), choices.end(), [&](const SChoice& c) { return c.mText == text; });
    if (exact != choices.end())
        return exact->mIndex;

    const std::string folded = NDisplayText::FoldCase(text);
    const auto isAlike = [&](const SChoice& c) { return NDisplayText::FoldCase(c.mText) == folded; };
    const auto alike = std::find_if(choices.begin(), choices.end(), isAlike);
    if (alike != choices.end())
    {
        if (std::any_of(std::next(alike), choices.end(), isAlike))
            RefuseUsage(control, Quoted(text) + " could be several choices; write it exactly: " +
                                     NValueText::FormatChoices(control));
        return alike->mIndex;
    }

    std::int32_t index = 0; // whether there is such an index is for the projector to say: it may hide some
    if (NDecimal::Parse(text, 0, index) == NDecimal::EParse::Ok)
        return index;
    RefuseUsage(control, choices.empty() ? "no such choice " + Quoted(text) + "; there is none at the moment"
                                         : "no such choice " + Quoted(text) +
                                               "; one of: " + NValueText::FormatChoices(control));
}

// A code without a description: a number goes as a number, anything else as text.
Json::Value ParseUnlisted(const std::string& text)
{
    std::int32_t value = 0;
    if (NDecimal::Parse(text, 0, value) == NDecimal::EParse::Ok)
        return value;
    return text;
}
} // namespace

std::string NValueText::Format(const CControlInfo& control, const Json::Value& value, EUnit unit)
{
    if (value.isNull())
        return kNothing;
    if (value.isString())
        return value.asString();
    if (value.isBool())
        return OnOrOff(value.asBool());
    if (!value.isInt64())
        return NJsonDocument::Compact(value);
    if (control.GetFamily() == EControlFamily::List)
        return control.GetChoiceText(value.asInt64());
    if (control.GetFamily() == EControlFamily::Boolean && !control.HasBareNumbers()) // of a default
        return OnOrOff(value.asInt64() != 0);
    const std::string number = FormatNumber(control, value);
    return unit == EUnit::Shown ? WithUnit(control, number) : number;
}

std::string NValueText::FormatRange(const CControlInfo& control)
{
    switch (control.GetFamily())
    {
    case EControlFamily::Integer: return FormatBounds(control, "min", "max");
    case EControlFamily::Text: return FormatLengths(control);
    case EControlFamily::List:
    {
        const std::size_t count = control.GetChoices().size();
        return std::to_string(count) + (count == 1 ? " choice" : " choices");
    }
    default: return ""; // the others have one range each, which their type says
    }
}

std::string NValueText::FormatSoftRange(const CControlInfo& control)
{
    return HasSoftRange(control.GetType()) ? FormatBounds(control, "softmin", "softmax") : "";
}

std::string NValueText::FormatChoices(const CControlInfo& control)
{
    std::string line;
    for (const SChoice& choice : control.GetChoices())
        line += (line.empty() ? "" : ", ") + Quoted(choice.mText) + (choice.mEnabled ? "" : " (disabled)");
    return line;
}

std::string NValueText::FormatType(const CControlInfo& control)
{
    const EDisplayType type = control.GetType();
    const auto own = std::find_if(std::begin(kTypeWords), std::end(kTypeWords),
                                  [&](const STypeWords& t) { return t.mType == type; });
    const char* words = own != std::end(kTypeWords) ? own->mWords : FamilyWords(control.GetFamily());
    return std::string(words) + " (" + std::to_string(static_cast<int>(type)) + ")";
}

Json::Value NValueText::Parse(const CControlInfo& control, const std::string& text)
{
    switch (control.GetFamily())
    {
    case EControlFamily::Boolean: return ParseBoolean(control, text);
    case EControlFamily::Integer: return ParseNumber(control, text);
    case EControlFamily::Text: return text;
    case EControlFamily::List: return ParseChoice(control, text);
    case EControlFamily::Action:
    case EControlFamily::Menu:
    case EControlFamily::Custom: return Trigger();
    case EControlFamily::None: break;
    }
    return ParseUnlisted(text);
}

bool NValueText::TakesNoValue(const CControlInfo& control) noexcept
{
    switch (control.GetFamily())
    {
    case EControlFamily::Action:
    case EControlFamily::Menu:
    case EControlFamily::Custom: return true;
    default: return false;
    }
}

Json::Value NValueText::Trigger()
{
    return 1;
}
