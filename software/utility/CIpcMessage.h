// The one message record of the control core, and its bytes on the local IPC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Every message is built with type 0; other types are carried through.
enum EMessageType : std::uint32_t
{
    eMessageControl = 0, ///< about a control code
};

/// Bits of a message's flags. All others are zero.
enum EMessageFlag : std::uint16_t
{
    eFlagReply = 0x1,
    eFlagRequest = 0x2,
    eFlagMoreFollows = 0x4,   ///< local IPC: more replies to the same message follow this one
    eFlagReplyWanted = 0x10,  ///< a reply or an acknowledgement is wanted
    eFlagNotAddressed = 0x20, ///< not addressed to one unit
    eFlagChecksum = 0x40,     ///< checksummed on the serial line
    eFlagHash = 0x80,         ///< "#" in front on the serial line
};

/// Kind of an argument: text when all bits are 0, a number when `eParmNumber` is set. The low five bits of a
/// number are its display width in digits, at least 3.
enum EParmFlags : std::uint8_t
{
    eParmText = 0,
    eParmWidthMask = 0x1F,
    eParmDelimiter = 0x20, ///< glued to what stands before it on the serial line
    eParmNumber = 0x40,
};

/// A command, a request, a reply or a notification about one control code: a header, numbered arguments in
/// ascending order of key, and the two addresses of the serial line, which are not serialised. A value; not
/// shared between threads while it is changed.
class CIpcMessage
{
public:
    static constexpr std::uint16_t kMagic = 0x13FE;
    static constexpr std::size_t kHeaderSize = 24; // bytes
    static constexpr std::size_t kMaxSize = 4095;  // bytes of a serialised message
    static constexpr std::size_t kMaxArgs = 128;   // what `AddArg` allows
    static constexpr std::size_t kMaxDigits = 9;   // that fit in any case
    static constexpr unsigned short kNoAddress = 65533;
    static constexpr unsigned short kEveryUnit = 65535;

    /// Code "!!!", sub-code "!!!!", no flags, no arguments, no addresses.
    explicit CIpcMessage(EMessageType type = eMessageControl);
    /// Copies everything but the serialised bytes: the copy has none.
    CIpcMessage(const CIpcMessage& other);
    CIpcMessage& operator=(const CIpcMessage& other);
    CIpcMessage(CIpcMessage&&) = default;
    CIpcMessage& operator=(CIpcMessage&&) = default;
    ~CIpcMessage() = default;

    EMessageType GetMessageType() const noexcept { return static_cast<EMessageType>(mHeader.mType); }
    std::uint16_t GetFlags() const noexcept { return mHeader.mFlags; }
    void SetFlags(std::uint16_t flags) noexcept { mHeader.mFlags = flags; }
    bool HasFlag(EMessageFlag flag) const noexcept { return (mHeader.mFlags & flag) != 0; }
    void SetFlag(EMessageFlag flag, bool on = true) noexcept
    {
        mHeader.mFlags = static_cast<std::uint16_t>(on ? mHeader.mFlags | flag : mHeader.mFlags & ~flag);
    }

    /// @throws CException "Invalid code %s" unless it has exactly 3 characters
    void SetCode(std::string_view code);
    std::string GetCode() const;
    /// Three characters as one number, to compare codes by.
    static constexpr std::uint32_t PackCode(std::string_view code) noexcept
    {
        std::uint32_t packed = 0; // the first character is the most significant byte
        for (const char c : code)
            packed = (packed << 8) | static_cast<unsigned char>(c);
        return packed;
    }
    std::uint32_t GetPackedCode() const noexcept { return mHeader.mCode; }
    /// @throws CException "Invalid subcode %s" unless it has exactly 4 characters, or none for no sub-code
    void SetSubCode(std::string_view subCode);
    std::string GetSubCode() const; ///< empty for none

    unsigned short GetSource() const noexcept { return mSource; }
    void SetSource(unsigned short address) noexcept { mSource = address; }
    unsigned short GetDestination() const noexcept { return mDestination; }
    void SetDestination(unsigned short address) noexcept { mDestination = address; }
    /// Name of the peer that the bytes came from; empty for a message made here.
    const std::string& GetSender() const noexcept { return mSender; }

    void CopyHeader(const CIpcMessage& other); ///< the 24 header bytes and the sender, no arguments

    /// Adds a number, or replaces the argument with this key. Flags 0 become a number as wide as its digits.
    /// @throws CException "Unable to add new message parameter.  MaxNumParms exceeded (%d)", with the key,
    /// when the message has 128 arguments already, also where one would only be replaced
    void AddArg(unsigned short key, int value, EParmFlags flags = eParmText, unsigned char modifier = 0);
    /// Adds a number as it was read, which saves its way to binary and back; it is kept without leading
    /// zeros.
    /// @param digits  1 to `kMaxDigits` decimal ones, after a minus sign if it is negative
    void AddDecimal(unsigned short key, std::string_view digits, EParmFlags flags, unsigned char modifier);
    /// Adds a text, or replaces the argument with this key. It ends at its first NUL, as it does on the wire.
    /// @throws CException as above
    void AddArg(unsigned short key, std::string_view text, unsigned char modifier = 0);
    void AddArg(unsigned short key, const char* text, unsigned char modifier = 0);
    void RemoveArg(unsigned short key);
    void ClearArgs();
    std::size_t GetNumArgs() const noexcept { return mArgs.size(); }

    bool GetArg(unsigned short key, std::string& value) const; ///< false if absent
    /// @returns false if absent, if it is text, or if the whole value is not a decimal number that fits
    bool GetArg(unsigned short key, int& value) const;
    bool GetArgFlags(unsigned short key, EParmFlags& flags) const;       ///< false if absent
    bool GetModifier(unsigned short key, unsigned char& modifier) const; ///< false if absent
    bool IsNumberArg(unsigned short key) const;                          ///< false for an absent one
    bool IsTextArg(unsigned short key) const;                            ///< false for an absent one
    void SetCharDelimiter(unsigned short key); ///< sets `eParmDelimiter`; nothing happens if absent

    /// Walk over the arguments in ascending order of key; false at the end. Arguments may be added and
    /// removed on the way. The place is part of the message: one walk at a time.
    bool GetFirstArg(unsigned short& key, std::string& value) const;
    bool GetNextArg(unsigned short& key, std::string& value) const;

    /// Turns the message into the reply to itself: no arguments, the reply flag instead of request, reply
    /// wanted and not addressed; from this unit's address back to the source.
    void MakeReply(unsigned short address);

    /// Puts the message into one new buffer of exactly its length, which the message keeps until the next
    /// serialisation or its end.
    /// @param out  set to the buffer; above 4095 bytes nothing is built, and it is the older one or null
    /// @returns the length in bytes; above 4095 is a failure
    unsigned int SerializeMessage(unsigned char*& out);
    /// Replaces header, arguments and sender by those of a serialised message. It trusts its input: what
    /// comes from outside has passed `IsWellFormed` before.
    /// @param sender  name of the peer, may be null
    /// @returns true
    bool DeserializeMessage(const unsigned char* bytes, const char* sender);

    /// Whether the bytes start with the magic and are exactly as many as their length field says.
    static bool IsCompleteMessage(const unsigned char* bytes, unsigned int length);
    /// Whether the bytes are exactly one message that `DeserializeMessage` can be trusted with: magic, length
    /// from 24 to 4095, at most 128 arguments, each ending inside it, and nothing behind the last.
    [[nodiscard]] static bool IsWellFormed(const unsigned char* bytes, std::size_t length);
    /// Tells from the start of a stream how long its first message is.
    /// @param length  bytes of the first message, or 0 when that takes more bytes to tell
    /// @returns false if no message starts like this: the stream cannot be believed any more
    [[nodiscard]] static bool MeasureMessage(const unsigned char* bytes, std::size_t available,
                                             std::size_t& length);

    /// One line for the log: destination, source, code, what it is, and the arguments.
    static std::string GetMsgAsString(const CIpcMessage& message);

private:
    struct SHeader
    {
        std::uint16_t mMagic = kMagic;
        std::uint16_t mFlags = 0;
        std::uint32_t mType = 0;
        std::uint32_t mCode = 0;
        std::uint32_t mSubCode = 0;
        std::uint16_t mReserved = 0;
        std::uint16_t mSecondWord = 0;
        std::uint16_t mArgCount = 0; // this and the length are of the last serialisation
        std::uint16_t mLength = 0;
    };
    struct SArg
    {
        SArg(unsigned short key, std::uint8_t flags, std::uint8_t modifier, std::uint32_t start,
             std::uint32_t length) noexcept
            : mKey(key)
            , mFlags(flags)
            , mModifier(modifier)
            , mStart(start)
            , mLength(length)
        {
        }
        unsigned short mKey;
        std::uint8_t mFlags;
        std::uint8_t mModifier;
        std::uint32_t mStart; // of its value among the texts
        std::uint32_t mLength;
    };
    // Ascending by key. Most messages have few arguments and get them in order, so that adding one is putting
    // it behind the others; a message that is used again takes nothing from the heap for them.
    using CArgs = std::vector<SArg>;

    static bool IsBefore(const SArg& arg, unsigned short key) noexcept { return arg.mKey < key; }
    void CheckRoom(unsigned short key) const;
    void PutText(unsigned short key, std::string_view text, unsigned char flags, unsigned char modifier);
    void PutValue(unsigned short key, std::size_t length, unsigned char flags, unsigned char modifier);
    const SArg* FindArg(unsigned short key) const;
    std::string_view GetText(const SArg& arg) const noexcept
    {
        return {mTexts.data() + arg.mStart, arg.mLength};
    }
    char* MakeTextRoom(std::size_t size);
    void GrowTexts(std::size_t size);
    void DropUnusedTexts();
    std::size_t GetSerializedSize() const;

    SHeader mHeader;
    CArgs mArgs;
    std::vector<char> mTexts; // values of the arguments, some of them replaced, and room for more
    std::size_t mTextsFilled = 0;
    mutable std::uint32_t mCursor = 0; // lowest key that the walk has not seen
    unsigned short mSource = kNoAddress;
    unsigned short mDestination = kNoAddress;
    std::vector<unsigned char> mBuffer;
    std::string mSender;
};
