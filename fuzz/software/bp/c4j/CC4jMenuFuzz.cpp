// A menu file, a favourites file and a request. Whatever they hold, the methods answer in the one form of
// replies, and the favourites that are held can be stored and loaded again.
// The input is the three texts with a NUL between them; the request may be a batch.
#include "software/bp/c4j/CC4jMenu.h"

#include "software/bp/c4j/CJsonMenu.h"
#include "software/bp/hwlogic/CPassiveProxy.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CException.h"
#include "software/utility/CSilentLog.h"
#include "software/utility/IMonotonicClock.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <unistd.h>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class CStoppedClock : public IMonotonicClock
{
public:
    std::uint32_t GetCounts() const override { return 0; }
    std::uint32_t GetFrequency() const override { return 1000; }
};

/// A projector with controls of some kinds. Its files are in memory, so that no run waits for a disk.
class CProjector
{
public:
    CProjector()
        : mFolder("/dev/shm/lantern-menu-fuzz-" + std::to_string(::getpid()) + "/")
    {
        std::filesystem::create_directories(mFolder);
        mReserved.SetReserved(true);
    }
    ~CProjector() { std::filesystem::remove_all(mFolder); }

    void Run(std::string_view menus, std::string_view favorites, const std::string& request)
    {
        Load(menus, favorites);
        Json::Value response;
        mServer.ProcessOutOfBandMessage(request, response, kClient);
        Check(response);
        mDispatcher.GetNotificationManager().NotifyUnregisterAll(
            CNotificationManager::MakeAddrFromSocket(kClient));

        const Json::Value held = mMenu.GetFavMenuListing();
        Require(CJsonMenu::CheckFavorites(held) == eErrorNone);
        mMenu.FavSave();
        mMenu.FavLoad();
        Require(mMenu.GetFavMenuListing() == held);
    }

private:
    static constexpr int kClient = 7;

    void Load(std::string_view menus, std::string_view favorites)
    {
        mMenu.FavClear();
        std::ofstream(mFolder + CJsonMenu::kDefaultMenuFile) << menus;
        std::ofstream(mMenu.GetFavoritesFile()) << favorites;
        try
        {
            mMenu.Initialize();
            for (const std::string& id : mMenu.GetMenuIds())
                mMenu.RemoveMenuItem(id, "FN1");
        }
        catch (const CException&) // what it left is answered from
        {
        }
    }

    static void Check(const Json::Value& response)
    {
        if (response.isArray())
            for (const Json::Value& reply : response)
                Check(reply);
        else if (!response.isNull())
            Require(response.isMember("result") != response.isMember("error"));
    }

    const std::string mFolder;
    CSilentLog mLog{CSilentLog::ELines::Composed};
    CStoppedClock mClock;
    CEventDispatcher mDispatcher{mLog};
    CPassiveProxy mProxy;
    CProjCon mMain{eDisplayMenu, mDispatcher, mProxy, "MMM+MAIN", 0, 0, std::string("menu/main.png")};
    CProjCon mLens{eDisplayMenu, mDispatcher, mProxy, "MMM+LENS", 0, 0, std::string()};
    CProjCon mFavorites{eDisplayMenu, mDispatcher, mProxy, "MMM+FAVR", 0, 0, std::string()};
    CProjCon mPower{eDisplayBoolean, mDispatcher, mProxy, "PWR", true, false, eAccessOperator, 0, 0, false};
    CProjCon mService{eDisplayBoolean, mDispatcher,      mProxy, "SVM", true,
                      false,           eAccessProtected, 0,      0,     false};
    CProjCon mReserved{eDisplayBoolean, mDispatcher,     mProxy, "SHT", true,
                       false,           eAccessOperator, 0,      0,     false};
    CJsonRpcServer mServer{mDispatcher, "127.0.0.1", 0, mClock, mLog};
    CJsonMenu mMenu{mFolder, mFolder + "favmenu.json"};
    CC4jMenu mMethods{mServer, mMenu};
};

std::string_view TakeText(std::string_view& input)
{
    const std::string_view text = input.substr(0, input.find('\0'));
    input.remove_prefix(std::min(text.size() + 1, input.size()));
    return text;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static CProjector projector;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::string_view menus = TakeText(input);
    const std::string_view favorites = TakeText(input);
    projector.Run(menus, favorites, std::string(input));
    return 0;
}
