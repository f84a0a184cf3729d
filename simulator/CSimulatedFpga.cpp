// Plain memory, and blocks in front of it.
#include "simulator/CSimulatedFpga.h"

#include "software/utility/CException.h"
#include "software/utility/IMonotonicClock.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "simulator/CSimulatedFpga";
constexpr std::uint32_t kFramesPerSecond = 60;
constexpr std::uint32_t kWord = 4;
} // namespace

CSimulatedFpga::CSimulatedFpga(const IMonotonicClock& clock)
    : mClock(clock)
    , mVsyncAt(clock.GetCounts())
{
}

void CSimulatedFpga::Attach(const NFpga::SPlace& place, ISimulatedBlock& block)
{
    const bool isTaken = std::any_of(mBlocks.begin(), mBlocks.end(),
                                     [&](const SAttached& other)
                                     {
                                         return other.mPlace.mPage == place.mPage &&
                                                other.mPlace.mOffset < place.mOffset + place.mSize &&
                                                place.mOffset < other.mPlace.mOffset + other.mPlace.mSize;
                                     });
    if (isTaken || place.mPage >= IPtPages::kMostPages || place.mOffset + place.mSize > IPtPages::kPageSize)
        throw CException(__func__, kSource, __LINE__, false,
                         "Simulated FPGA: a block at page %u, %#x, does not fit", unsigned{place.mPage},
                         place.mOffset);
    mBlocks.push_back({place, &block});
}

std::uint32_t& CSimulatedFpga::WordAt(std::uint32_t page, std::uint32_t address)
{
    if (page >= IPtPages::kMostPages || address >= IPtPages::kPageSize)
        throw CException(__func__, kSource, __LINE__, false,
                         "Simulated FPGA: there is nothing at page %u, %#x", page, address);
    return mWords[page][address / kWord];
}

const CSimulatedFpga::SAttached* CSimulatedFpga::FindBlock(std::uint32_t page,
                                                           std::uint32_t address) const noexcept
{
    const auto found = std::find_if(mBlocks.begin(), mBlocks.end(),
                                    [=](const SAttached& block)
                                    {
                                        return block.mPlace.mPage == page &&
                                               address >= block.mPlace.mOffset &&
                                               address - block.mPlace.mOffset < block.mPlace.mSize;
                                    });
    return found == mBlocks.end() ? nullptr : &*found;
}

std::uint32_t CSimulatedFpga::Read(std::uint32_t page, std::uint32_t address)
{
    const std::uint32_t& word = WordAt(page, address);
    const SAttached* block = FindBlock(page, address);
    return block == nullptr ? word : block->mBlock->Read((address - block->mPlace.mOffset) / kWord * kWord);
}

void CSimulatedFpga::Write(std::uint32_t page, std::uint32_t address, std::uint32_t value)
{
    std::uint32_t& word = WordAt(page, address);
    if (const SAttached* block = FindBlock(page, address))
        block->mBlock->Write((address - block->mPlace.mOffset) / kWord * kWord, value);
    else
        word = value;
}

std::uint16_t CSimulatedFpga::GetVsync()
{
    const std::uint32_t countsPerFrame = std::max(mClock.GetFrequency() / kFramesPerSecond, std::uint32_t{1});
    const std::uint32_t frames = (mClock.GetCounts() - mVsyncAt) / countsPerFrame;
    mVsyncAt += frames * countsPerFrame;
    mVsync = static_cast<std::uint16_t>(mVsync + frames);
    return mVsync;
}

void CSimulatedFpga::SetVsync(std::uint16_t counter)
{
    mVsyncAt = mClock.GetCounts();
    mVsync = counter;
}
