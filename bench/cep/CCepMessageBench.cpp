// A message of ten properties decoded and encoded again: by the library, which takes any message; by a codec
// written by hand for this one alone; and by protobuf.
#include "cep/CCepMessage.h"

#include "bench/support/NAllocations.h"
#include "cep/CCRC.h"
#include "software/utility/NByteOrder.h"

#include <ModuleState.pb.h> // made from the file beside this one
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

using namespace LibMarlix;

namespace
{
using Bytes = std::vector<unsigned char>;
constexpr std::size_t kGains = 4;
const std::string kName = "Module 3, left"; // short enough to lie inside a std::string

CCepMessage MakeMessage()
{
    const std::uint16_t gains[kGains] = {1000, 990, 1010, 1000};
    CCepMessage m;
    m.setCommandCode(2);
    m.setObjectId(300);
    m.setSourceId(1);
    m.setDestinationId(2);
    m.setSequenceNumber(77);
    m.setUInt8(16, 3);
    m.setUInt16(17, 1800);
    m.setInt16(18, -415);
    m.setUInt32(19, 0x010203);
    m.setInt32(20, -70000);
    m.setUInt64(21, 20260101471100);
    m.setBool(22, true);
    m.setString(23, kName);
    m.setArrayUInt16(24, gains, kGains);
    m.setUInt32(25, 12345);
    return m;
}

Bytes MakeBytes()
{
    std::size_t length = 0;
    const std::unique_ptr<unsigned char[]> bytes(MakeMessage().toBytes(eVersion2, length, true));
    return Bytes(bytes.get(), bytes.get() + length);
}

// --- The library ---

void MeasureLibrary(benchmark::State& state, bool withCrc)
{
    const Bytes bytes = MakeBytes();
    const CAllocationCount before;
    for (auto _ : state)
    {
        CCepMessage message;
        std::size_t consumed = 0;
        if (!message.fromBytes(bytes.data(), bytes.size(), consumed, withCrc))
            state.SkipWithError("The message was refused");
        std::size_t length = 0;
        const std::unique_ptr<unsigned char[]> encoded(message.toBytes(eVersion2, length, withCrc));
        benchmark::DoNotOptimize(encoded.get());
        benchmark::ClobberMemory();
    }
    NAllocations::Report(state, before);
}
void CepWithCrc(benchmark::State& state)
{
    MeasureLibrary(state, true);
}
BENCHMARK(CepWithCrc);
void CepWithoutCrc(benchmark::State& state)
{
    MeasureLibrary(state, false);
}
BENCHMARK(CepWithoutCrc);

// --- By hand ---

/// What is in that message, and nothing else.
struct SModuleState
{
    std::uint8_t mMinor, mCommand, mDestination, mSource, mSecurity, mSequence;
    std::uint16_t mObject, mError, mCrc;
    std::uint8_t mMode;
    std::uint16_t mFan;
    std::uint16_t mTemperature;
    std::uint32_t mVersion;
    std::uint32_t mOffset;
    std::uint64_t mSerial;
    std::uint8_t mEnabled;
    std::string mName;
    std::array<std::uint16_t, kGains> mGains;
    std::uint32_t mHours;

    bool Decode(const unsigned char* bytes, std::size_t size);
    std::unique_ptr<unsigned char[]> Encode(std::size_t& size) const;
};
constexpr std::size_t kCrcAt = 14;

std::uint16_t ComputeCrc(const unsigned char* bytes, std::size_t size)
{
    constexpr unsigned char kZero[2] = {};
    const std::uint16_t crc = CCRC::calcCRC16(CCRC::calcCRC16(0, bytes, kCrcAt), kZero, sizeof kZero);
    return CCRC::calcCRC16(crc, bytes + kCrcAt + 2, size - kCrcAt - 2);
}

constexpr std::size_t kAreaAt = 19;
constexpr std::size_t kNameSizeAt = kAreaAt + 7 * 6 + 1 + 2 + 2 + 4 + 4 + 8 + 1 + 4; // behind seven and a key
constexpr std::size_t kFixed = 10 * 6 + 1 + 2 + 2 + 4 + 4 + 8 + 1 + 2 * kGains + 4;  // without the name

template <typename TNumber>
TNumber Take(const unsigned char*& at)
{
    const TNumber value = NByteOrder::GetLe<TNumber>(at);
    at += sizeof value;
    return value;
}

/// Reads the next property. @returns whether it was the expected one
template <typename TNumber>
bool TakeProperty(const unsigned char*& at, std::uint32_t key, std::uint8_t type, TNumber& value)
{
    const bool isKey = Take<std::uint32_t>(at) == key;
    const bool isSize = *at++ == sizeof value + 1;
    const bool isType = *at++ == type;
    value = Take<TNumber>(at);
    return (static_cast<int>(isKey) & static_cast<int>(isSize) & static_cast<int>(isType)) != 0;
}

// The place of everything is known, so one look at the lengths serves all.
bool SModuleState::Decode(const unsigned char* bytes, std::size_t size)
{
    if (size < kAreaAt + kFixed || size - kAreaAt != bytes[kAreaAt - 1] ||
        size - kAreaAt - kFixed + 1 != bytes[kNameSizeAt])
        return false;
    const unsigned char* at = bytes;
    if (Take<std::uint32_t>(at) != 0x2B34027B || *at++ != 2)
        return false;
    mMinor = *at++;
    mCommand = *at++;
    mObject = Take<std::uint16_t>(at);
    mError = Take<std::uint16_t>(at);
    mDestination = *at++;
    mSource = *at++;
    mSecurity = *at++;
    mCrc = Take<std::uint16_t>(at);
    mSequence = *at++;
    if (ComputeCrc(bytes, size) != mCrc)
        return false;
    at = bytes + kAreaAt;
    bool isKnown = TakeProperty(at, 16, eTypeUInt8, mMode);
    isKnown &= TakeProperty(at, 17, eTypeUInt16, mFan);
    isKnown &= TakeProperty(at, 18, eTypeInt16, mTemperature);
    isKnown &= TakeProperty(at, 19, eTypeUInt32, mVersion);
    isKnown &= TakeProperty(at, 20, eTypeInt32, mOffset);
    isKnown &= TakeProperty(at, 21, eTypeUInt64, mSerial);
    isKnown &= TakeProperty(at, 22, eTypeBool, mEnabled);
    isKnown &= Take<std::uint32_t>(at) == 23;
    const std::size_t nameSize = *at++ - 1u;
    isKnown &= *at++ == eTypeString;
    mName.assign(reinterpret_cast<const char*>(at), nameSize);
    at += nameSize;
    isKnown &= Take<std::uint32_t>(at) == 24;
    isKnown &= *at++ == 2 * kGains + 1;
    isKnown &= *at++ == eTypeArrayUInt16;
    for (std::uint16_t& gain : mGains)
        gain = Take<std::uint16_t>(at);
    return TakeProperty(at, 25, eTypeUInt32, mHours) && isKnown;
}

template <typename TNumber>
void Put(unsigned char*& at, TNumber value)
{
    NByteOrder::PutLe<TNumber>(at, value);
    at += sizeof value;
}

template <typename TNumber>
void PutProperty(unsigned char*& at, std::uint32_t key, std::uint8_t type, TNumber value)
{
    Put(at, key);
    *at++ = sizeof value + 1;
    *at++ = type;
    Put(at, value);
}

std::unique_ptr<unsigned char[]> SModuleState::Encode(std::size_t& size) const
{
    const std::size_t area = kFixed + mName.size();
    size = kAreaAt + area;
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]);
    unsigned char* at = bytes.get();
    Put<std::uint32_t>(at, 0x2B34027B);
    Put<std::uint8_t>(at, 2);
    Put(at, mMinor);
    Put(at, mCommand);
    Put(at, mObject);
    Put(at, mError);
    Put(at, mDestination);
    Put(at, mSource);
    Put(at, mSecurity);
    Put<std::uint16_t>(at, 0);
    Put(at, mSequence);
    Put<std::uint8_t>(at, 0);
    Put(at, static_cast<std::uint8_t>(area));
    PutProperty(at, 16, eTypeUInt8, mMode);
    PutProperty(at, 17, eTypeUInt16, mFan);
    PutProperty(at, 18, eTypeInt16, mTemperature);
    PutProperty(at, 19, eTypeUInt32, mVersion);
    PutProperty(at, 20, eTypeInt32, mOffset);
    PutProperty(at, 21, eTypeUInt64, mSerial);
    PutProperty(at, 22, eTypeBool, mEnabled);
    Put<std::uint32_t>(at, 23);
    *at++ = static_cast<unsigned char>(mName.size() + 1);
    *at++ = eTypeString;
    at = std::copy(mName.begin(), mName.end(), at);
    Put<std::uint32_t>(at, 24);
    *at++ = 2 * kGains + 1;
    *at++ = eTypeArrayUInt16;
    for (const std::uint16_t gain : mGains)
        Put(at, gain);
    PutProperty(at, 25, eTypeUInt32, mHours);
    NByteOrder::PutLe16(bytes.get() + kCrcAt, ComputeCrc(bytes.get(), size));
    return bytes;
}

void CepWithCrcLimit(benchmark::State& state)
{
    const Bytes bytes = MakeBytes();
    const CAllocationCount before;
    for (auto _ : state)
    {
        SModuleState module;
        std::size_t size = 0;
        if (!module.Decode(bytes.data(), bytes.size()))
            state.SkipWithError("The message was refused");
        const std::unique_ptr<unsigned char[]> encoded = module.Encode(size);
        benchmark::DoNotOptimize(encoded.get());
        benchmark::ClobberMemory();
        if (size != bytes.size())
            state.SkipWithError("The bytes are not the same");
    }
    SModuleState module;
    std::size_t size = 0;
    if (!module.Decode(bytes.data(), bytes.size()) ||
        !std::equal(bytes.begin(), bytes.end(), module.Encode(size).get()))
        state.SkipWithError("The bytes are not the same");
    NAllocations::Report(state, before);
}
BENCHMARK(CepWithCrcLimit);

// --- protobuf ---

std::string MakeProtobuf()
{
    ModuleState m;
    m.set_command(2);
    m.set_object(300);
    m.set_source(1);
    m.set_destination(2);
    m.set_sequence(77);
    m.set_mode(3);
    m.set_fan(1800);
    m.set_temperature(-415);
    m.set_version(0x010203);
    m.set_offset(-70000);
    m.set_serial(20260101471100);
    m.set_enabled(true);
    m.set_name(kName);
    for (const unsigned gain : {1000, 990, 1010, 1000})
        m.add_gains(gain);
    m.set_hours(12345);
    return m.SerializeAsString();
}

void CepWithoutCrcLimit(benchmark::State& state)
{
    const std::string bytes = MakeProtobuf();
    const CAllocationCount before;
    for (auto _ : state)
    {
        ModuleState message;
        if (!message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
            state.SkipWithError("The message was refused");
        const std::size_t size = message.ByteSizeLong();
        const std::unique_ptr<unsigned char[]> encoded(new unsigned char[size]);
        message.SerializeWithCachedSizesToArray(encoded.get());
        benchmark::DoNotOptimize(encoded.get());
        benchmark::ClobberMemory();
    }
    NAllocations::Report(state, before);
}
BENCHMARK(CepWithoutCrcLimit);
} // namespace
