// "menu:get" for the pages, "control:list" for what they leave out.
#include "apps/lanternctl/CMenuReader.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CTcpLink.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NValueText.h"
#include "software/include/EAccessLevel.h"
#include "software/include/EError.h"

namespace
{
constexpr char kPrefix[] = "MMM+";
constexpr char kMainId[] = "MAIN";
constexpr char kItems[] = "items";
constexpr std::size_t kJoint = 3;          // place of the "+" in a code
constexpr std::size_t kMaxValueWidth = 40; // columns; a note of 255 bytes would push the rest off the screen
} // namespace

std::string CMenuReader::MenuCode(const std::string& typed)
{
    const std::string code = NDisplayText::UpperCode(typed.empty() ? kMainId : typed);
    return code.find('+') == std::string::npos ? kPrefix + code : code;
}

bool CMenuReader::NamesMenu(const std::string& typed)
{
    const std::string code = NDisplayText::UpperCode(typed);
    const std::size_t joint = code.find('+');
    return joint == std::string::npos ? code.size() > kJoint
                                      : code.compare(0, joint + 1, kPrefix) == 0 && code.size() > joint + 1;
}

std::optional<Json::Value> CMenuReader::Read(const std::string& code)
{
    try
    {
        return mLink.GetMenu(code);
    }
    catch (const CCommandFailure& failure)
    {
        if (failure.GetErrorCode() != eErrorBadFile) // which says that there is nothing in it
            throw;
    }
    return std::nullopt;
}

std::vector<CControlInfo> CMenuReader::GetItems(const Json::Value& page)
{
    if (!mIsListed)
        for (CControlInfo& control : mLink.List(""))
            mControls.emplace(control.GetCode(), std::move(control));
    mIsListed = true;
    std::vector<CControlInfo> items;
    for (const Json::Value& item : page[kItems])
    {
        CControlInfo info(item);
        const auto known = mControls.find(info.GetCode());
        if (known != mControls.end())
        {
            info = known->second;
            info.Merge(item);
        }
        items.push_back(std::move(info));
    }
    return items;
}

std::string CMenuReader::FormatValue(const CControlInfo& item)
{
    if (item.GetCode().empty() || NValueText::TakesNoValue(item))
        return "";
    if (item.GetAccessGroup() == eAccessProtected && !item.Knows("value"))
        return "(protected)";
    const std::string value = NValueText::Format(item, item.GetMember("value"), NValueText::EUnit::Shown);
    return NDisplayText::Clip(NDisplayText::Printable(value), kMaxValueWidth);
}
