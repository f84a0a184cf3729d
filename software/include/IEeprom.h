// A memory that keeps what it holds without power.
#pragma once

#include <cstdint>

/// Ranges are given by a byte offset and a length; one that does not lie inside the device fails as a whole
/// and touches nothing. A call returns when the device has done it, or failed. Used from one thread.
class IEeprom
{
public:
    virtual ~IEeprom() = default;

    virtual std::uint32_t GetSize() const = 0; ///< bytes
    virtual bool Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length) = 0;
    /// When it fails, any part of the range may hold the old, the new or erased content.
    virtual bool Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length) = 0;
    virtual bool Erase(std::uint32_t offset, std::uint32_t length) = 0; ///< leaves 0xFF in the range
};
