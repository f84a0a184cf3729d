// The loops around the volatile accesses.
#include "software/bp/rtl/CPtBusLocal.h"

#include "software/bp/rtl/NPtBus.h"
#include "software/utility/CException.h"

#include <cstring>

namespace
{
constexpr char kSource[] = "software/bp/rtl/CPtBusLocal";
constexpr std::uint32_t kWord = NPtBus::kBytesPerWord;

std::uint32_t Swap(std::uint32_t word, bool swap) noexcept
{
    return swap ? __builtin_bswap32(word) : word;
}

[[noreturn]] void ThrowOutside(std::uint16_t address, std::uint64_t bytes, std::uint32_t size)
{
    throw CException("CPtBusLocal", kSource, __LINE__, false,
                     "PtBus local: [0x%04X]: %u bytes lie outside the window of %#x bytes", unsigned{address},
                     static_cast<unsigned>(bytes), size);
}

void Store(volatile std::uint32_t* to, const std::uint32_t* data, std::uint32_t count, std::uint32_t step,
           bool swap) noexcept
{
    for (std::uint32_t i = 0; i < count; ++i, to += step)
        *to = Swap(data[i], swap);
}

void Load(const volatile std::uint32_t* from, std::uint32_t* data, std::uint32_t count, std::uint32_t step,
          bool swap) noexcept
{
    for (std::uint32_t i = 0; i < count; ++i, from += step)
        data[i] = Swap(*from, swap);
}
} // namespace

CPtBusLocal::CPtBusLocal(volatile void* base, std::uint32_t size, bool swapBytes)
    : mBase(static_cast<volatile std::uint32_t*>(base))
    , mSize(size)
    , mSwapBytes(swapBytes)
{
    if (base == nullptr || reinterpret_cast<std::uintptr_t>(base) % kWord != 0)
        throw CException(__func__, kSource, __LINE__, false,
                         "PtBus local: The window is not mapped on a 4 byte boundary");
}

inline void CPtBusLocal::CheckWords(std::uint8_t channel, std::uint16_t address, const void* data,
                                    std::uint32_t count, bool increment) const
{
    NPtBus::CheckBuffer(channel, address, data, count);
    const std::uint32_t first = address / kWord * kWord;
    const std::uint64_t bytes = std::uint64_t{increment || count == 0 ? count : 1} * kWord;
    if (first + bytes > mSize)
        ThrowOutside(address, bytes, mSize);
}

void CPtBusLocal::Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data,
                       std::uint32_t count, bool increment)
{
    CheckWords(channel, address, data, count, increment);
    Store(mBase + address / kWord, data, count, increment ? 1 : 0, mSwapBytes);
}

void CPtBusLocal::Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                       std::uint32_t count, bool)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    if (std::uint64_t{address} + count > mSize)
        ThrowOutside(address, count, mSize);
    volatile std::uint8_t* to = reinterpret_cast<volatile std::uint8_t*>(mBase) + address;
    for (std::uint32_t i = 0; i < count; ++i)
        to[i] = data[i];
}

// Read by `Request` too, in whose time the call would show.
[[gnu::always_inline]] inline void CPtBusLocal::ReadWords(std::uint8_t channel, std::uint16_t address,
                                                          std::uint32_t* data, std::uint32_t count,
                                                          bool increment) const
{
    CheckWords(channel, address, data, count, increment);
    Load(mBase + address / kWord, data, count, increment ? 1 : 0, mSwapBytes);
}

void CPtBusLocal::Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data,
                          std::uint32_t count, bool increment, std::uint32_t)
{
    ReadWords(channel, address, data, count, increment);
}

void CPtBusLocal::Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data,
                          std::uint32_t count, bool increment, std::uint32_t)
{
    const std::uint32_t words = count / kWord;
    const std::uint32_t rest = count % kWord;
    CheckWords(channel, address, data, words + (rest != 0 ? 1 : 0), increment);
    const std::uint32_t step = increment ? 1 : 0;
    const volatile std::uint32_t* from = mBase + address / kWord;
    std::uint32_t word = 0;
    for (std::uint32_t i = 0; i < words; ++i, from += step)
    {
        word = Swap(*from, mSwapBytes);
        std::memcpy(data + std::size_t{i} * kWord, &word, kWord);
    }
    if (rest == 0)
        return;
    word = Swap(*from, mSwapBytes);
    std::memcpy(data + std::size_t{words} * kWord, &word, rest);
}

// The calls below name their class: a request costs one virtual call, not two.
void CPtBusLocal::Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                          std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                          bool increment, std::uint32_t)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    if (readCount != 0)
        ReadWords(channel, address, readData, readCount, increment);
    else if (writeCount != 0)
        CPtBusLocal::Send(channel, address, writeData, writeCount, increment);
}

void CPtBusLocal::Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                          std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount,
                          bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    if (writeCount != 0)
        CPtBusLocal::Send(channel, address, writeData, writeCount, increment);
    if (readCount != 0)
        CPtBusLocal::Receive(channel, address, readData, readCount, increment, timeoutMs);
}
