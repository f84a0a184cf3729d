// One row a property: its first value, and whether it may be set.
#include "simulator/CSimulatedModule.h"

#include <algorithm>
#include <iterator>
#include <vector>

using LibMarlix::CCepMessage;

namespace
{
struct SProperty
{
    std::uint32_t mKey;
    bool mIsReadOnly;
    void (*mSetFirst)(CCepMessage& properties, std::uint32_t key);
};

constexpr SProperty kProperties[] = {
    {1, true, [](CCepMessage& p, std::uint32_t key) { p.setString(key, "Simulated module"); }}, // name
    {2, true, [](CCepMessage& p, std::uint32_t key) { p.setUInt32(key, 0x00010203); }}, // version 1.2.3
    {3, true, [](CCepMessage& p, std::uint32_t key) { p.setUInt64(key, 4711); }},       // serial number
    {16, true, [](CCepMessage& p, std::uint32_t key) { p.setInt16(key, 415); }},    // temperature, 0.1 °C
    {17, false, [](CCepMessage& p, std::uint32_t key) { p.setUInt16(key, 1800); }}, // fan speed, rpm
    {18, false, [](CCepMessage& p, std::uint32_t key) { p.setBool(key, true); }},   // output enabled
    {19, false,
     [](CCepMessage& p, std::uint32_t key)
     {
         const std::uint16_t gains[] = {1000, 1000, 1000}; // red, green, blue, per mille
         p.setArrayUInt16(key, gains, static_cast<std::uint32_t>(std::size(gains)));
     }},
    {20, false, [](CCepMessage& p, std::uint32_t key) { p.setString(key, ""); }}, // label
    {21, false, [](CCepMessage& p, std::uint32_t key) { p.setXml(key, "<settings/>"); }},
};
constexpr std::uint32_t kMaxTextSize = 1024; // bytes

bool IsText(std::uint8_t type) noexcept
{
    return type == LibMarlix::eTypeString || type == LibMarlix::eTypeXml;
}
} // namespace

CSimulatedModule::CSimulatedModule()
{
    for (const SProperty& property : kProperties)
        property.mSetFirst(mProperties, property.mKey);
}

CCepMessage CSimulatedModule::Answer(const CCepMessage& request)
{
    CCepMessage reply = request;
    reply.clearProperties();
    reply.setDestinationId(request.getSourceId());
    reply.setSourceId(request.getDestinationId());
    EError error = eErrorUnknownRequest;
    if (request.getCommandCode() == LibMarlix::eCommandGet)
        error = Get(request, reply);
    else if (request.getCommandCode() == LibMarlix::eCommandSet)
        error = Set(request, reply);
    if (error != eErrorNone)
        reply.clearProperties();
    reply.setErrorCode(static_cast<std::uint16_t>(error));
    return reply;
}

EError CSimulatedModule::Get(const CCepMessage& request, CCepMessage& reply) const
{
    const bool isForAll = request.getMessageKeyCount() == 0;
    for (const std::uint32_t key : isForAll ? mProperties.getMessageKeys() : request.getMessageKeys())
    {
        if (!mProperties.containsKey(key))
            return eErrorControlNotFound;
        Copy(key, reply);
    }
    return eErrorNone;
}

// All or none, as every setting of the projector.
EError CSimulatedModule::Set(const CCepMessage& request, CCepMessage& reply)
{
    for (const std::uint32_t key : request.getMessageKeys())
    {
        if (const EError error = CheckChange(request, key); error != eErrorNone)
            return error;
    }
    std::vector<unsigned char> bytes;
    for (const std::uint32_t key : request.getMessageKeys())
    {
        request.getData(key, bytes);
        mProperties.setProperty(key, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                mProperties.getType(key));
        Copy(key, reply);
    }
    return eErrorNone;
}

EError CSimulatedModule::CheckChange(const CCepMessage& request, std::uint32_t key) const
{
    const auto* const property = std::find_if(std::begin(kProperties), std::end(kProperties),
                                              [=](const SProperty& p) { return p.mKey == key; });
    if (property == std::end(kProperties))
        return eErrorControlNotFound;
    if (property->mIsReadOnly)
        return eErrorDisabledControl;
    const std::uint8_t type = mProperties.getType(key);
    if (request.getFormat() != LibMarlix::eVersion1 && request.getType(key) != type)
        return eErrorInvalidParameter;
    const std::uint32_t size = request.getSize(key);
    const bool fits = IsText(type) ? size <= kMaxTextSize : size == mProperties.getSize(key);
    return fits ? eErrorNone : eErrorInvalidValue;
}

void CSimulatedModule::Copy(std::uint32_t key, CCepMessage& reply) const
{
    std::vector<unsigned char> bytes;
    mProperties.getData(key, bytes);
    reply.setProperty(key, bytes.data(), static_cast<std::uint32_t>(bytes.size()), mProperties.getType(key));
}
