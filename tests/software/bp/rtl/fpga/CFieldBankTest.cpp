// What the helpers send for each operation, and the maps that they refuse.
#include "software/bp/rtl/fpga/CFieldBank.h"

#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingBus.h"
#include "tests/support/CSteppingClock.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <vector>

using NFpga::EFieldKind;
using NFpga::SField;

namespace
{
using Calls = std::vector<std::string>;

enum EField
{
    eMode,
    eLevel,
    eStart,
    eErrors,
    eBusy,
    eKey,
    eTable,
    kFieldCount,
};
constexpr std::array<SField, kFieldCount> kMap = {{
    {"Mode", 0x0, 0, 0x7, EFieldKind::ReadWrite, 2, "", ""},
    {"Level", 0x0, 8, 0xFF00, EFieldKind::ReadWrite, 0x80, "", ""},
    {"Start", 0x0, 16, 0x10000, EFieldKind::Pulse, 0, "", ""},
    {"Errors", 0x0, 20, 0xF00000, EFieldKind::WriteOneClears, 0, "", ""},
    {"Busy", 0x4, 31, 0x80000000, EFieldKind::ReadOnly, 0, "", ""},
    {"Key", 0x8, 0, 0xFFFFFFFF, EFieldKind::WriteOnly, 0, "", ""},
    {"Table", 0xC, 0, 0xFFFFFFFF, EFieldKind::Port, 0, "", ""},
}};
static_assert(NFpga::IsSoundMap(kMap, 0x10));

class FieldBank : public testing::Test
{
protected:
    CRecordingBus mBus;
    NFpga::CFieldBank mFields{mBus, 1, 0x200, 0x10, kMap};
};
} // namespace

TEST_F(FieldBank, OneTransferChangesFieldsOfOneWord)
{
    mFields.Write(eMode, 5); // the neighbour is as after power-up
    mFields.WriteSeveral({{eMode, 1}, {eLevel, 0x22}});
    mFields.WriteWait(eLevel, 0x33);
    EXPECT_EQ(mBus.Take(), (Calls{"Send c1 @200 x1 fixed =8005", "Request c1 @200 x1 fixed =2201 <0 10ms",
                                  "Request c1 @200 x1 fixed =3301 <0 10ms"}));
    EXPECT_EQ(mFields.ReadShadow(eLevel), 0x33u);
}

TEST_F(FieldBank, NothingIsSetOffByAccident)
{
    mBus.mReply = {0x00F12207}; // errors are up, and the start bit reads as 1
    EXPECT_EQ(mFields.Read(eErrors), 0xFu);
    mFields.Write(eMode, 3);
    mFields.Pulse(eStart);
    mFields.Pulse(eErrors);
    mFields.WriteSeveral({{eLevel, 1}});
    EXPECT_EQ(mBus.Take(),
              (Calls{"Request c1 @200 x0 inc <1 10ms", "Send c1 @200 x1 fixed =2203",
                     "Request c1 @200 x1 fixed =12203 <0 10ms", "Request c1 @200 x1 fixed =f02203 <0 10ms",
                     "Request c1 @200 x1 fixed =103 <0 10ms"}));
}

TEST_F(FieldBank, WaitsForABitAndLoadsATable)
{
    const CSteppingClock clock(1000);
    mBus.mReply = {0x80000000};
    EXPECT_TRUE(mFields.WaitFor(eBusy, 1, clock, 0));
    EXPECT_FALSE(mFields.WaitFor(eBusy, 0, clock, 20));
    EXPECT_GT(mBus.Take().size(), 15u);
    const std::vector<std::uint32_t> table(300, 7);
    mFields.LoadTable(eTable, table.data(), 300, 0);
    EXPECT_EQ(mBus.Take(), (Calls{"Send c1 @20c x256 fixed", "Send c1 @20c x44 fixed"}));
}

TEST_F(FieldBank, RefusesBeforeAnythingChanges)
{
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"Field Mode cannot hold 8 (0 to 7)", [&] { mFields.Write(eMode, 8); }},
        {"Field Level cannot hold 256 (0 to 255)",
         [&] {
             mFields.WriteSeveral({{eMode, 1}, {eLevel, 256}});
         }},
        {"Fields Mode and Key are not in one word",
         [&] {
             mFields.WriteSeveral({{eMode, 1}, {eKey, 1}});
         }},
        {"Field Busy cannot be written", [&] { mFields.Write(eBusy, 1); }},
        {"Field Table cannot be written", [&] { mFields.WriteWait(eTable, 1); }},
        {"Field Key cannot be read", [&] { mFields.Read(eKey); }},
        {"Field Mode does not react to ones", [&] { mFields.Pulse(eMode); }},
        {"Field Mode is no port", [&] { mFields.LoadTable(eMode, nullptr, 0, 0); }},
        {"There is no field 7", [&] { mFields.Read(kFieldCount); }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_EQ(MessageOf(call), text);
    EXPECT_EQ(mBus.Take(), Calls{});
    EXPECT_EQ(mFields.ReadShadow(eMode), 2u);
}

TEST_F(FieldBank, RefusesMapsThatCannotBe)
{
    const SField good{"Good", 0x4, 4, 0xF0, EFieldKind::ReadWrite, 0, "", ""};
    struct SCase
    {
        SField mField;
        const char* mText;
    };
    const SCase cases[] = {
        {{"A", 0x4, 7, 0x80, EFieldKind::ReadOnly, 0, "", ""}, "Register map: fields Good and A overlap"},
        {{"B", 0x6, 0, 1, EFieldKind::ReadWrite, 0, "", ""},
         "Register map: field B does not fit a block of 0x10 bytes"},
        {{"C", 0x10, 0, 1, EFieldKind::ReadWrite, 0, "", ""},
         "Register map: field C does not fit a block of 0x10 bytes"},
        {{"D", 0x8, 1, 1, EFieldKind::ReadWrite, 0, "", ""},
         "Register map: field D does not fit a block of 0x10 bytes"},
        {{"E", 0x8, 0, 5, EFieldKind::ReadWrite, 0, "", ""},
         "Register map: field E does not fit a block of 0x10 bytes"},
        {{"F", 0x8, 0, 0, EFieldKind::ReadWrite, 0, "", ""},
         "Register map: field F does not fit a block of 0x10 bytes"},
        {{"G", 0x8, 0, 3, EFieldKind::ReadWrite, 4, "", ""},
         "Register map: field G does not fit a block of 0x10 bytes"},
        {{"H", 0x8, 0, 0xFF, EFieldKind::Port, 0, "", ""},
         "Register map: field H does not fit a block of 0x10 bytes"},
        {{"I", 0x8, 0, 0xFF, EFieldKind::ReadWrite, 0, "", ""}, ""},
    };
    for (const SCase& test : cases)
    {
        const std::array<SField, 2> map{good, test.mField};
        EXPECT_EQ(MessageOf([&] { NFpga::CFieldBank(mBus, 1, 0, 0x10, map); }), test.mText);
        EXPECT_EQ(NFpga::IsSoundMap(map, 0x10), *test.mText == '\0') << test.mField.mName;
    }
}
