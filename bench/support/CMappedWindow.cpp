// One loop each way around the volatile access.
#include "bench/support/CMappedWindow.h"

#include <stdexcept>

inline void CMappedWindow::Check(std::uint32_t address, const void* data, std::uint32_t count)
{
    if ((data == nullptr && count != 0) || address + std::uint64_t{count} * 4 > kSize)
        throw std::out_of_range("window");
}

void CMappedWindow::Send(std::uint8_t, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
                         bool increment)
{
    Check(address, data, count);
    for (std::uint32_t i = 0; i < count; ++i)
        mWords[address / 4 + (increment ? i : 0)] = data[i];
}

void CMappedWindow::Request(std::uint8_t, std::uint16_t address, const std::uint32_t*,
                            std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                            bool increment, std::uint32_t)
{
    if (writeCount != 0)
        throw std::invalid_argument("it only reads");
    Check(address, readData, readCount);
    for (std::uint32_t i = 0; i < readCount; ++i)
        readData[i] = mWords[address / 4 + (increment ? i : 0)];
}
