// One row a type, one row a header field; both directions read the same rows.
#include "apps/lanternctl/NCepJson.h"

#include "cep/CCepMessage.h"
#include "software/utility/NHex.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

using LibMarlix::CCepMessage;

namespace
{
enum class EKind : std::uint8_t
{
    Unsigned,
    Signed,
    Bool,
    Text,
};

struct STypeRow
{
    const char* mName;
    std::uint8_t mType;
    EKind mKind;
    std::uint8_t mSize; // bytes of an element
    bool mIsArray;
};
constexpr STypeRow kTypes[] = {
    {"uint8", LibMarlix::eTypeUInt8, EKind::Unsigned, 1, false},
    {"int8", LibMarlix::eTypeInt8, EKind::Signed, 1, false},
    {"uint16", LibMarlix::eTypeUInt16, EKind::Unsigned, 2, false},
    {"int16", LibMarlix::eTypeInt16, EKind::Signed, 2, false},
    {"uint32", LibMarlix::eTypeUInt32, EKind::Unsigned, 4, false},
    {"int32", LibMarlix::eTypeInt32, EKind::Signed, 4, false},
    {"uint64", LibMarlix::eTypeUInt64, EKind::Unsigned, 8, false},
    {"int64", LibMarlix::eTypeInt64, EKind::Signed, 8, false},
    {"bool", LibMarlix::eTypeBool, EKind::Bool, 1, false},
    {"string", LibMarlix::eTypeString, EKind::Text, 1, false},
    {"xml", LibMarlix::eTypeXml, EKind::Text, 1, false},
    {"uint8[]", LibMarlix::eTypeArrayUInt8, EKind::Unsigned, 1, true},
    {"int8[]", LibMarlix::eTypeArrayInt8, EKind::Signed, 1, true},
    {"uint16[]", LibMarlix::eTypeArrayUInt16, EKind::Unsigned, 2, true},
    {"int16[]", LibMarlix::eTypeArrayInt16, EKind::Signed, 2, true},
    {"uint32[]", LibMarlix::eTypeArrayUInt32, EKind::Unsigned, 4, true},
    {"int32[]", LibMarlix::eTypeArrayInt32, EKind::Signed, 4, true},
    {"uint64[]", LibMarlix::eTypeArrayUInt64, EKind::Unsigned, 8, true},
    {"int64[]", LibMarlix::eTypeArrayInt64, EKind::Signed, 8, true},
    {"bool[]", LibMarlix::eTypeArrayBool, EKind::Bool, 1, true},
};

template <typename TTest>
const STypeRow* FindType(TTest test)
{
    const auto* const row = std::find_if(std::begin(kTypes), std::end(kTypes), test);
    return row == std::end(kTypes) ? nullptr : row;
}

struct SHeaderRow
{
    const char* mName;
    unsigned mMaximum;
    unsigned (*mGet)(const CCepMessage& message);
    void (*mSet)(CCepMessage& message, unsigned value);
};
template <auto tGet>
unsigned Get(const CCepMessage& message)
{
    return (message.*tGet)();
}
template <typename TNumber, void (CCepMessage::*tSet)(TNumber) noexcept>
void Set(CCepMessage& message, unsigned value)
{
    (message.*tSet)(static_cast<TNumber>(value));
}
constexpr SHeaderRow kHeader[] = {
    {"format", 2, Get<&CCepMessage::getFormat>, Set<LibMarlix::EVERSION, &CCepMessage::setFormat>},
    {"minor", 0xFF, Get<&CCepMessage::getMinorVersion>, Set<std::uint8_t, &CCepMessage::setMinorVersion>},
    {"command", 0xFF, Get<&CCepMessage::getCommandCode>, Set<std::uint8_t, &CCepMessage::setCommandCode>},
    {"object", 0xFFFF, Get<&CCepMessage::getObjectId>, Set<std::uint16_t, &CCepMessage::setObjectId>},
    {"error", 0xFFFF, Get<&CCepMessage::getErrorCode>, Set<std::uint16_t, &CCepMessage::setErrorCode>},
    {"destination", 0xFF, Get<&CCepMessage::getDestinationId>,
     Set<std::uint8_t, &CCepMessage::setDestinationId>},
    {"source", 0xFF, Get<&CCepMessage::getSourceId>, Set<std::uint8_t, &CCepMessage::setSourceId>},
    {"security", 0xFF, Get<&CCepMessage::getSecurityId>, Set<std::uint8_t, &CCepMessage::setSecurityId>},
    {"sequence", 0xFF, Get<&CCepMessage::getSequenceNumber>,
     Set<std::uint8_t, &CCepMessage::setSequenceNumber>},
    {"crc", 0xFFFF, Get<&CCepMessage::getCrc>, Set<std::uint16_t, &CCepMessage::setCrc>},
};
constexpr char kProperties[] = "properties";

std::vector<unsigned char> BytesOf(const CCepMessage& message, std::uint32_t key)
{
    std::vector<unsigned char> bytes;
    message.getData(key, bytes);
    return bytes;
}

// From the last byte on, which has the sign.
std::uint64_t LoadElement(const STypeRow& row, const unsigned char* bytes)
{
    const bool isNegative = row.mKind == EKind::Signed && (bytes[row.mSize - 1] & 0x80) != 0;
    std::uint64_t bits = isNegative ? ~std::uint64_t{0} : 0;
    for (unsigned i = row.mSize; i-- > 0;)
        bits = bits << 8 | bytes[i];
    return bits;
}

Json::Value ElementFrom(const STypeRow& row, const unsigned char* bytes)
{
    const std::uint64_t bits = LoadElement(row, bytes);
    if (row.mKind == EKind::Bool)
        return bits != 0;
    if (row.mKind == EKind::Unsigned)
        return Json::Value(Json::UInt64{bits});
    return Json::Value(static_cast<Json::Int64>(bits));
}

// Whether the bytes are those that the row's own value would be written as.
bool Fits(const STypeRow& row, const std::vector<unsigned char>& bytes)
{
    if (row.mKind == EKind::Text)
        return NUtf8::IsStorable({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    if (row.mKind == EKind::Bool &&
        std::any_of(bytes.begin(), bytes.end(), [](unsigned char b) { return b > 1; }))
        return false;
    return row.mIsArray ? bytes.size() % row.mSize == 0 : bytes.size() == row.mSize;
}

// @returns the row of a property whose value has the JSON type that belongs to it
const STypeRow* FindFittingType(const CCepMessage& message, std::uint32_t key)
{
    const std::uint8_t type = message.getType(key);
    const STypeRow* row = FindType([=](const STypeRow& r) { return r.mType == type; });
    return row != nullptr && Fits(*row, BytesOf(message, key)) ? row : nullptr;
}

// @returns false when the value is none of the row's
bool AppendElement(const STypeRow& row, const Json::Value& value, std::vector<unsigned char>& bytes)
{
    const unsigned valueBits = 8u * row.mSize - (row.mKind == EKind::Signed ? 1 : 0);
    const auto largest = static_cast<std::uint64_t>(-1) >> (64 - valueBits);
    std::uint64_t bits = 0;
    if (row.mKind == EKind::Bool)
    {
        if (!value.isBool())
            return false;
        bits = value.asBool() ? 1 : 0;
    }
    else if (value.isUInt64() && value.type() != Json::realValue)
    {
        bits = value.asUInt64();
        if (bits > largest)
            return false;
    }
    else
    {
        const bool isNegative = row.mKind == EKind::Signed && value.type() == Json::intValue;
        if (!isNegative || static_cast<std::uint64_t>(-(value.asInt64() + 1)) > largest)
            return false;
        bits = static_cast<std::uint64_t>(value.asInt64());
    }
    for (unsigned i = 0; i < row.mSize; ++i)
        bytes.push_back(static_cast<unsigned char>(bits >> (8 * i)));
    return true;
}

bool BytesFrom(const STypeRow& row, const Json::Value& value, std::vector<unsigned char>& bytes)
{
    if (row.mKind == EKind::Text)
    {
        if (!value.isString())
            return false;
        const std::string text = value.asString();
        bytes.assign(text.begin(), text.end());
        return true;
    }
    if (!row.mIsArray)
        return AppendElement(row, value, bytes);
    return value.isArray() &&
           std::all_of(value.begin(), value.end(),
                       [&](const Json::Value& element) { return AppendElement(row, element, bytes); });
}

// @returns false when it is no whole number from 0 to the maximum
bool ReadNumber(const Json::Value& value, unsigned maximum, unsigned& number)
{
    if (value.type() == Json::realValue || !value.isUInt() || value.asUInt() > maximum)
        return false;
    number = value.asUInt();
    return true;
}

bool AddProperty(const Json::Value& item, CCepMessage& message, std::string& problem)
{
    unsigned key = 0;
    if (!item.isObject() || !ReadNumber(item["key"], std::numeric_limits<std::uint32_t>::max(), key) ||
        item.size() != 3 || !item.isMember("type") || !item.isMember("value"))
    {
        problem = "a property is an object with key (0 to 4294967295), type and value";
        return false;
    }
    return NCepJson::SetProperty(message, key, item["type"], item["value"], problem);
}
} // namespace

Json::Value NCepJson::FromMessage(const CCepMessage& message)
{
    Json::Value document(Json::objectValue);
    for (const SHeaderRow& row : kHeader)
        document[row.mName] = row.mGet(message);
    Json::Value& properties = document[kProperties] = Json::Value(Json::arrayValue);
    for (const std::uint32_t key : message.getMessageKeys())
    {
        Json::Value property(Json::objectValue);
        property["key"] = key;
        property["type"] = GetType(message, key);
        property["value"] = GetValue(message, key);
        properties.append(std::move(property));
    }
    return document;
}

bool NCepJson::ToMessage(const Json::Value& document, CCepMessage& message, std::string& problem)
{
    if (!document.isObject())
    {
        problem = "a message is a JSON object";
        return false;
    }
    for (const std::string& name : document.getMemberNames())
    {
        if (name == kProperties)
            continue;
        const auto* const row = std::find_if(std::begin(kHeader), std::end(kHeader),
                                             [&](const SHeaderRow& r) { return name == r.mName; });
        unsigned number = 0;
        if (row == std::end(kHeader))
            problem = "no message has a member \"" + name + "\"";
        else if (!ReadNumber(document[name], row->mMaximum, number) ||
                 (row == std::begin(kHeader) && number == 0))
            problem = "\"" + name + "\" is not a number up to " + std::to_string(row->mMaximum);
        else
            row->mSet(message, number);
        if (!problem.empty())
            return false;
    }
    const Json::Value& properties = document[kProperties];
    if (!properties.isNull() && !properties.isArray())
    {
        problem = "\"properties\" is not an array";
        return false;
    }
    return std::all_of(properties.begin(), properties.end(),
                       [&](const Json::Value& item) { return AddProperty(item, message, problem); });
}

bool NCepJson::SetProperty(CCepMessage& message, std::uint32_t key, const Json::Value& type,
                           const Json::Value& value, std::string& problem)
{
    const std::string subject = "property " + std::to_string(key) + ": ";
    std::vector<unsigned char> bytes;
    unsigned number = 0;
    if (type.isString())
    {
        const STypeRow* row = FindType([&](const STypeRow& r) { return type.asString() == r.mName; });
        if (row == nullptr)
        {
            problem = subject + "no type is called " + type.asString() + "; one of:";
            for (const STypeRow& r : kTypes)
                problem += std::string(" ") + r.mName;
            return false;
        }
        if (!BytesFrom(*row, value, bytes))
        {
            problem = subject + "the value is not of type " + row->mName;
            return false;
        }
        number = row->mType;
    }
    else if (!ReadNumber(type, 0xFF, number) || !value.isString() || !NHex::FromText(value.asString(), bytes))
    {
        problem = subject + "the type is a name, or a number with the value in hexadecimal digits";
        return false;
    }
    if (bytes.size() > CCepMessage::kMaxDataSize)
    {
        problem =
            subject + "no property has more than " + std::to_string(CCepMessage::kMaxDataSize) + " bytes";
        return false;
    }
    return message.setProperty(key, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                               static_cast<std::uint8_t>(number));
}

Json::Value NCepJson::GetType(const CCepMessage& message, std::uint32_t key)
{
    const STypeRow* row = FindFittingType(message, key);
    return row == nullptr ? Json::Value(message.getType(key)) : Json::Value(row->mName);
}

Json::Value NCepJson::GetValue(const CCepMessage& message, std::uint32_t key)
{
    const STypeRow* row = FindFittingType(message, key);
    const std::vector<unsigned char> bytes = BytesOf(message, key);
    if (row == nullptr)
        return NHex::ToText(bytes.data(), bytes.size());
    if (row->mKind == EKind::Text)
        return std::string(bytes.begin(), bytes.end());
    if (!row->mIsArray)
        return ElementFrom(*row, bytes.data());
    Json::Value array(Json::arrayValue);
    for (std::size_t at = 0; at < bytes.size(); at += row->mSize)
        array.append(ElementFrom(*row, bytes.data() + at));
    return array;
}

bool NCepJson::IsTextType(const std::string& name)
{
    const STypeRow* row = FindType([&](const STypeRow& r) { return name == r.mName; });
    return row != nullptr && row->mKind == EKind::Text;
}
