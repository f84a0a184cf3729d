// A value moved away is empty, never a size without bytes.
#include "cep/CEPPropertyData.h"

#include <utility>

using namespace LibMarlix;

void CEPPropertyData::copyOutside(const unsigned char* bytes)
{
    mOutside.reset(new unsigned char[mSize]); // make_unique would clear what is overwritten at once
    std::copy_n(bytes, mSize, mOutside.get());
}

CEPPropertyData::CEPPropertyData(const CEPPropertyData& other)
    : CEPPropertyData(other.getBytes(), other.mSize, other.mType)
{
}

CEPPropertyData::CEPPropertyData(CEPPropertyData&& other) noexcept
    : mSize(std::exchange(other.mSize, 0))
    , mType(other.mType)
    , mInside(other.mInside)
    , mOutside(std::move(other.mOutside))
{
}

CEPPropertyData& CEPPropertyData::operator=(const CEPPropertyData& other)
{
    return *this = CEPPropertyData(other);
}

CEPPropertyData& CEPPropertyData::operator=(CEPPropertyData&& other) noexcept
{
    mSize = std::exchange(other.mSize, 0);
    mType = other.mType;
    mInside = other.mInside;
    mOutside = std::move(other.mOutside);
    return *this;
}
