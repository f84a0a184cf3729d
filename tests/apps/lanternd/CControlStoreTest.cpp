// What is kept, when it is written, and what becomes of a file that is not as it should be.
#include "apps/lanternd/CControlStore.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace
{
class ControlStore : public testing::Test
{
protected:
    ControlStore()
    {
        mSource.AddList({{0, 0, 0, true, true, "a", ""}, {2, 0, 0, true, true, "b", ""}});
        MakeStore();
    }

    void MakeStore() { mStore = std::make_unique<CControlStore>(mDispatcher, mPath, mClock, mLog); }

    std::string ReadFile() const
    {
        std::string bytes;
        CAtomicFile::Read(mPath, bytes, 1 << 20);
        return bytes;
    }
    bool FileHas(const std::string& text) const { return ReadFile().find(text) != std::string::npos; }

    // The loop for that long, in passes of 20 ms of the driven clock.
    void Run(unsigned ms)
    {
        for (unsigned i = 0; i < ms; i += 20)
        {
            mClock.AdvanceMs(20);
            mStore->Update();
        }
    }
    // The saver is a real thread: gives it real time, none of the driven clock.
    bool Await(const std::function<bool()>& condition)
    {
        for (int i = 0; i < 2000 && !condition(); ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            mStore->Update();
        }
        return condition();
    }
    std::size_t CountLines(ELogLevel level) const
    {
        const auto& lines = mLog.GetLines();
        return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(),
                                                      [=](const CRecordingLog::SLine& line)
                                                      { return line.mLevel == level; }));
    }

    CTemporaryFolder mFolder;
    const std::string mPath = mFolder.File("controls.json");
    CManualClock mClock{1000};
    CRecordingLog mLog;
    CRecordingProxy mProxy;
    CEventDispatcher mDispatcher{mLog};
    CProjCon mLight{eDisplaySoftValue, mDispatcher, mProxy, "LUM", true, 0, 1000, 1000,
                    eAccessOperator,   1,           2,      1,     false};
    CProjCon mName{eDisplayText, mDispatcher, mProxy, "NME", true, 0, 32, "", eAccessOperator, 1, 2, false};
    CProjCon mDate{eDisplayDate, mDispatcher,     mProxy, "DAT", true, 0, 0,
                   "2026-01-01", eAccessOperator, 1,      2,     false};
    CProjCon mSource{eDisplayList, mDispatcher, mProxy, "SRC", true, 0, eAccessOperator, 1, 2, false};
    CProjCon mFan{eDisplayInteger, mDispatcher, mProxy, "FN1", false, 0, 9999, 0,
                  eAccessOperator, 1,           2,      0,     true};
    CProjCon mReset{eDisplayAction, mDispatcher, mProxy, "RST", false, eAccessOperator, 1, 2, 0, false};
    std::unique_ptr<CControlStore> mStore;
};
} // namespace

TEST_F(ControlStore, ValuesComeBackWithoutBeingApplied)
{
    mStore->Load(); // there is no file yet
    mLight.SetValue(735);
    mName.SetText("Käse \"3\"\n");
    mFan.SetValue(1200, eChangeNoApply);
    mStore->Stop();
    EXPECT_FALSE(FileHas("FN1"));
    EXPECT_FALSE(FileHas("RST"));

    mLight.SetValue(1);
    mName.SetText("other");
    mProxy.Take();
    MakeStore();
    mStore->Load();
    EXPECT_EQ(mLight.GetValue(), 735);
    EXPECT_EQ(mName.GetText(), "Käse \"3\"\n");
    EXPECT_TRUE(mProxy.Take().empty());
    EXPECT_FALSE(mLight.IsDirty());
    EXPECT_EQ(CountLines(ELogLevel::Warning), 0u);
}

TEST_F(ControlStore, NothingIsWrittenWhileNothingChanges)
{
    mStore->Load();
    Run(20000);
    mStore->Stop();
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(ControlStore, AChangeIsOnTheMediumWithinASecond)
{
    mStore->Load();
    mLight.SetValue(500);
    Run(300);
    EXPECT_FALSE(std::filesystem::exists(mPath)); // more may come
    EXPECT_TRUE(mLight.IsDirty());
    Run(400);
    EXPECT_TRUE(Await([&] { return FileHas("\"LUM\" : 500") && !mLight.IsDirty(); }));
}

TEST_F(ControlStore, AStormIsJoinedButNotWaitedOut)
{
    mStore->Load();
    int writes = 0;
    int value = 0;
    std::string last;
    for (int part = 0; part < 3; ++part)
    {
        SCOPED_TRACE(part);
        for (int i = 0; i < 200; ++i) // four seconds of a change every 20 ms
        {
            mLight.SetValue(value++);
            Run(20);
            if (std::string now = ReadFile(); now != last)
            {
                last = std::move(now);
                ++writes;
            }
        }
        EXPECT_TRUE(Await([&] { return ReadFile() != last || writes > part; }));
    }
    EXPECT_LE(writes, 4); // of 600 changes
    Run(700);
    EXPECT_TRUE(Await([&] { return FileHas("\"LUM\" : 599"); }));
}

TEST_F(ControlStore, AFailureIsToldOnceAndTriedAgainUntilItWorks)
{
    std::vector<EStatusLevel> troubles;
    mStore->SetTroubleHandler(
        [&](EStatusLevel level, const std::string& text)
        {
            EXPECT_EQ(text.empty(), level == eStatusOk);
            if (troubles.empty() || troubles.back() != level)
                troubles.push_back(level);
        });
    mStore->Load();
    const std::string hidden = mFolder.GetPath() + "-away";
    std::filesystem::rename(mFolder.GetPath(), hidden); // as if the medium had gone
    mLight.SetValue(500);
    Run(700);
    ASSERT_TRUE(Await([&] { return CountLines(ELogLevel::Error) == 1; }));
    EXPECT_TRUE(mLight.IsDirty());
    for (int i = 0; i < 3; ++i)
    {
        Run(6000);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    EXPECT_EQ(CountLines(ELogLevel::Error), 1u);

    std::filesystem::rename(hidden, mFolder.GetPath());
    EXPECT_TRUE(Await(
        [&]
        {
            Run(100);
            return FileHas("\"LUM\" : 500") && !mLight.IsDirty();
        }));
    EXPECT_TRUE(mLog.Has(ELogLevel::Normal, "Control values are saved again in " + mPath));
    EXPECT_EQ(troubles, (std::vector<EStatusLevel>{eStatusAlarm, eStatusOk}));
}

TEST_F(ControlStore, AValueThatIsHeldDownIsKeptAsItWasChosen)
{
    mStore->SetLastingValue([&](const CProjCon& control)
                            { return control.GetValue() == 600 ? 900 : control.GetValue(); });
    mStore->Load();
    mLight.SetValue(600);
    mStore->Stop();
    EXPECT_TRUE(FileHas("\"LUM\" : 900"));
}

TEST_F(ControlStore, AFailureAtTheEndIsTold)
{
    mStore->Load();
    mLight.SetValue(500);
    std::filesystem::remove_all(mFolder.GetPath());
    mStore->Stop();
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "Control values that changed are lost: " + mPath +
                                               " keeps those that it held before"));
}

TEST_F(ControlStore, ADamagedFileIsSetAside)
{
    const std::string damaged[] = {
        "",
        "{\"version\": 1, \"controls\": {\"LUM\": 73",
        "[]",
        "{\"version\": 2, \"controls\": {\"LUM\": 1}}",
        "{\"version\": 1}",
        "{\"version\": 1, \"controls\": []}",
        "{\"version\": 1, \"controls\": {\"LUM\": 1, \"LUM\": 2}}",
        std::string("{\"version\": 1}\0", 15),
        std::string(4096, '\0'),
        std::string(100000, '['),
    };
    int number = 0;
    for (const std::string& content : damaged)
    {
        SCOPED_TRACE(content.substr(0, 60));
        mLog.Clear();
        CAtomicFile::Write(mPath, content);
        MakeStore();
        mStore->Load();
        EXPECT_EQ(mLight.GetValue(), 1000);
        EXPECT_FALSE(std::filesystem::exists(mPath));
        EXPECT_EQ(CountLines(ELogLevel::Warning), 1u);
        std::string kept;
        const std::string suffix = number == 0 ? "" : std::to_string(number);
        EXPECT_TRUE(CAtomicFile::Read(mPath + ".bad" + suffix, kept, 1 << 20));
        EXPECT_EQ(kept, content);
        ++number;
    }
}

TEST_F(ControlStore, SingleBadValuesLeaveTheOthers)
{
    const std::pair<std::string, std::string> cases[] = {
        {R"("LUM": 1001)", "LUM can not be 1001; it starts with its default"},
        {R"("LUM": -1)", "LUM can not be -1; it starts with its default"},
        {R"("LUM": 73.5)", "LUM can not be 73.5; it starts with its default"},
        {R"("LUM": 99999999999)", "LUM can not be 99999999999; it starts with its default"},
        {R"("LUM": "bright")", "LUM can not be \"bright\"; it starts with its default"},
        {R"("LUM": null)", "LUM can not be null; it starts with its default"},
        {R"("SRC": 1)", "SRC can not be 1; it starts with its default"},
        {R"("DAT": "2026-02-30")", "DAT can not be \"2026-02-30\"; it starts with its default"},
        {R"("FN1": 7)", "FN1 is not kept any more; its value is dropped"},
        {R"("ZZZ": [1])", "no control ZZZ; its value is kept in the file"},
    };
    for (const auto& [entry, warning] : cases)
    {
        SCOPED_TRACE(entry);
        mLog.Clear();
        CAtomicFile::Write(mPath, R"({"version": 1, "controls": {)" + entry + R"(, "NME": "Stage"}})");
        mName.SetText("");
        MakeStore();
        mStore->Load();
        EXPECT_EQ(mName.GetText(), "Stage");
        EXPECT_EQ(mLight.GetValue(), 1000);
        EXPECT_EQ(mDate.GetText(), "2026-01-01");
        EXPECT_EQ(CountLines(ELogLevel::Warning), 1u);
        EXPECT_TRUE(mLog.Has(ELogLevel::Warning, mPath + ": " + warning)) << mLog.GetLines().back().mText;
    }
    const std::string longName = std::string(33, 'x');
    CAtomicFile::Write(mPath, R"({"version": 1, "controls": {"LUM": 3, "NME": ")" + longName + R"("}})");
    mName.SetText("");
    MakeStore();
    mStore->Load();
    EXPECT_EQ(mName.GetText(), "");
    EXPECT_EQ(mLight.GetValue(), 3);
}

TEST_F(ControlStore, ValuesOfUnknownCodesSurviveASave)
{
    CAtomicFile::Write(mPath, R"({"version": 1, "controls": {"LUM": 3, "ZZZ": {"a": [1, "ü"]}}})");
    mStore->Load();
    mLight.SetValue(4);
    mStore->Stop();
    EXPECT_TRUE(FileHas("\"LUM\" : 4"));
    EXPECT_TRUE(FileHas("\"ZZZ\""));
    EXPECT_TRUE(FileHas("ü"));
}

TEST_F(ControlStore, AFileThatCannotBeSetAsideStopsTheStart)
{
    const std::string path = "/proc/version"; // readable, no JSON, and nobody can rename it
    CControlStore store(mDispatcher, path, mClock, mLog);
    EXPECT_THROW(store.Load(), CException);
}
