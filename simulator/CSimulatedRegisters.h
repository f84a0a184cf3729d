// Registers of the simulated FPGA with a hook or two.
#pragma once

#include "simulator/ISimulatedBlock.h"

#include <functional>
#include <utility>
#include <vector>

/// Holds what was written; whoever is behind it is told of each write, and may give a register another value
/// when it is read. Used from one thread only.
class CSimulatedRegisters : public ISimulatedBlock
{
public:
    using OnWrite = std::function<void(std::uint32_t offset, std::uint32_t value)>;
    using OnRead = std::function<std::uint32_t(std::uint32_t offset, std::uint32_t held)>;

    /// @param size     bytes
    /// @param onWrite  called after the register holds the value; may be empty
    /// @param onRead   gives what is read; may be empty
    CSimulatedRegisters(std::uint32_t size, OnWrite onWrite, OnRead onRead)
        : mWords(size / 4)
        , mOnWrite(std::move(onWrite))
        , mOnRead(std::move(onRead))
    {
    }

    std::uint32_t Read(std::uint32_t offset) override
    {
        const std::uint32_t held = mWords.at(offset / 4);
        return mOnRead ? mOnRead(offset, held) : held;
    }
    void Write(std::uint32_t offset, std::uint32_t value) override
    {
        mWords.at(offset / 4) = value;
        if (mOnWrite)
            mOnWrite(offset, value);
    }

private:
    std::vector<std::uint32_t> mWords;
    OnWrite mOnWrite;
    OnRead mOnRead;
};
