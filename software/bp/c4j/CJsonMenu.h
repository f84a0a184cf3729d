// The menu tree of remote user interfaces, and the favourites: two JSON files.
#pragma once

#include "software/include/EError.h"

#include <json/value.h>

#include <cstddef>
#include <string>
#include <vector>

/// The menu document is an object with one member per menu, named by its ID: {"MAIN": {"items": ["PWR",
/// "MMM+IMAG"]}, "IMAG": {"items": ["BRI"]}}. An item is a control code; "MMM+IMAG" leads to the menu "IMAG".
/// It is only read. The favourites are an array of codes in the order they were added; every change of them
/// is in their file before it holds, so that a failed write leaves list and file as they were.
/// Used from the loop's thread only.
class CJsonMenu
{
public:
    static constexpr char kDefaultMenuFile[] = "menu.json";
    static constexpr char kDefaultFavoritesFile[] = "/var/data/favmenu.json";
    static constexpr unsigned kMaxFavorites =
        256; ///< so that no client fills the medium, or the time of others
    static constexpr std::size_t kMaxCodeLength = 64; ///< bytes of a favourite

    /// Reads nothing yet: there are no menus and no favourites.
    /// @param configDirectory  where menu files are looked for
    explicit CJsonMenu(std::string configDirectory = GetConfigDirectory(),
                       std::string favoritesFile = kDefaultFavoritesFile);

    /// "/tmp/etc/" if that was a folder when this was first asked, else "/etc/": one answer per process.
    static const std::string& GetConfigDirectory();
    /// The rule behind it: the first one if it is a folder.
    static std::string ChooseDirectory(const std::string& preferred, const std::string& otherwise);

    /// Empties the document, then loads both files. @returns true
    /// @param name  of the menu file; null for "menu.json"
    /// @throws CException as `LoadMenuFile` and `FavLoad`, in this order; what comes after is not loaded
    bool Initialize(const char* name = nullptr);

    // --- Menus

    /// @param path  absolute, or in the configuration directory
    /// @throws CException, with the former document kept and the cause nested in it, "Unable to find menu
    ///         configuration - path not specified." for an empty path, "Unable to find menu configuration
    ///         %s" when there is no such file, "Unable to read menu configuration %s" when it is not one
    ///         JSON object of at most 1 MiB
    void LoadMenuFile(const std::string& path);
    /// @param listing  receives the menu's object, or whatever stands in its place
    /// @returns false, with `listing` null, when the document has no such menu
    bool GetMenuListing(const std::string& id, Json::Value& listing) const;
    std::vector<std::string> GetMenuIds() const; ///< ascending
    /// Takes every entry with this code out of a menu's items, in memory only: for the host that knows of an
    /// entry that leads nowhere.
    /// @returns whether there was one
    bool RemoveMenuItem(const std::string& id, const std::string& code);

    // --- Favourites

    const Json::Value& GetFavMenuListing() const noexcept { return mFavorites; }
    /// Whether this may be the list of favourites.
    /// @returns 0; 3 when it is no array, or an element is no code of at most `kMaxCodeLength` bytes; 107
    ///          when there are more than `kMaxFavorites`
    [[nodiscard]] static EError CheckFavorites(const Json::Value& codes);

    /// A file that does not exist leaves the list empty.
    /// @throws CException "Unable to read favorites menu file %s", with the former list kept and the cause
    ///         nested in it, when the file is damaged, larger than any that is written here, or not allowed
    ///         by `CheckFavorites`
    void FavLoad();
    void FavSave() const; ///< @throws CException as `CAtomicFile::Write`

    // These change the list and the file, or throw and change neither. Codes become upper case. They throw
    // what `FavSave` throws, "Unsupported favorite type: non-array", "Unsupported favorite: not a control
    // code" and "Too many favorites: %u of at most %u". Only when a folder could not be flushed after the
    // file was replaced does the file already hold what the list does not.

    void FavAppend(const std::string& code); ///< also a second time
    void FavSet(const Json::Value& codes);
    void FavDelete(const std::string& code); ///< every copy; none is no failure
    void FavClear();

    const std::string& GetFavoritesFile() const noexcept { return mFavoritesFile; }

private:
    void Store(Json::Value favorites);

    const std::string mConfigDirectory;
    const std::string mFavoritesFile;
    Json::Value mDocument{Json::objectValue};
    Json::Value mFavorites{Json::arrayValue};
};
