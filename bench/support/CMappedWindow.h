// The least that an access to mapped registers needs.
#pragma once

#include <cstdint>

/// The operations of a register bus: whoever offers them pays for the call with all that it hands over.
class IMappedWindow
{
public:
    virtual ~IMappedWindow() = default;
    virtual void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data,
                      std::uint32_t count, bool increment) = 0;
    virtual void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                         std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                         bool increment, std::uint32_t timeoutMs) = 0;
};

/// Checks that the access is one and lies inside, and makes it. In a source of its own, so that no compiler
/// turns the virtual call of a benchmark into its body.
class CMappedWindow : public IMappedWindow
{
public:
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
              bool increment) override;
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override; ///< reads only

    static constexpr std::uint32_t kSize = 0x400; ///< bytes

private:
    static void Check(std::uint32_t address, const void* data, std::uint32_t count);

    volatile std::uint32_t mWords[kSize / 4] = {};
};
