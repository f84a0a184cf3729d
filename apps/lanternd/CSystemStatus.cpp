// One row an item.
#include "apps/lanternd/CSystemStatus.h"

#include "software/bp/status/CStatusDb.h"

namespace
{
constexpr char kGroup[] = "System";
constexpr char kFine[] = "OK";

struct SItemRow
{
    ESystemItem mItem;
    const char* mDescription;
};
constexpr SItemRow kItems[] = {
    {ESystemItem::ControlValues, "Control values"},
    {ESystemItem::Accounts, "Accounts"},
};
} // namespace

CSystemStatus::CSystemStatus(CStatusDb& status)
    : mStatus(status)
{
    status.AddGroup(kGroup, "status/system.png");
    for (const SItemRow& row : kItems)
    {
        status.AddItem(kGroup, static_cast<int>(row.mItem), row.mDescription);
        Report(row.mItem, eStatusOk, {});
    }
}

void CSystemStatus::Report(ESystemItem item, EStatusLevel level, const std::string& text)
{
    mStatus.Set(kGroup, static_cast<int>(item), level, text.empty() ? kFine : text);
}
