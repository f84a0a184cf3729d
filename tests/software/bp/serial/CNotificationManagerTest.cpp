#include "software/bp/serial/CNotificationManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{
std::list<std::string> Json(const CNotificationManager& manager, const std::string& code)
{
    std::list<std::string> recipients;
    manager.GetC4jRecipientList(code, recipients);
    return recipients;
}

std::list<std::string> Ipc(const CNotificationManager& manager, const std::string& code)
{
    std::list<std::string> recipients;
    manager.GetIpcRecipientList(code, recipients);
    return recipients;
}
} // namespace

TEST(NotificationManager, RegistrationsCountAndAnAddressIsListedOnce)
{
    CNotificationManager manager;
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(manager.NotifyRegister("LUM", "JSON_TCP.7"));
    EXPECT_THAT(Json(manager, "LUM"), ElementsAre("JSON_TCP.7"));
    EXPECT_EQ(manager.GetCount("LUM", "JSON_TCP.7"), 3);

    EXPECT_TRUE(manager.NotifyUnregister("LUM", "JSON_TCP.7", false));
    EXPECT_EQ(manager.GetCount("LUM", "JSON_TCP.7"), 2);
    EXPECT_THAT(Json(manager, "LUM"), ElementsAre("JSON_TCP.7"));

    EXPECT_TRUE(manager.NotifyUnregister("LUM", "JSON_TCP.7", true)); // whatever the count
    EXPECT_THAT(Json(manager, "LUM"), IsEmpty());
    EXPECT_TRUE(manager.NotifyUnregister("LUM", "JSON_TCP.7", false)); // gone already: no failure
    EXPECT_EQ(manager.GetCount("LUM", "JSON_TCP.7"), 0);
}

TEST(NotificationManager, KindsAreKeptApartInTheOrderOfRegistration)
{
    CNotificationManager manager;
    manager.NotifyRegister("LUM", "JSON_TCP.9");
    manager.NotifyRegister("LUM", "/run/b.notify");
    manager.NotifyRegister("LUM", "JSON_TCP.2");
    manager.NotifyRegister("LUM", "/run/a.notify");
    EXPECT_THAT(Json(manager, "LUM"), ElementsAre("JSON_TCP.9", "JSON_TCP.2"));
    EXPECT_THAT(Ipc(manager, "LUM"), ElementsAre("/run/b.notify", "/run/a.notify"));
    std::vector<std::string> all;
    for (const SNotifyInfo& info : manager.GetNotifyList("LUM"))
        all.push_back(info.mAddress);
    EXPECT_THAT(all, ElementsAre("/run/b.notify", "/run/a.notify", "JSON_TCP.9", "JSON_TCP.2"));

    std::list<std::string> appended = {"first"};
    manager.GetC4jRecipientList("LUM", appended);
    EXPECT_THAT(appended, ElementsAre("first", "JSON_TCP.9", "JSON_TCP.2"));
    EXPECT_THAT(Json(manager, "PWR"), IsEmpty());
}

TEST(NotificationManager, DepartureRemovesAnAddressFromEveryCodeAndNoOther)
{
    CNotificationManager manager;
    for (const char* code : {"SRC", "LUM", "PWR"})
        manager.NotifyRegister(code, "JSON_TCP.7");
    manager.NotifyRegister("LUM", "JSON_TCP.7");
    manager.NotifyRegister("LUM", "JSON_TCP.70");
    EXPECT_THAT(manager.GetSubscriptions("JSON_TCP.7"),
                ElementsAre(Pair("LUM", 2), Pair("PWR", 1), Pair("SRC", 1)));

    EXPECT_EQ(manager.NotifyUnregisterAll("JSON_TCP.7"), "LUM PWR SRC ");
    EXPECT_THAT(manager.GetSubscriptions("JSON_TCP.7"), IsEmpty());
    EXPECT_THAT(Json(manager, "PWR"), IsEmpty());
    EXPECT_THAT(Json(manager, "LUM"), ElementsAre("JSON_TCP.70"));
    EXPECT_EQ(manager.NotifyUnregisterAll("JSON_TCP.7"), "");
}

TEST(NotificationManager, RefusesWhatHasNoCodeOrNoAddress)
{
    CNotificationManager manager;
    EXPECT_FALSE(manager.NotifyRegister("", "JSON_TCP.7"));
    EXPECT_FALSE(manager.NotifyRegister("LUM", ""));
    EXPECT_FALSE(manager.NotifyUnregister("", "JSON_TCP.7", true));
    EXPECT_FALSE(manager.NotifyUnregister("LUM", "", true));
}

TEST(NotificationManager, AddressesOfNetworkClientsAreMadeFromTheirIds)
{
    EXPECT_EQ(CNotificationManager::MakeAddrFromSocket(7), "JSON_TCP.7");
    EXPECT_EQ(CNotificationManager::MakeAddrFromSocket(2147483647), "JSON_TCP.2147483647");
    EXPECT_EQ(CNotificationManager::MakeAddrFromSocket(-1), "JSON_TCP.-1");
    EXPECT_TRUE(CNotificationManager::IsJsonAddr("JSON_TCP.7"));
    EXPECT_TRUE(CNotificationManager::IsJsonAddr("xJSON_TCPx"));
    EXPECT_FALSE(CNotificationManager::IsJsonAddr("/run/JSON.notify"));
}
