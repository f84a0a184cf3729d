// Masks and shifts of the blocks are used here and nowhere else.
#include "software/bp/rtl/fpga/CFieldBank.h"

#include "software/bp/rtl/CPtMemoryPort.h"
#include "software/bp/rtl/NPoll.h"
#include "software/utility/CException.h"

namespace
{
using NFpga::EFieldKind;
using NFpga::SField;

constexpr char kSource[] = "software/bp/rtl/fpga/CFieldBank";

bool ReactsToOnes(EFieldKind kind) noexcept
{
    return kind == EFieldKind::Pulse || kind == EFieldKind::WriteOneClears;
}

void CheckMap(const SField* fields, std::size_t count, std::uint32_t size)
{
    for (std::size_t i = 0; i < count; ++i)
    {
        if (!NFpga::IsSound(fields[i], size))
            throw CException(__func__, kSource, __LINE__, false,
                             "Register map: field %s does not fit a block of %#x bytes", fields[i].mName,
                             size);
        for (std::size_t j = 0; j < i; ++j)
            if (NFpga::Overlap(fields[i], fields[j]))
                throw CException(__func__, kSource, __LINE__, false, "Register map: fields %s and %s overlap",
                                 fields[j].mName, fields[i].mName);
    }
}
} // namespace

std::vector<std::uint32_t> NFpga::CFieldBank::MakeTouchy(const SField* fields, std::size_t count,
                                                         std::uint32_t size)
{
    CheckMap(fields, count, size);
    std::vector<std::uint32_t> touchy(count, 0);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < count; ++j)
            if (fields[j].mOffset == fields[i].mOffset && ReactsToOnes(fields[j].mKind))
                touchy[i] |= fields[j].mMask;
    return touchy;
}

void NFpga::CFieldBank::ResetShadow()
{
    for (std::size_t i = 0; i < mTouchy.size(); ++i)
        if (!ReactsToOnes(mFields[i].mKind))
            mBank.WriteShadowBits(mFields[i].mOffset, mFields[i].mReset, mFields[i].mShift, mFields[i].mMask);
}

const SField& NFpga::CFieldBank::GetField(std::size_t field) const
{
    if (field >= mTouchy.size())
        throw CException(__func__, kSource, __LINE__, false, "There is no field %zu", field);
    return mFields[field];
}

const SField& NFpga::CFieldBank::CheckWrite(std::size_t field, std::uint32_t value) const
{
    const SField& row = GetField(field);
    if (row.mKind == EFieldKind::ReadOnly || row.mKind == EFieldKind::Port)
        throw CException(__func__, kSource, __LINE__, false, "Field %s cannot be written", row.mName);
    const std::uint32_t most = row.mMask >> row.mShift;
    if (value > most)
        throw CException(__func__, kSource, __LINE__, false, "Field %s cannot hold %u (0 to %u)", row.mName,
                         value, most);
    return row;
}

std::uint32_t NFpga::CFieldBank::Read(std::size_t field)
{
    const SField& row = GetField(field);
    if (row.mKind == EFieldKind::WriteOnly || row.mKind == EFieldKind::Port)
        throw CException(__func__, kSource, __LINE__, false, "Field %s cannot be read", row.mName);
    return mBank.ReadField(row.mOffset, row.mShift, row.mMask);
}

std::uint32_t NFpga::CFieldBank::ReadShadow(std::size_t field) const
{
    const SField& row = GetField(field);
    return mBank.ReadShadowBits(row.mOffset, row.mShift, row.mMask);
}

void NFpga::CFieldBank::Write(std::size_t field, std::uint32_t value)
{
    const SField& row = CheckWrite(field, value);
    mBank.WriteShadowBits(row.mOffset, 0, 0, mTouchy[field]);
    mBank.WriteField(row.mOffset, value, row.mShift, row.mMask);
}

void NFpga::CFieldBank::WriteWait(std::size_t field, std::uint32_t value)
{
    WriteSeveral({{field, value}});
}

void NFpga::CFieldBank::WriteSeveral(std::initializer_list<SValue> values)
{
    if (values.size() == 0)
        return;
    const SField& first = GetField(values.begin()->mField);
    for (const SValue& value : values)
    {
        const SField& row = CheckWrite(value.mField, value.mValue);
        if (row.mOffset != first.mOffset)
            throw CException(__func__, kSource, __LINE__, false, "Fields %s and %s are not in one word",
                             first.mName, row.mName);
    }
    mBank.WriteShadowBits(first.mOffset, 0, 0, mTouchy[values.begin()->mField]);
    for (const SValue& value : values)
        mBank.WriteShadowBits(first.mOffset, value.mValue, mFields[value.mField].mShift,
                              mFields[value.mField].mMask);
    mBank.WriteFieldWait(first.mOffset, 0, 0, 0); // the whole word, as the shadow has it now
}

void NFpga::CFieldBank::CheckValues(std::initializer_list<SValue> values) const
{
    for (const SValue& value : values)
        CheckWrite(value.mField, value.mValue);
}

void NFpga::CFieldBank::Pulse(std::size_t field)
{
    const SField& row = GetField(field);
    if (!ReactsToOnes(row.mKind))
        throw CException(__func__, kSource, __LINE__, false, "Field %s does not react to ones", row.mName);
    WriteSeveral({{field, row.mMask >> row.mShift}});
    mBank.WriteShadowBits(row.mOffset, 0, row.mShift, row.mMask);
}

bool NFpga::CFieldBank::WaitFor(std::size_t field, std::uint32_t value, const IMonotonicClock& clock,
                                std::uint32_t timeoutMs)
{
    const CTimer timer(clock);
    return NPoll::UntilMs(timer, timeoutMs, [&] { return Read(field) == value; });
}

void NFpga::CFieldBank::LoadTable(std::size_t port, const std::uint32_t* data, std::uint32_t count,
                                  std::uint32_t timeoutMs)
{
    const SField& row = GetField(port);
    if (row.mKind != EFieldKind::Port)
        throw CException(__func__, kSource, __LINE__, false, "Field %s is no port", row.mName);
    CPtMemoryPort(mBank, row.mOffset).Write(data, count, timeoutMs);
}
