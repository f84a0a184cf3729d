// A register bus that keeps what it was asked, one line a call.
#pragma once

#include "software/bp/rtl/IPtBus.h"
#include "software/utility/CException.h"

#include <cstddef>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

class CRecordingBus : public IPtBus
{
public:
    using IPtBus::Send;
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
              bool increment) override
    {
        Keep("Send", channel, address, count, increment, data);
    }
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data, std::uint32_t count,
              bool increment) override
    {
        Keep("SendB", channel, address, count, increment, data);
    }
    void Receive(std::uint8_t, std::uint16_t, std::uint32_t*, std::uint32_t, bool, std::uint32_t) override
    {
        mCalls.emplace_back("Receive");
    }
    void Receive(std::uint8_t, std::uint16_t, std::uint8_t*, std::uint32_t, bool, std::uint32_t) override
    {
        mCalls.emplace_back("ReceiveB");
    }
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override
    {
        Answer("Request", channel, address, writeData, writeCount, readData, readCount, increment, timeoutMs);
    }
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                 std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override
    {
        Answer("RequestB", channel, address, writeData, writeCount, readData, readCount, increment,
               timeoutMs);
    }

    /// What was asked since the last call. "Send c3 @10 x1 fixed =ff" is one word 0xFF to channel 3, address
    /// 0x10; a request has "<2 10ms" for two elements read with that time-out. More than four elements are
    /// not shown.
    std::vector<std::string> Take() { return std::exchange(mCalls, {}); }

    std::vector<std::uint32_t> mReply; ///< what reads give, from its start on; 0 behind its end
    bool mFails = false;

private:
    template <typename TElement>
    void Keep(const char* what, unsigned channel, unsigned address, std::uint32_t count, bool increment,
              const TElement* data, const std::string& rest = std::string())
    {
        constexpr std::uint32_t kShown = 4;
        std::ostringstream line;
        line << what << " c" << channel << std::hex << " @" << address << std::dec << " x" << count
             << (increment ? " inc" : " fixed") << std::hex;
        for (std::uint32_t i = 0; data != nullptr && i < count && count <= kShown; ++i)
            line << (i == 0 ? " =" : ",") << +data[i];
        mCalls.push_back(line.str() + rest);
        if (mFails)
            throw CException("Keep", "test", 1, false, "the bus fails");
    }
    template <typename TElement>
    void Answer(const char* what, unsigned channel, unsigned address, const TElement* writeData,
                std::uint32_t writeCount, TElement* readData, std::uint32_t readCount, bool increment,
                std::uint32_t timeoutMs)
    {
        Keep(what, channel, address, writeCount, increment, writeData,
             " <" + std::to_string(readCount) + " " + std::to_string(timeoutMs) + "ms");
        for (std::size_t i = 0; i < readCount; ++i)
            readData[i] = static_cast<TElement>(i < mReply.size() ? mReply[i] : 0);
    }

    std::vector<std::string> mCalls;
};
