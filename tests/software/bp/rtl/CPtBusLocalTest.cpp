// What lands where in the window.
#include "software/bp/rtl/CPtBusLocal.h"

#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

namespace
{
using Window = std::array<std::uint32_t, 8>;
constexpr std::uint32_t kWords[] = {0x11223344, 0x55667788, 0x99AABBCC};
constexpr std::uint8_t kBytes[] = {1, 2, 3, 4, 5, 6};
const std::uint32_t* const kNothing = nullptr;
} // namespace

TEST(PtBusLocal, WritesWordsAndBytes)
{
    Window window{};
    CPtBusLocal plain(window.data(), sizeof window, false);
    CPtBusLocal swapping(window.data(), sizeof window, true);
    struct SCase
    {
        const char* mName;
        std::function<void()> mCall;
        Window mExpected;
    };
    const SCase cases[] = {
        {"words", [&] { plain.Send(9, 4, kWords, 2, true); }, {0, 0x11223344, 0x55667788}},
        {"swapped", [&] { swapping.Send(9, 4, kWords, 1, true); }, {0, 0x44332211}},
        {"fixed: the last one stays", [&] { plain.Send(9, 8, kWords, 3, false); }, {0, 0, 0x99AABBCC}},
        {"inside a word: its word", [&] { plain.Send(9, 7, kWords, 1, true); }, {0, 0x11223344}},
        {"bytes, never swapped",
         [&] { swapping.Send(9, 3, kBytes, 6, true); },
         {0x01000000, 0x05040302, 0x06}},
        {"bytes advance even where words would not",
         [&] { plain.Send(9, 3, kBytes, 2, false); },
         {0x01000000, 2}},
        {"a request that writes", [&] { plain.Request(9, 0, kWords, 1, nullptr, 0, true, 0); }, {0x11223344}},
        {"up to the last word",
         [&] { plain.Send(9, 28, kWords, 1, true); },
         {0, 0, 0, 0, 0, 0, 0, 0x11223344}},
        {"nothing, from nowhere", [&] { plain.Send(9, 0, kNothing, 0, true); }, {}},
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mName);
        window.fill(0);
        test.mCall();
        EXPECT_EQ(window, test.mExpected);
    }
}

TEST(PtBusLocal, ReadsWordsAndBytes)
{
    Window window{0x11223344, 0x55667788, 0x99AABBCC};
    CPtBusLocal plain(window.data(), sizeof window, false);
    CPtBusLocal swapping(window.data(), sizeof window, true);
    std::array<std::uint32_t, 3> words{};
    plain.Receive(9, 0, words.data(), 3, true, 0);
    EXPECT_EQ(words, (std::array<std::uint32_t, 3>{0x11223344, 0x55667788, 0x99AABBCC}));
    swapping.Receive(9, 4, words.data(), 2, false, 0);
    EXPECT_EQ(words, (std::array<std::uint32_t, 3>{0x88776655, 0x88776655, 0x99AABBCC}));
    plain.Request(9, 8, kNothing, 0, words.data(), 1, true, 0);
    EXPECT_EQ(words[0], 0x99AABBCCu);

    std::array<std::uint8_t, 8> bytes{};
    plain.Receive(9, 0, bytes.data(), 7, true, 0);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 8>{0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0}));
    swapping.Receive(9, 0, bytes.data(), 2, true, 0);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 8>{0x11, 0x22, 0x22, 0x11, 0x88, 0x77, 0x66, 0}));
    plain.Receive(9, 28, bytes.data(), 4, true, 0); // no word behind the last one is read
    EXPECT_EQ(bytes[0], 0);
}

TEST(PtBusLocal, RefusesWhatItCannotDoAndTouchesNothing)
{
    Window window{};
    CPtBusLocal bus(window.data(), sizeof window, false);
    std::array<std::uint32_t, 16> words{};
    std::array<std::uint8_t, 64> bytes{};
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"PtBus local: [0x001C]: 8 bytes lie outside the window of 0x20 bytes",
         [&] { bus.Send(0, 28, kWords, 2, true); }},
        {"PtBus local: [0x0020]: 4 bytes lie outside the window of 0x20 bytes",
         [&] { bus.Send(0, 32, kWords, 3, false); }},
        {"PtBus local: [0x001F]: 2 bytes lie outside the window of 0x20 bytes",
         [&] { bus.Send(0, 31, kBytes, 2, true); }},
        {"PtBus local: [0xFFFF]: 4 bytes lie outside the window of 0x20 bytes",
         [&] { bus.Receive(0, 0xFFFF, words.data(), 1, true, 0); }},
        {"PtBus local: [0x001C]: 8 bytes lie outside the window of 0x20 bytes",
         [&] { bus.Receive(0, 28, bytes.data(), 5, true, 0); }},
        {"PtBus: [0][0x0000]: No buffer for 1 elements", [&] { bus.Send(0, 0, kNothing, 1, true); }},
        {"PtBus Request: [2][0x0008]:Request should not read and write in a single transaction, this is a "
         "firmware "
         "limitation",
         [&] { bus.Request(2, 8, kWords, 1, words.data(), 1, true, 0); }},
        {"Not implemented", [&] { bus.Send(0, 0, 0, 0, kWords, 1, false, false, false, false); }},
        {"Not implemented", [&] { bus.Send(0, 0, 0, 0, kBytes, 1, false, false, false, false); }},
        {"Not implemented", [&] { bus.Send(0, 0, 0, false, false, false, false); }},
        {"Not supported", [&] { bus.DmaSend(0, 0, kBytes, 1, false, nullptr, 0, 0); }},
        {"PtBus local: The window is not mapped on a 4 byte boundary",
         [] { CPtBusLocal(nullptr, 32, false); }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_EQ(MessageOf(call), text);
    EXPECT_EQ(window, Window{});
    EXPECT_FALSE(bus.IsDmaAvailable());
}
