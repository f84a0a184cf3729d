// Makes messages of the bytes of a serial line.
#pragma once

#include "software/bp/serial/ERxResult.h"
#include "software/bp/serial/SSyntaxError.h"
#include "software/utility/CIpcMessage.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// How the bytes were cut never matters. A "(" outside a text drops what there is and starts a new message;
/// what breaks the syntax drops the message, and the next "(" starts afresh. It keeps one message and uses it
/// again, so that an ordinary line takes nothing from the heap.
class CSerialReceiver
{
public:
    /// @param ownAddress  of this unit, which may change; not owned, must outlive the receiver
    explicit CSerialReceiver(const unsigned short& ownAddress);

    /// Takes bytes, up to the end of the next message or to what breaks it.
    /// @param at  moved behind what was taken
    /// @returns Complete, SyntaxError, or Busy when all were taken
    ERxResult Take(const char*& at, const char* end);

    /// The message that is complete, without its checksum; its own until the next bytes are taken.
    CIpcMessage& GetMessage() noexcept { return mMessage; }
    const CIpcMessage& GetMessage() const noexcept { return mMessage; }
    /// Whether one of its texts can not be stored.
    bool IsTextRefused() const noexcept { return mTextRefused; }
    /// What broke the latest message that was dropped.
    const SSyntaxError& GetError() const noexcept { return mError; }

private:
    static constexpr std::size_t kMaxAccumulated = 50; // characters of a number or prefix
    static constexpr std::size_t kMaxText = 1023;      // bytes of a text argument

    enum class EState
    {
        Waiting, // for "("
        Prefix,
        Code,
        SubCode,
        Arguments, // between two of them
        Modifier,  // behind one
        Number,
        Text,
        Escape, // behind a backslash
        HexHigh,
        HexLow,
    };

    // Each takes at least one byte, and as many as just go on in its state. All return what they have not
    // taken.
    const char* TakeSome(const char* at, const char* end);
    const char* OnWaiting(const char* at, const char* end);
    const char* OnPrefix(const char* at, const char* end);
    const char* OnCode(const char* at, const char* end);
    const char* OnSubCode(const char* at, const char* end);
    /// @param refusal  what a modifier is here; null where it may stand
    const char* OnParmStart(const char* at, const char* end, const char* refusal = nullptr);
    const char* OnModifier(const char* at, const char* end);
    const char* OnNumber(const char* at, const char* end);
    const char* OnText(const char* at, const char* end);
    const char* OnEscape(const char* at);
    const char* OnHexHigh(const char* at);
    const char* OnHexLow(const char* at);

    void Enter(EState state) noexcept { mState = state; }
    const char* StartMessage(const char* bracket);
    const char* EndMessage(const char* bracket);
    const char* Drop(const char* bracket) noexcept;
    const char* StartModifier(const char* letter) noexcept;
    const char* StartText(const char* quote);
    const char* StartNumber(const char* at, const char* end);
    const char* TakeLetters(const char* at, const char* end, std::size_t size);
    bool Refuse(const char* text, int value = SSyntaxError::kNoValue) noexcept;
    const char* Fail(const char* at, const char* text, int value = SSyntaxError::kNoValue) noexcept;

    void Accumulate(char byte) noexcept { mAccumulator[mAccumulated++] = byte; }
    std::string_view GetAccumulated() const noexcept { return {mAccumulator.data(), mAccumulated}; }
    const char* EndText(std::string_view text, const char* quote);
    const char* AppendText(const char* at, char byte);
    unsigned short GetNextKey() const noexcept { return static_cast<unsigned short>(mMessage.GetNumArgs()); }
    EParmFlags GetNumberFlags(std::size_t digits) const noexcept;
    bool AddNumber();
    bool CheckArgCount();
    bool TakeChecksum();
    void SumUpTo(const char* at) noexcept;

    const unsigned short& mOwnAddress;
    CIpcMessage mMessage;
    EState mState = EState::Waiting;
    ERxResult mResult = ERxResult::Busy;
    SSyntaxError mError;
    std::array<char, kMaxAccumulated> mAccumulator{};
    std::size_t mAccumulated = 0;
    std::string mText;
    int mHexHigh = 0;
    unsigned char mModifier = 0;
    bool mSeparated = false; // white space stood in front of what comes
    bool mTextRefused = false;

    bool mIsSummed = false;         // the message is checksummed, or that is not known yet
    std::uint8_t mChecksum = 0;     // of the bytes from the "(" up to the place below
    const char* mSumFrom = nullptr; // among the bytes that are being taken
    std::uint8_t mChecksumHere = 0; // snapshot in front of the latest number
};
