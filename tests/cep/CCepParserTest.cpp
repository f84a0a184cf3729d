// Messages come out of a stream however it is cut, damaged or stuck.
#include "cep/CCepParser.h"

#include "cep/CCepMessage.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>

using namespace LibMarlix;

namespace
{
constexpr std::size_t kCapacity = 256;

std::string MakeMessage(unsigned char sequenceNumber, const std::string& text = "")
{
    CCepMessage message;
    message.setSequenceNumber(sequenceNumber);
    message.setString(1, text);
    std::size_t length = 0;
    const std::unique_ptr<unsigned char[]> bytes(message.toBytes(eVersion2, length, true));
    return std::string(reinterpret_cast<const char*>(bytes.get()), length);
}

/// A message with another byte at some place.
std::string Damage(std::string message, std::size_t at, int value)
{
    message[at] = static_cast<char>(value);
    return message;
}

constexpr std::size_t kFormatAt = 4;
constexpr std::size_t kLengthAt = 18;

void Add(CCepParser& parser, const std::string& bytes)
{
    ASSERT_EQ(parser.addData(bytes.data(), bytes.size()), bytes.size());
}

/// @returns the sequence number of the next message, -1 without one
int Take(CCepParser& parser)
{
    const std::unique_ptr<CCepMessage> message(parser.getCepMsg());
    return message ? message->getSequenceNumber() : -1;
}

int Receive(CCepParser& parser, CCepParser::ECrc crc = CCepParser::ECrc::Right)
{
    const CCepParser::SReceived received = parser.receive(crc);
    return received.mMessage ? received.mMessage->getSequenceNumber() : -1;
}
} // namespace

TEST(CepParser, DropsGarbageInFrontOfAMessageAndKeepsHalfOnes)
{
    CCepParser parser(kCapacity);
    Add(parser, "garbage {\x02 {" + MakeMessage(1) + MakeMessage(2) +
                    "{\x02"
                    "4");
    EXPECT_EQ(Take(parser), 1);
    EXPECT_EQ(Take(parser), 2);
    EXPECT_EQ(Take(parser), -1);
    EXPECT_EQ(parser.getRoom(), kCapacity - 3);
    Add(parser, MakeMessage(3).substr(3));
    EXPECT_EQ(Take(parser), 3);

    const std::string whole = MakeMessage(4, "text");
    for (const char byte : whole.substr(0, whole.size() - 1))
    {
        Add(parser, std::string(1, byte));
        ASSERT_EQ(Take(parser), -1);
        ASSERT_EQ(parser.dropBlocked(), 0u) << "only more bytes can help";
    }
    Add(parser, whole.substr(whole.size() - 1));
    EXPECT_EQ(Take(parser), 4);
}

TEST(CepParser, TakesAsManyBytesAsFit)
{
    CCepParser parser(30);
    const std::string message = MakeMessage(1); // 25 bytes
    EXPECT_EQ(parser.addData((message + message).c_str(), 2 * message.size()), 30u);
    EXPECT_EQ(Take(parser), 1);
    const auto* const rest = reinterpret_cast<const unsigned char*>(message.data()) + 5;
    EXPECT_EQ(parser.addData(rest, message.size() - 5), message.size() - 5);
    EXPECT_EQ(Take(parser), 1);
    EXPECT_EQ(parser.addData(static_cast<const char*>(nullptr), 0), 0u);
}

TEST(CepParser, WhatBlocksItStaysUntilItsOwnerDropsIt)
{
    const std::string sound = MakeMessage(7);
    const std::pair<const char*, std::string> cases[] = {
        {"format 0", Damage(sound, kFormatAt, 0)},
        {"format 0 at once", sound.substr(0, kFormatAt) + std::string(1, '\0')},
        {"unreadable length", Damage(sound, kLengthAt, 0x80)},
        {"length beyond the capacity", Damage(sound, kLengthAt, 0x82)},
        {"properties beyond their area", Damage(sound, kLengthAt + 5, 0x7F)},
        {"property without its type", Damage(sound, kLengthAt + 5, 0)},
    };
    for (const auto& [what, bytes] : cases)
    {
        SCOPED_TRACE(what);
        for (const bool byReceive : {false, true})
        {
            CCepParser parser(kCapacity);
            Add(parser, bytes + MakeMessage(8));
            if (byReceive)
            {
                EXPECT_EQ(Receive(parser), 8);
                continue;
            }
            EXPECT_EQ(Take(parser), -1);
            EXPECT_EQ(Take(parser), -1);
            EXPECT_EQ(parser.dropBlocked(), bytes.size());
            EXPECT_EQ(Take(parser), 8);
        }
    }
}

TEST(CepParser, NoiseNeverFillsItForGood)
{
    CCepParser parser(kCapacity);
    EXPECT_EQ(parser.addData(std::string(1000, '{').c_str(), 1000), kCapacity);
    EXPECT_EQ(Take(parser), -1);
    EXPECT_EQ(parser.addData("x", 1), 0u) << "getCepMsg alone keeps it";
    EXPECT_EQ(parser.dropBlocked(), kCapacity - 1) << "the last byte may begin a message";
    Add(parser, MakeMessage(5).substr(1));
    EXPECT_EQ(Receive(parser), 5);
}

TEST(CepParser, GivesUpAMessageWhoseRestStaysOut)
{
    CCepParser parser(kCapacity);
    // A length that was damaged swallows what follows; the sound messages inside are found again.
    Add(parser, Damage(MakeMessage(1), kLengthAt, 0x7F) + MakeMessage(2) + MakeMessage(3));
    EXPECT_EQ(Receive(parser), -1);
    EXPECT_EQ(parser.dropBlocked(), 0u);
    EXPECT_GT(parser.dropPending(), 0u);
    EXPECT_EQ(Receive(parser), 2);
    EXPECT_EQ(Receive(parser), 3);
    EXPECT_EQ(parser.dropPending(), 0u);
}

TEST(CepParser, TellsOrPassesOverAWrongCrc)
{
    const std::string stream = "noise" + Damage(MakeMessage(1, "abc"), 26, 'x') + MakeMessage(2);
    CCepParser told(kCapacity);
    Add(told, stream);
    CCepParser::SReceived received = told.receive(CCepParser::ECrc::Told);
    ASSERT_TRUE(received.mMessage);
    EXPECT_FALSE(received.mHasRightCrc);
    EXPECT_EQ(received.mDropped, 5u);
    received = told.receive(CCepParser::ECrc::Told);
    EXPECT_TRUE(received.mHasRightCrc);
    EXPECT_EQ(received.mDropped, 0u);

    CCepParser strict(kCapacity);
    Add(strict, stream);
    received = strict.receive(CCepParser::ECrc::Right);
    ASSERT_TRUE(received.mMessage);
    EXPECT_EQ(received.mMessage->getSequenceNumber(), 2);
    EXPECT_EQ(received.mDropped, stream.size() - MakeMessage(2).size());
}

TEST(CepParser, AnyDamageCostsOnlyTheMessagesItTouches)
{
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round)
    {
        std::string stream = MakeMessage(1, "first") + MakeMessage(2, std::string(20, '{')) + MakeMessage(3);
        const std::string last = MakeMessage(9, "last");
        for (auto hits = 1 + random() % 3; hits > 0; --hits)
            stream[random() % stream.size()] = static_cast<char>(random());
        CCepParser parser(kCapacity);
        stream += last;
        int received = -1;
        for (std::size_t at = 0; at < stream.size();)
        {
            const std::size_t piece = std::min<std::size_t>(1 + random() % 40, stream.size() - at);
            at += parser.addData(stream.data() + at, piece);
            for (int next = Receive(parser); next != -1; next = Receive(parser))
                received = next;
        }
        while (parser.dropPending() > 0)
        {
            for (int next = Receive(parser); next != -1; next = Receive(parser))
                received = next;
        }
        ASSERT_EQ(received, 9) << "round " << round;
    }
}

TEST(CepParser, OneThreadFeedsWhileAnotherTakes)
{
    constexpr int kMessages = 2000;
    CCepParser parser(100);
    std::thread feeder(
        [&]
        {
            for (int i = 0; i < kMessages; ++i)
            {
                const std::string bytes = "?" + MakeMessage(static_cast<unsigned char>(i), "text");
                for (std::size_t at = 0; at < bytes.size(); std::this_thread::yield())
                    at += parser.addData(bytes.data() + at, bytes.size() - at);
            }
        });
    for (int i = 0; i < kMessages;)
    {
        const int next = Take(parser);
        if (next == -1)
            std::this_thread::yield();
        else
            ASSERT_EQ(next, i++ % 256);
    }
    feeder.join();
}
