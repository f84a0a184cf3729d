// What the driver of the PCIe link understands: ioctl numbers and their records.
#pragma once

#include <cstddef>
#include <cstdint>

/// The records have the natural alignment of x86-64 and the byte order of the machine. The numbers are
/// written out, since the size that they carry is not that of their record. Pointers are addresses of this
/// process.
namespace NPcieDriver
{
constexpr unsigned long kReceive = 0x80085A04;       ///< SReceive: one reply packet
constexpr unsigned long kSend = 0x40085A05;          ///< SSend: one packet
constexpr unsigned long kReadBar1 = 0x80085A06;      ///< SReadBar1
constexpr unsigned long kDmaEnable = 0x40045A0B;     ///< u32: 1 on, 0 off
constexpr unsigned long kReadVsync = 0x80085A0C;     ///< SNumber, of which the lower 16 bits count
constexpr unsigned long kDmaSend = 0x40085A0D;       ///< SDmaSend
constexpr unsigned long kDmaReset = 0x40085A0E;      ///< SNumber: 0
constexpr unsigned long kReadDmaStatus = 0x80085A0F; ///< SNumber

constexpr std::uint32_t kBar1TxValid = 0;           ///< index of the BAR1 register
constexpr std::uint32_t kTxValidBit = 1;            ///< in that register
constexpr std::uint32_t kDmaBusyBits = 3u << 16;    ///< in the status: ready when both are 0
constexpr std::uint32_t kDmaAddressFlag = 1u << 31; ///< set in the address of every DMA record

struct SSend
{
    std::uint32_t mByteCount; // of the payload
    std::uint32_t mReserved;
    std::uint64_t mHeader;
    std::uint64_t mPayload; // pointer
};
static_assert(sizeof(SSend) == 24 && offsetof(SSend, mHeader) == 8 && offsetof(SSend, mPayload) == 16);

struct SReceive
{
    std::uint32_t mByteCount; // wanted; the driver puts there what it got
    std::uint32_t mReserved;
    std::uint64_t mHeader; // of the read, or of the request that is answered
    std::uint64_t mReserved2;
    std::uint64_t mBuffer; // pointer
};
static_assert(sizeof(SReceive) == 32 && offsetof(SReceive, mHeader) == 8 &&
              offsetof(SReceive, mBuffer) == 24);

/// A single number. The second half is never used, but the requests' numbers announce 8 bytes, and a driver
/// that goes by them must not write past the record.
struct SNumber
{
    std::uint32_t mValue;
    std::uint32_t mSpare;
};
static_assert(sizeof(SNumber) == 8);

struct SReadBar1
{
    std::uint32_t mCount; // of registers, 1
    std::uint32_t mIndex;
    std::uint32_t mValue; // by the driver
};
static_assert(sizeof(SReadBar1) == 12);

struct SDmaSend
{
    std::uint64_t mData; // pointer
    std::uint32_t mLength;
    std::uint32_t mChannel;
    std::uint32_t mAddress; // with kDmaAddressFlag
    std::uint32_t mReserved;
    std::uint64_t mSecond; // pointer
    std::uint32_t mSecondLength;
    std::uint32_t mReserved2;
};
static_assert(sizeof(SDmaSend) == 40 && offsetof(SDmaSend, mAddress) == 16 &&
              offsetof(SDmaSend, mSecond) == 24 && offsetof(SDmaSend, mSecondLength) == 32);
} // namespace NPcieDriver
