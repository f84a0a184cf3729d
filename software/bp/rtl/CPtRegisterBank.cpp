// Ranges of registers; single fields are in the header, where compilers see through them.
#include "software/bp/rtl/CPtRegisterBank.h"

#include "software/bp/rtl/NPtBus.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr char kSource[] = "software/bp/rtl/CPtRegisterBank";
constexpr std::uint32_t kAddressLimit = 0x10000;

// The address that equals the size is one of the bank's, and must not wrap to 0 on the bus.
std::uint32_t CheckSize(std::uint32_t base, std::uint32_t size)
{
    if (base >= kAddressLimit || size >= kAddressLimit - base)
        throw CException("CPtRegisterBank", kSource, __LINE__, false,
                         "Register bank at %#x of %#x bytes exceeds 16 bit addresses", base, size);
    return size;
}
} // namespace

CPtRegisterBank::CPtRegisterBank(IPtBus& bus, std::uint8_t channel, std::uint32_t base, std::uint32_t size)
    : CPtResource(bus, channel, base)
    , mSize(CheckSize(base, size))
    , mOwned(std::make_unique<std::uint32_t[]>(ShadowIndex(size) + 1))
    , mShadow(mOwned.get())
{
}

CPtRegisterBank::CPtRegisterBank(CPtRegisterBank& parent, std::uint32_t offset, std::uint32_t size)
    : CPtResource(parent.GetBus(), parent.GetChannel(), parent.CheckPart(offset, size))
    , mSize(size)
    , mShadow(parent.mShadow + ShadowIndex(offset))
{
}

// Base of the part.
std::uint32_t CPtRegisterBank::CheckPart(std::uint32_t offset, std::uint32_t size) const
{
    AddressCheck(offset);
    if (size > mSize - offset)
        ThrowOutOfRange(offset + size);
    return GetBase() + offset;
}

void CPtRegisterBank::ThrowOutOfRange(std::uint32_t addr) const
{
    throw CException("AddressCheck", kSource, __LINE__, false, "Address out of range (%#x).  Bank size: %#x",
                     addr, mSize);
}

void CPtRegisterBank::ThrowBadShift(std::uint32_t shift)
{
    throw CException("CheckField", kSource, __LINE__, false, "Field shift out of range (%u)", shift);
}

// Both ends, in 64 bits: a count that is far too large must not wrap into the bank.
void CPtRegisterBank::RangeCheck(std::uint32_t addr, std::uint32_t count) const
{
    AddressCheck(addr);
    const std::uint64_t end = addr + std::uint64_t{count} * kAlignment;
    if (end > mSize)
        ThrowOutOfRange(static_cast<std::uint32_t>(std::min<std::uint64_t>(end, UINT32_MAX)));
}

void CPtRegisterBank::WriteFieldWait(std::uint32_t addr, std::uint32_t value, std::uint32_t shift,
                                     std::uint32_t mask)
{
    WriteShadowBits(addr, value, shift, mask);
    std::uint32_t* const nothing = nullptr;
    GetBus().Request(GetChannel(), HwAddr(addr), &mShadow[ShadowIndex(addr)], 1, nothing, 0, false,
                     kTimeoutMs);
}

void CPtRegisterBank::ApplyShadowRange(std::uint32_t addr, std::uint32_t count)
{
    RangeCheck(addr, count);
    GetBus().Send(GetChannel(), HwAddr(addr), &mShadow[ShadowIndex(addr)], count, true);
}

void CPtRegisterBank::ApplyShadowRangeWait(std::uint32_t addr, std::uint32_t count)
{
    RangeCheck(addr, count);
    std::uint32_t* const nothing = nullptr;
    GetBus().Request(GetChannel(), HwAddr(addr), &mShadow[ShadowIndex(addr)], count, nothing, 0, true,
                     kTimeoutMs);
}

void CPtRegisterBank::RefreshShadowRange(std::uint32_t addr, std::uint32_t count, std::uint32_t timeoutMs)
{
    RangeCheck(addr, count);
    const std::uint32_t* const nothing = nullptr;
    GetBus().Request(GetChannel(), HwAddr(addr), nothing, 0, &mShadow[ShadowIndex(addr)], count, true,
                     timeoutMs);
}

void CPtRegisterBank::Flush(std::uint32_t timeoutMs)
{
    const std::uint32_t* const nothing = nullptr;
    std::uint32_t* const noReply = nullptr;
    GetBus().Request(GetChannel(), HwAddr(0), nothing, 0, noReply, 0, true, timeoutMs);
}

// Where the bytes stand in the shadow.
unsigned char* CPtRegisterBank::BytesCheck(const void* buffer, std::uint32_t addr, std::uint32_t length) const
{
    NPtBus::CheckBuffer(GetChannel(), HwAddr(addr), buffer, length);
    if (addr > mSize || length > mSize - addr)
        ThrowOutOfRange(
            static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{addr} + length, UINT32_MAX)));
    return reinterpret_cast<unsigned char*>(mShadow) + addr;
}

void CPtRegisterBank::ReadData(void* dst, std::uint32_t addr, std::uint32_t length, std::uint32_t timeoutMs)
{
    const unsigned char* const bytes = BytesCheck(dst, addr, length);
    if (length == 0)
        return;
    RefreshShadowRange(addr / kAlignment * kAlignment, (length - 1) / kAlignment + 1, timeoutMs);
    std::memcpy(dst, bytes, length);
}

void CPtRegisterBank::WriteData(const void* src, std::uint32_t addr, std::uint32_t length)
{
    unsigned char* const bytes = BytesCheck(src, addr, length);
    if (length == 0)
        return;
    const std::uint32_t first = ShadowIndex(addr);
    const std::uint32_t words = ShadowIndex(addr + length - 1) - first + 1;
    RangeCheck(first * kAlignment, words); // before the shadow changes
    std::memcpy(bytes, src, length);
    ApplyShadowRange(first * kAlignment, words);
}

void CPtRegisterBank::WriteDataWait(const void* src, std::uint32_t addr, std::uint32_t length,
                                    std::uint32_t timeoutMs)
{
    WriteData(src, addr, length);
    Flush(timeoutMs);
}
