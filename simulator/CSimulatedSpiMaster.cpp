// The bits of its control register.
#include "simulator/CSimulatedSpiMaster.h"

#include "simulator/ISimulatedChip.h"

namespace
{
constexpr std::uint32_t kReady = 1u << 1 | 1u << 4;
constexpr std::uint32_t kDone = 1u << 2;
constexpr std::uint32_t kOverflow = 1u << 5;
} // namespace

void CSimulatedSpiMaster::Run(std::uint32_t control, const std::vector<std::uint8_t>& tx,
                              std::vector<std::uint8_t>& rx)
{
    const std::uint32_t txLength = control >> 12 & 0xF;
    rx.resize(control >> 16 & 0xFFF);
    if (rx.empty() || txLength == tx.size()) // ahead of a read it sends just what it was told to
        mChip.Transfer(tx, rx);
}

std::uint32_t CSimulatedSpiMaster::GetStatus(bool isReady, bool isDone, bool hasOverflow) const
{
    return (isReady ? kReady : 0) | (isDone ? kDone : 0) | (hasOverflow ? kOverflow : 0);
}
