// What was read or is to be stored is checked as a whole before it replaces anything.
#include "software/bp/c4j/CJsonMenu.h"

#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NJsonFile.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CJsonMenu";
constexpr char kPreferredDirectory[] = "/tmp/etc/"; // a developer's files win over the installed ones
constexpr char kInstalledDirectory[] = "/etc/";
constexpr char kItems[] = "items";
constexpr std::size_t kMaxMenuFile = std::size_t{1} << 20; // bytes
constexpr std::size_t kFormatting = 16;                    // bytes beside each code in a favourites file
constexpr std::size_t kMaxFavoritesFile =
    CJsonMenu::kMaxFavorites * (CJsonMenu::kMaxCodeLength + kFormatting); // bytes

bool IsCode(const Json::Value& value)
{
    if (!value.isString())
        return false;
    std::string code = value.asString();
    return code.size() <= CJsonMenu::kMaxCodeLength && NAsciiCodeUtils::ValidateCode(code);
}

Json::Value UpperCase(const Json::Value& codes)
{
    Json::Value upper(Json::arrayValue);
    for (const Json::Value& element : codes)
    {
        std::string code = element.asString();
        if (NAsciiCodeUtils::ValidateCode(code))
            upper.append(code);
    }
    return upper;
}

// The elements that are not this text; the array's other elements keep their order.
Json::Value Without(const Json::Value& array, const std::string& code)
{
    Json::Value rest(Json::arrayValue);
    for (const Json::Value& element : array)
    {
        std::string found = element.isString() ? element.asString() : std::string();
        if (!NAsciiCodeUtils::ValidateCode(found) || found != code)
            rest.append(element);
    }
    return rest;
}

std::string AsCode(std::string text)
{
    return NAsciiCodeUtils::ValidateCode(text) ? text : std::string();
}
} // namespace

CJsonMenu::CJsonMenu(std::string configDirectory, std::string favoritesFile)
    : mConfigDirectory(std::move(configDirectory))
    , mFavoritesFile(std::move(favoritesFile))
{
}

const std::string& CJsonMenu::GetConfigDirectory()
{
    static const std::string directory = ChooseDirectory(kPreferredDirectory, kInstalledDirectory);
    return directory;
}

std::string CJsonMenu::ChooseDirectory(const std::string& preferred, const std::string& otherwise)
{
    std::error_code error; // a folder that may not be looked at is none
    return std::filesystem::is_directory(preferred, error) ? preferred : otherwise;
}

bool CJsonMenu::Initialize(const char* name)
{
    mDocument = Json::Value(Json::objectValue);
    LoadMenuFile(name != nullptr ? name : kDefaultMenuFile);
    FavLoad();
    return true;
}

// --- Menus

void CJsonMenu::LoadMenuFile(const std::string& path)
{
    if (path.empty())
        throw CException(__func__, kSource, __LINE__, false,
                         "Unable to find menu configuration - path not specified.");
    const std::string file = (std::filesystem::path(mConfigDirectory) / path).string();
    try
    {
        std::string bytes;
        if (CAtomicFile::Read(file, bytes, kMaxMenuFile))
        {
            mDocument = NJsonFile::ParseObject(bytes);
            return;
        }
    }
    catch (const std::exception&)
    {
        std::throw_with_nested(CException(__func__, kSource, __LINE__, false,
                                          "Unable to read menu configuration %s", file.c_str()));
    }
    throw CException(__func__, kSource, __LINE__, false, "Unable to find menu configuration %s",
                     file.c_str());
}

bool CJsonMenu::GetMenuListing(const std::string& id, Json::Value& listing) const
{
    listing = std::as_const(mDocument)[id];
    return !listing.isNull();
}

std::vector<std::string> CJsonMenu::GetMenuIds() const
{
    return mDocument.getMemberNames();
}

bool CJsonMenu::RemoveMenuItem(const std::string& id, const std::string& code)
{
    const Json::Value& listing = std::as_const(mDocument)[id];
    if (!listing.isObject() || !listing[kItems].isArray())
        return false;
    Json::Value rest = Without(listing[kItems], AsCode(code));
    const bool isFewer = rest.size() < listing[kItems].size();
    mDocument[id][kItems] = std::move(rest);
    return isFewer;
}

// --- Favourites

EError CJsonMenu::CheckFavorites(const Json::Value& codes)
{
    if (!codes.isArray())
        return eErrorInvalidParameter;
    if (codes.size() > kMaxFavorites)
        return eErrorExceededListSize;
    return std::all_of(codes.begin(), codes.end(), IsCode) ? eErrorNone : eErrorInvalidParameter;
}

void CJsonMenu::FavLoad()
{
    try
    {
        Json::Value favorites(Json::arrayValue);
        std::string bytes;
        if (CAtomicFile::Read(mFavoritesFile, bytes, kMaxFavoritesFile))
        {
            favorites = NJsonFile::ParseArray(bytes);
            if (CheckFavorites(favorites) != eErrorNone)
                throw std::runtime_error("it is not a list of at most " + std::to_string(kMaxFavorites) +
                                         " control codes");
        }
        mFavorites = UpperCase(favorites);
    }
    catch (const std::exception&)
    {
        std::throw_with_nested(CException(__func__, kSource, __LINE__, false,
                                          "Unable to read favorites menu file %s", mFavoritesFile.c_str()));
    }
}

void CJsonMenu::FavSave() const
{
    CAtomicFile::Write(mFavoritesFile, NJsonFile::Print(mFavorites));
}

void CJsonMenu::FavAppend(const std::string& code)
{
    Json::Value favorites = mFavorites;
    favorites.append(code);
    Store(std::move(favorites));
}

void CJsonMenu::FavSet(const Json::Value& codes)
{
    Store(codes);
}

void CJsonMenu::FavDelete(const std::string& code)
{
    Store(Without(mFavorites, AsCode(code)));
}

void CJsonMenu::FavClear()
{
    Store(Json::Value(Json::arrayValue));
}

void CJsonMenu::Store(Json::Value favorites)
{
    if (!favorites.isArray())
        throw CException(__func__, kSource, __LINE__, false, "Unsupported favorite type: non-array");
    switch (CheckFavorites(favorites))
    {
    case eErrorNone: break;
    case eErrorExceededListSize:
        throw CException(__func__, kSource, __LINE__, false, "Too many favorites: %u of at most %u",
                         favorites.size(), kMaxFavorites);
    default: throw CException(__func__, kSource, __LINE__, false, "Unsupported favorite: not a control code");
    }
    favorites = UpperCase(favorites);
    mFavorites.swap(favorites);
    try
    {
        FavSave();
    }
    catch (...)
    {
        mFavorites.swap(favorites); // as it was
        throw;
    }
}
