// One message to or from a companion module.
#pragma once

#include "cep/CEPPropertyData.h"
#include "software/utility/NByteOrder.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LibMarlix
{
enum EVERSION : std::uint8_t
{
    eVersion1 = 1, ///< properties without types, no destination ID, object IDs of 8 bits
    eVersion2 = 2,
};

/// What a message wants. The boards agree on the numbers, and any 8-bit value passes; these two are what the
/// simulated module understands. A reply has the command code of its request.
enum ECOMMAND_IDS : std::uint8_t
{
    eCommandGet = 1, ///< the properties of these keys, whatever their values; without properties all
    eCommandSet = 2, ///< to these values, all or none
};

/// Numbers are little-endian. An array has the type of its elements plus 30.
enum EPROPERTY_TYPES : std::uint8_t
{
    eTypeUInt8 = 1,
    eTypeInt8 = 2,
    eTypeUInt16 = 3,
    eTypeInt16 = 4,
    eTypeUInt32 = 5,
    eTypeInt32 = 6,
    eTypeUInt64 = 7,
    eTypeInt64 = 8,
    eTypeBool = 9, ///< one byte, true unless 0
    eTypeString = 12,
    eTypeXml = 15,
    eTypeArrayUInt8 = 31, ///< also what `setData` writes
    eTypeArrayInt8 = 32,
    eTypeArrayUInt16 = 33,
    eTypeArrayInt16 = 34,
    eTypeArrayUInt32 = 35,
    eTypeArrayInt32 = 36,
    eTypeArrayUInt64 = 37,
    eTypeArrayInt64 = 38,
    eTypeArrayBool = 39,
    eTypeUnknown = 255, ///< decoded from format 1, which carries no types
};

/// How the last operation went.
enum EDECODING_ERROR : std::uint32_t
{
    eCepSuccess = 120,
    eCepInvalidHeader = 121, ///< shorter than 19 bytes, wrong magic, or format 0
    eCepTooShort = 122,      ///< the bytes end before what they announce, or announce what cannot be
    eCepWrongCrc = 123,
    eCepNoSuchKey = 124,
    eCepWrongType = 125, ///< or data of a size that the type cannot have
};

/// Header fields and a set of typed properties by ascending key, to and from bytes. Takes no locks: even
/// reading a property stores its result code, so a message belongs to one thread at a time.
///
/// Getters fail with `eCepNoSuchKey` or `eCepWrongType` and then leave their second argument alone. They take
/// the signed and the unsigned type of their width, and anything of a message in format 1. Setters replace
/// what was under that key, of whatever type; they fail (and change nothing) only for data above
/// `kMaxDataSize` or a null pointer to more than nothing.
class CCepMessage
{
public:
    static constexpr std::uint32_t kMaxDataSize = 0xFF'FFF6; ///< bytes; alone it then fits both formats

    static constexpr unsigned char kMagic[] = {0x7B, 0x02, 0x34, 0x2B}; ///< every message begins with it
    static constexpr std::size_t kFormatOffset = sizeof kMagic;
    static constexpr std::size_t kHeaderSize = 18; ///< in both formats; the length of the properties follows
    static constexpr std::size_t kMinSize = kHeaderSize + 1;

    // --- Bytes -----------------------------------------------------------------------------------------

    /// @returns the format byte of a message that begins here; 0 for less than 19 bytes or another magic
    static std::uint8_t CheckMessageHeader(const unsigned char* bytes, std::size_t length) noexcept;

    /// @param format   of the bytes, whatever this message was decoded from
    /// @param length   bytes of the result
    /// @param withCrc  puts the CRC of the bytes into them; otherwise it is what `getCrc` says
    /// @returns the bytes, from new[]: the caller owns them. Null, and length 0, when all properties together
    ///          are longer than a length field can tell
    [[nodiscard]] unsigned char* toBytes(EVERSION format, std::size_t& length, bool withCrc) const;

    /// Takes one message from the front of the bytes; what lies behind it does not matter. Format bytes
    /// above 2 are read as 2.
    /// @param consumed  bytes of the whole message, also when not all of them are there (122); 0 when that
    ///                  cannot be told
    /// @returns success. After 121 nothing has changed, after 122 and 123 no more than header fields, but for
    ///          properties that break their own area (122): then there are none
    [[nodiscard]] bool fromBytes(const unsigned char* bytes, std::size_t length, std::size_t& consumed,
                                 bool checkCrc);

    // --- Header ----------------------------------------------------------------------------------------

    std::uint8_t getMajorVersion() const noexcept { return mMajorVersion; } ///< the format byte as received
    std::uint8_t getMinorVersion() const noexcept { return mMinorVersion; }
    std::uint8_t getCommandCode() const noexcept { return mCommandCode; }
    std::uint16_t getObjectId() const noexcept { return mObjectId; } ///< format 1 carries the low 8 bits
    std::uint16_t getErrorCode() const noexcept { return mErrorCode; }
    std::uint8_t getDestinationId() const noexcept { return mDestinationId; } ///< 0 from format 1
    std::uint8_t getSourceId() const noexcept { return mSourceId; }
    std::uint8_t getSecurityId() const noexcept { return mSecurityId; }
    std::uint16_t getCrc() const noexcept { return mCrc; } ///< as received, or as set
    std::uint8_t getSequenceNumber() const noexcept { return mSequenceNumber; }
    EVERSION getFormat() const noexcept { return mFormat; }                    ///< that it was decoded from
    std::uint32_t getDecodingError() const noexcept { return mDecodingError; } ///< an `EDECODING_ERROR`

    void setMajorVersion(std::uint8_t version) noexcept { mMajorVersion = version; }
    void setMinorVersion(std::uint8_t version) noexcept { mMinorVersion = version; }
    void setCommandCode(std::uint8_t code) noexcept { mCommandCode = code; }
    void setObjectId(std::uint16_t id) noexcept { mObjectId = id; }
    void setErrorCode(std::uint16_t code) noexcept { mErrorCode = code; }
    void setDestinationId(std::uint8_t id) noexcept { mDestinationId = id; }
    void setSourceId(std::uint8_t id) noexcept { mSourceId = id; }
    void setSecurityId(std::uint8_t id) noexcept { mSecurityId = id; }
    void setCrc(std::uint16_t crc) noexcept { mCrc = crc; }
    void setSequenceNumber(std::uint8_t number) noexcept { mSequenceNumber = number; }
    void setFormat(EVERSION format) noexcept { mFormat = format; }
    void setDecodingError(std::uint32_t error) noexcept { mDecodingError = error; }

    // --- Properties as they are ------------------------------------------------------------------------

    /// The one way in for all setters. @param type  any number passes
    bool setProperty(std::uint32_t key, const unsigned char* bytes, std::uint32_t size, std::uint8_t type);
    bool removeProperty(std::uint32_t key); ///< @returns whether there was one (else 124)
    void clearProperties() noexcept;

    bool containsKey(std::uint32_t key) const noexcept { return find(key) != nullptr; }
    std::uint8_t getType(std::uint32_t key) const noexcept;  ///< 0 if the key is absent
    std::uint32_t getSize(std::uint32_t key) const noexcept; ///< bytes; 0 if the key is absent
    /// Whether a getter of this type would find its kind here (120, else 124 or 125).
    bool testProperty(std::uint32_t key, EPROPERTY_TYPES type) const noexcept;
    std::vector<std::uint32_t> getMessageKeys() const; ///< ascending
    std::size_t getMessageKeyCount() const noexcept { return mProperties.size(); }

    // --- Properties by type ----------------------------------------------------------------------------

    // A number whose data is too short for it is of the wrong type; of longer data it takes the low bytes.
    bool getUInt8(std::uint32_t key, std::uint8_t& value) const { return getNumber(key, eTypeUInt8, value); }
    bool getInt8(std::uint32_t key, std::int8_t& value) const { return getNumber(key, eTypeInt8, value); }
    bool getUInt16(std::uint32_t key, std::uint16_t& value) const
    {
        return getNumber(key, eTypeUInt16, value);
    }
    bool getInt16(std::uint32_t key, std::int16_t& value) const { return getNumber(key, eTypeInt16, value); }
    bool getUInt32(std::uint32_t key, std::uint32_t& value) const
    {
        return getNumber(key, eTypeUInt32, value);
    }
    bool getInt32(std::uint32_t key, std::int32_t& value) const { return getNumber(key, eTypeInt32, value); }
    bool getUInt64(std::uint32_t key, std::uint64_t& value) const
    {
        return getNumber(key, eTypeUInt64, value);
    }
    bool getInt64(std::uint32_t key, std::int64_t& value) const { return getNumber(key, eTypeInt64, value); }
    bool getBool(std::uint32_t key, bool& value) const { return getNumber(key, eTypeBool, value); }

    bool setUInt8(std::uint32_t key, std::uint8_t value) { return setNumber(key, eTypeUInt8, value); }
    bool setInt8(std::uint32_t key, std::int8_t value) { return setNumber(key, eTypeInt8, value); }
    bool setUInt16(std::uint32_t key, std::uint16_t value) { return setNumber(key, eTypeUInt16, value); }
    bool setInt16(std::uint32_t key, std::int16_t value) { return setNumber(key, eTypeInt16, value); }
    bool setUInt32(std::uint32_t key, std::uint32_t value) { return setNumber(key, eTypeUInt32, value); }
    bool setInt32(std::uint32_t key, std::int32_t value) { return setNumber(key, eTypeInt32, value); }
    bool setUInt64(std::uint32_t key, std::uint64_t value) { return setNumber(key, eTypeUInt64, value); }
    bool setInt64(std::uint32_t key, std::int64_t value) { return setNumber(key, eTypeInt64, value); }
    bool setBool(std::uint32_t key, bool value) { return setNumber(key, eTypeBool, value); }

    // Texts are bytes as they are, without a terminator; nobody checks XML here.
    bool getString(std::uint32_t key, std::string& text) const { return getText(key, eTypeString, text); }
    bool getXml(std::uint32_t key, std::string& text) const { return getText(key, eTypeXml, text); }
    bool setString(std::uint32_t key, const std::string& text) { return setText(key, eTypeString, text); }
    bool setXml(std::uint32_t key, const std::string& text) { return setText(key, eTypeXml, text); }

    /// The bytes of a property of any type.
    bool getData(std::uint32_t key, std::vector<unsigned char>& bytes) const;
    bool setData(std::uint32_t key, const unsigned char* bytes, std::uint32_t size)
    {
        return setProperty(key, bytes, size, eTypeArrayUInt8);
    }

    // An array whose size is no multiple of its element's is of the wrong type. Counts are of elements.
    template <typename TNumber>
    using Array = std::vector<TNumber>;
    bool getArrayUInt8(std::uint32_t key, Array<std::uint8_t>& a) const
    {
        return getArray(key, eTypeArrayUInt8, a);
    }
    bool getArrayInt8(std::uint32_t key, Array<std::int8_t>& a) const
    {
        return getArray(key, eTypeArrayInt8, a);
    }
    bool getArrayUInt16(std::uint32_t key, Array<std::uint16_t>& a) const
    {
        return getArray(key, eTypeArrayUInt16, a);
    }
    bool getArrayInt16(std::uint32_t key, Array<std::int16_t>& a) const
    {
        return getArray(key, eTypeArrayInt16, a);
    }
    bool getArrayUInt32(std::uint32_t key, Array<std::uint32_t>& a) const
    {
        return getArray(key, eTypeArrayUInt32, a);
    }
    bool getArrayInt32(std::uint32_t key, Array<std::int32_t>& a) const
    {
        return getArray(key, eTypeArrayInt32, a);
    }
    bool getArrayUInt64(std::uint32_t key, Array<std::uint64_t>& a) const
    {
        return getArray(key, eTypeArrayUInt64, a);
    }
    bool getArrayInt64(std::uint32_t key, Array<std::int64_t>& a) const
    {
        return getArray(key, eTypeArrayInt64, a);
    }
    bool getArrayBool(std::uint32_t key, Array<bool>& a) const { return getArray(key, eTypeArrayBool, a); }

    // The signed ones are the unsigned ones under their own type.
    bool setArrayUInt8(std::uint32_t key, const std::uint8_t* values, std::uint32_t count,
                       EPROPERTY_TYPES type = eTypeArrayUInt8)
    {
        return setProperty(key, values, count, type);
    }
    bool setArrayUInt16(std::uint32_t key, const std::uint16_t* values, std::uint32_t count,
                        EPROPERTY_TYPES type = eTypeArrayUInt16)
    {
        return setArray(key, values, count, type);
    }
    bool setArrayUInt32(std::uint32_t key, const std::uint32_t* values, std::uint32_t count,
                        EPROPERTY_TYPES type = eTypeArrayUInt32)
    {
        return setArray(key, values, count, type);
    }
    bool setArrayUInt64(std::uint32_t key, const std::uint64_t* values, std::uint32_t count,
                        EPROPERTY_TYPES type = eTypeArrayUInt64)
    {
        return setArray(key, values, count, type);
    }
    bool setArrayInt8(std::uint32_t key, const std::int8_t* values, std::uint32_t count)
    {
        return setArrayUInt8(key, reinterpret_cast<const std::uint8_t*>(values), count, eTypeArrayInt8);
    }
    bool setArrayInt16(std::uint32_t key, const std::int16_t* values, std::uint32_t count)
    {
        return setArrayUInt16(key, reinterpret_cast<const std::uint16_t*>(values), count, eTypeArrayInt16);
    }
    bool setArrayInt32(std::uint32_t key, const std::int32_t* values, std::uint32_t count)
    {
        return setArrayUInt32(key, reinterpret_cast<const std::uint32_t*>(values), count, eTypeArrayInt32);
    }
    bool setArrayInt64(std::uint32_t key, const std::int64_t* values, std::uint32_t count)
    {
        return setArrayUInt64(key, reinterpret_cast<const std::uint64_t*>(values), count, eTypeArrayInt64);
    }
    bool setArrayBool(std::uint32_t key, const bool* values, std::uint32_t count)
    {
        static_assert(sizeof(bool) == 1, "a bool is its byte on the line");
        return setArrayUInt8(key, reinterpret_cast<const std::uint8_t*>(values), count, eTypeArrayBool);
    }

private:
    struct SProperty
    {
        SProperty(std::uint32_t key, const unsigned char* bytes, std::uint32_t size, std::uint8_t type)
            : mKey(key)
            , mData(bytes, size, type)
        {
        }
        std::uint32_t mKey;
        CEPPropertyData mData;
    };
    using Properties = std::vector<SProperty>; // ascending keys, each once

    std::size_t locate(std::uint32_t key) const noexcept; // the first that is not below it
    const CEPPropertyData* find(std::uint32_t key) const noexcept;
    /// What all getters ask for; sets the result code. Null when it is not there or not of this kind.
    const CEPPropertyData* find(std::uint32_t key, EPROPERTY_TYPES type) const noexcept;
    bool fail(std::uint32_t error) const noexcept;

    std::uint64_t measureProperties(EVERSION format) const noexcept;
    unsigned char* putProperties(EVERSION format, unsigned char* at) const noexcept;
    bool takeProperties(const unsigned char* bytes, std::size_t size);
    void sortProperties();

    static std::uint64_t loadNumber(const unsigned char* bytes, std::size_t size) noexcept
    {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < size; ++i)
            bits |= std::uint64_t{bytes[i]} << (8 * i);
        return bits;
    }

    template <typename TNumber>
    bool getNumber(std::uint32_t key, EPROPERTY_TYPES type, TNumber& value) const
    {
        const CEPPropertyData* data = find(key, type);
        if (data == nullptr)
            return false;
        if (data->getSize() < sizeof(TNumber))
            return fail(eCepWrongType);
        value = static_cast<TNumber>(loadNumber(data->getBytes(), sizeof(TNumber)));
        return true;
    }
    template <typename TNumber>
    bool setNumber(std::uint32_t key, EPROPERTY_TYPES type, TNumber value)
    {
        unsigned char bytes[sizeof(std::uint64_t)];
        NByteOrder::PutLe64(bytes, static_cast<std::uint64_t>(value)); // the low bytes of any width
        return setProperty(key, bytes, sizeof(TNumber), type);
    }

    bool getText(std::uint32_t key, EPROPERTY_TYPES type, std::string& text) const;
    bool setText(std::uint32_t key, EPROPERTY_TYPES type, const std::string& text);

    template <typename TNumber>
    bool getArray(std::uint32_t key, EPROPERTY_TYPES type, std::vector<TNumber>& values) const
    {
        const CEPPropertyData* data = find(key, type);
        if (data == nullptr)
            return false;
        if (data->getSize() % sizeof(TNumber) != 0)
            return fail(eCepWrongType);
        values.resize(data->getSize() / sizeof(TNumber));
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] =
                static_cast<TNumber>(loadNumber(data->getBytes() + i * sizeof(TNumber), sizeof(TNumber)));
        return true;
    }
    template <typename TNumber>
    bool setArray(std::uint32_t key, const TNumber* values, std::uint32_t count, EPROPERTY_TYPES type)
    {
        if (count > kMaxDataSize / sizeof(TNumber) || (values == nullptr && count > 0))
            return false;
        std::vector<unsigned char> bytes(count * sizeof(TNumber));
        for (std::size_t i = 0; i < count; ++i)
            NByteOrder::PutLe<TNumber>(bytes.data() + i * sizeof(TNumber), values[i]);
        return setProperty(key, bytes.data(), static_cast<std::uint32_t>(bytes.size()), type);
    }

    std::uint8_t mMajorVersion = eVersion2;
    std::uint8_t mMinorVersion = 0;
    std::uint8_t mCommandCode = 0;
    std::uint8_t mDestinationId = 0;
    std::uint8_t mSourceId = 0;
    std::uint8_t mSecurityId = 0;
    std::uint8_t mSequenceNumber = 0;
    EVERSION mFormat = eVersion2;
    std::uint16_t mObjectId = 0;
    std::uint16_t mErrorCode = 0;
    std::uint16_t mCrc = 0;
    mutable std::uint32_t mDecodingError = eCepSuccess;
    Properties mProperties;
};
} // namespace LibMarlix
