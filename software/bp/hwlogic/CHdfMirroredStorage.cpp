// The order of the steps is all there is to it.
#include "software/bp/hwlogic/CHdfMirroredStorage.h"

#include "software/utility/CException.h"

#include <exception>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CHdfMirroredStorage";

struct SContent
{
    bool mIsPresent = false;
    std::string mText;
    std::exception_ptr mDamage; // why there is no text although something is there
};

SContent Look(IHdfStorage& storage)
{
    SContent content;
    try
    {
        content.mIsPresent = storage.IsStoragePresent();
        if (content.mIsPresent)
            storage.Read(content.mText);
    }
    catch (const CException&)
    {
        content.mIsPresent = false;
        content.mDamage = std::current_exception();
    }
    return content;
}

void WriteAndCheck(IHdfStorage& storage, std::string_view text)
{
    std::string stored;
    storage.Write(text);
    storage.Read(stored);
    if (stored != text)
        throw CException("Write", kSource, __LINE__, false, "%s does not hold what was written",
                         storage.GetStorageName());
}
} // namespace

CHdfMirroredStorage::CHdfMirroredStorage(IHdfStorage& first, IHdfStorage& mirror) noexcept
    : mFirst(first)
    , mMirror(mirror)
{
}

void CHdfMirroredStorage::Initialize()
{
    mMirror.Initialize();
    mFirst.Initialize();
    const SContent first = Look(mFirst);
    const SContent mirror = Look(mMirror);
    if (first.mIsPresent && !(mirror.mIsPresent && mirror.mText == first.mText))
        WriteAndCheck(mMirror, first.mText);
    else if (!first.mIsPresent && mirror.mIsPresent)
        WriteAndCheck(mFirst, mirror.mText);
}

// The first place before the mirror: until it is empty the mirror has the old text, and a first place that is
// empty beside a damaged mirror means that there is none, as it does when the very first write is cut.
void CHdfMirroredStorage::Clean()
{
    mFirst.Clean();
    mMirror.Clean();
}

void CHdfMirroredStorage::Write(std::string_view text)
{
    if (text.empty()) // no text is no record, and a mirror without one could not vouch for it
        return Clean();
    WriteAndCheck(mMirror, text);
    WriteAndCheck(mFirst, text);
}

void CHdfMirroredStorage::Read(std::string& text)
{
    SContent content = Look(mFirst);
    if (!content.mIsPresent)
    {
        SContent mirror = Look(mMirror);
        if (!mirror.mIsPresent && content.mDamage)
            std::rethrow_exception(content.mDamage);
        content = std::move(mirror);
    }
    text = std::move(content.mText);
}

bool CHdfMirroredStorage::IsStoragePresent() const
{
    return mFirst.IsStoragePresent() || mMirror.IsStoragePresent();
}

void CHdfMirroredStorage::ReadRawData(std::string& text)
{
    std::string mirror;
    mFirst.ReadRawData(text);
    mMirror.ReadRawData(mirror);
    text += '\n' + mirror;
}
