// Words of the formatter's test patterns, and what is refused before any of them.
#include "software/bp/rtl/fpga/patterns/CFormatterTestPattern.h"

#include "tests/support/CRecordingBus.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <functional>

using NFpga::CFormatterTestPattern;

TEST(FormatterTestPattern, WritesWholeWords)
{
    CRecordingBus bus;
    CFormatterTestPattern pattern(bus, 1, 0, 0x20);
    pattern.SetPattern(CFormatterTestPattern::eColourBars);
    pattern.SetColor(0x123, 0x456, 0x789);
    pattern.SetLowGreyLevel(0x10); // the high level stays as it is after power-up
    pattern.SetHighGreyLevel(0xEEE);
    pattern.SetTiming({4096, 2160, 4400, 2250});
    EXPECT_EQ(bus.Take(),
              (std::vector<std::string>{
                  "Request c1 @0 x1 fixed =4 <0 10ms", "Request c1 @4 x1 fixed =456123 <0 10ms",
                  "Request c1 @8 x1 fixed =789 <0 10ms", "Request c1 @c x1 fixed =fff0010 <0 10ms",
                  "Request c1 @c x1 fixed =eee0010 <0 10ms", "Request c1 @10 x1 fixed =8701000 <0 10ms",
                  "Request c1 @14 x1 fixed =8ca1130 <0 10ms"}));
}

TEST(FormatterTestPattern, RefusesWhatCannotBeShown)
{
    CRecordingBus bus;
    CFormatterTestPattern pattern(bus, 1, 0, 0x20);
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"There is no test pattern 5", [&] { pattern.SetPattern(CFormatterTestPattern::kPatternCount); }},
        {"Field Blue cannot hold 4096 (0 to 4095)", [&] { pattern.SetColor(1, 2, 4096); }},
        {"Field LowGrey cannot hold 4096 (0 to 4095)", [&] { pattern.SetLowGreyLevel(4096); }},
        {"Impossible timing: 0x1080 of 2200x1125",
         [&] {
             pattern.SetTiming({0, 1080, 2200, 1125});
         }},
        {"Impossible timing: 1920x1125 of 2200x1125",
         [&] {
             pattern.SetTiming({1920, 1125, 2200, 1125});
         }},
        {"Impossible timing: 1920x1080 of 65536x1125",
         [&] {
             pattern.SetTiming({1920, 1080, 65536, 1125});
         }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_EQ(MessageOf(call), text);
    EXPECT_TRUE(bus.Take().empty());
}
