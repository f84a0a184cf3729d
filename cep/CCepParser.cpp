// The bytes move to the front of the buffer only when there is no room behind them.
#include "cep/CCepParser.h"

#include "cep/CBERLength.h"
#include "cep/CCepMessage.h"

#include <algorithm>
#include <mutex>
#include <utility>

using namespace LibMarlix;

CCepParser::CCepParser(std::size_t capacity)
    : mBuffer(capacity)
{
}

std::size_t CCepParser::addData(const unsigned char* bytes, std::size_t count)
{
    const std::lock_guard<CMutex> guard(mMutex);
    const std::size_t taken = bytes == nullptr ? 0 : std::min(count, mBuffer.size() - size());
    if (taken == 0)
        return 0;
    if (taken > mBuffer.size() - mEnd)
    {
        std::copy(front(), front() + size(), mBuffer.begin());
        mEnd = size();
        mBegin = 0;
    }
    std::copy_n(bytes, taken, mBuffer.data() + mEnd);
    mEnd += taken;
    return taken;
}

std::size_t CCepParser::addData(const char* bytes, std::size_t count)
{
    return addData(reinterpret_cast<const unsigned char*>(bytes), count);
}

std::size_t CCepParser::getRoom()
{
    const std::lock_guard<CMutex> guard(mMutex);
    return mBuffer.size() - size();
}

CCepMessage* CCepParser::getCepMsg()
{
    const std::lock_guard<CMutex> guard(mMutex);
    std::size_t at = 0;
    if (!findMsg(at))
        return nullptr;
    drop(at);
    auto message = std::make_unique<CCepMessage>();
    std::size_t consumed = 0;
    if (!message->fromBytes(front(), size(), consumed, false))
        return nullptr;
    drop(consumed);
    return message.release(); // the caller owns it
}

CCepParser::SReceived CCepParser::receive(ECrc crc)
{
    const std::lock_guard<CMutex> guard(mMutex);
    SReceived received;
    auto message = std::make_unique<CCepMessage>();
    for (std::size_t at = 0; received.mDropped += drop(findStart()), findMsg(at);)
    {
        std::size_t announced = 0;
        const bool isSound = message->fromBytes(front(), size(), announced, crc == ECrc::Right);
        if (isSound)
        {
            // Only of what is sound: a stream of false lengths would have it computed again and again.
            received.mHasRightCrc =
                crc == ECrc::Right || message->fromBytes(front(), announced, announced, true);
            drop(announced);
            received.mMessage = std::move(message);
            return received;
        }
        if (!isBlocking(announced))
            return received;
        received.mDropped += drop(1); // a sound message may begin inside
    }
    return received;
}

std::size_t CCepParser::dropBlocked()
{
    const std::lock_guard<CMutex> guard(mMutex);
    std::size_t dropped = 0;
    CCepMessage attempt;
    for (std::size_t at = 0; dropped += drop(findStart()), findMsg(at);)
    {
        std::size_t announced = 0;
        if (attempt.fromBytes(front(), size(), announced, false) || !isBlocking(announced))
            break;
        dropped += drop(1);
    }
    return dropped;
}

std::size_t CCepParser::dropPending()
{
    const std::lock_guard<CMutex> guard(mMutex);
    std::size_t dropped = drop(findStart());
    if (size() > 0)
        dropped += drop(1);
    return dropped + drop(findStart());
}

void CCepParser::clear()
{
    const std::lock_guard<CMutex> guard(mMutex);
    drop(size());
}

// @param at  offset of the first magic that is there as a whole
bool CCepParser::findMsg(std::size_t& at) const noexcept
{
    at = findStart();
    return size() - at >= sizeof CCepMessage::kMagic;
}

// @returns offset of the first bytes with which a message could begin, be they the last ones here
std::size_t CCepParser::findStart() const noexcept
{
    const unsigned char* const begin = front();
    const unsigned char* const end = begin + size();
    const auto* const magic = std::begin(CCepMessage::kMagic);
    for (const unsigned char* candidate = begin;; ++candidate)
    {
        candidate = std::find(candidate, end, *magic);
        const auto there = std::min(end - candidate, static_cast<std::ptrdiff_t>(sizeof CCepMessage::kMagic));
        if (std::equal(candidate, candidate + there, magic)) // also when nothing is left
            return static_cast<std::size_t>(candidate - begin);
    }
}

// Whether a magic is at the front of something that was not taken and that further bytes can not mend.
// @param announced  bytes of the whole message, 0 where that can not be told yet
bool CCepParser::isBlocking(std::size_t announced) const noexcept
{
    const bool hasFormat = size() > CCepMessage::kFormatOffset;
    if (hasFormat && front()[CCepMessage::kFormatOffset] == 0)
        return true;
    if (size() < CCepMessage::kMinSize)
        return false;
    if (announced == 0)
        return !CBERLength::isFirstByte(front()[CCepMessage::kHeaderSize]);
    return announced > mBuffer.size() || announced <= size();
}

std::size_t CCepParser::drop(std::size_t count) noexcept
{
    mBegin += count;
    if (mBegin == mEnd)
        mBegin = mEnd = 0;
    return count;
}
