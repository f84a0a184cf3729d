// Through a buffer of one packet's words, so that nothing is allocated.
#include "software/bp/rtl/NByteFifo.h"

#include "software/bp/rtl/CPtMemoryPort.h"
#include "software/bp/rtl/NPtBus.h"

#include <algorithm>

namespace
{
constexpr std::uint32_t kTimeoutMs = 10;
}

void NByteFifo::Write(CPtMemoryPort& port, const std::uint8_t* data, std::uint32_t length)
{
    std::uint32_t words[NPtBus::kMaxTransfer];
    for (std::uint32_t done = 0; done < length;)
    {
        const std::uint32_t chunk = std::min(length - done, NPtBus::kMaxTransfer);
        std::copy_n(data + done, chunk, words);
        port.Write(words, chunk, 0);
        done += chunk;
    }
}

void NByteFifo::Read(CPtMemoryPort& port, std::uint8_t* data, std::uint32_t length)
{
    std::uint32_t words[NPtBus::kMaxTransfer] = {};
    for (std::uint32_t done = 0; done < length;)
    {
        const std::uint32_t chunk = std::min(length - done, NPtBus::kMaxTransfer);
        port.Read(words, chunk, kTimeoutMs);
        std::transform(words, words + chunk, data + done,
                       [](std::uint32_t word) { return static_cast<std::uint8_t>(word); });
        done += chunk;
    }
}
