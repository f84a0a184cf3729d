#include "software/utility/CAtomicFile.h"

#include "software/utility/CDescriptor.h"
#include "software/utility/CException.h"
#include "tests/support/CTemporaryFolder.h"

#include <atomic>
#include <csignal>
#include <fstream>
#include <set>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
class AtomicFile : public testing::Test
{
protected:
    std::string Read(const std::string& path)
    {
        std::string content = "(absent)";
        CAtomicFile::Read(path, content, 100);
        return content;
    }

    /// @returns the message with the system's error number, or nothing
    std::string Write(const std::string& path, const std::string& content)
    {
        try
        {
            CAtomicFile::Write(path, content);
        }
        catch (const CException& error)
        {
            return error.GetMessage() + " " + std::to_string(error.GetSystemError());
        }
        return std::string();
    }

    void Touch(const std::string& name, const std::string& content = "left")
    {
        std::ofstream(mFolder.File(name)) << content;
    }

    std::set<std::string> List()
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder.GetPath()))
            names.insert(entry.path().filename());
        return names;
    }

    using CNames = std::set<std::string>;

    CTemporaryFolder mFolder;
    std::string mPath = mFolder.File("state.json");
};
} // namespace

TEST_F(AtomicFile, WritesReplacesAndReadsBack)
{
    EXPECT_EQ(Write(mPath, "one"), "");
    EXPECT_EQ(Write(mPath, std::string("a\0b\n", 4)), "");
    EXPECT_EQ(Read(mPath), std::string("a\0b\n", 4));
    EXPECT_EQ(Write(mPath, ""), "");
    EXPECT_EQ(Read(mPath), "");
    EXPECT_EQ(List(), CNames{"state.json"});

    std::string content = "untouched";
    EXPECT_FALSE(CAtomicFile::Read(mFolder.File("none"), content, 100));
    EXPECT_EQ(content, "untouched");
    EXPECT_EQ(Write(mPath, std::string(100, 'x')), "");
    EXPECT_EQ(Read(mPath).size(), 100u);
    EXPECT_EQ(Write(mPath, std::string(101, 'x')), "");
    EXPECT_THROW(CAtomicFile::Read(mPath, content, 100), CException);
    EXPECT_THROW(CAtomicFile::Read(mFolder.GetPath(), content, 100), CException);
    EXPECT_EQ(content, "untouched");
    const std::string large(300000, 'y'); // several reads
    EXPECT_EQ(Write(mPath, large), "");
    EXPECT_TRUE(CAtomicFile::Read(mPath, content, 300000));
    EXPECT_EQ(content, large);
}

TEST_F(AtomicFile, PermissionsAreThoseAskedForAndRootKeepsTheOwner)
{
    Touch("state.json");
    ::chmod(mPath.c_str(), 0666);
    const bool isRoot = ::geteuid() == 0;
    if (isRoot)
    {
        ASSERT_EQ(::chown(mPath.c_str(), 1234, 2345), 0);
    }
    CAtomicFile::Write(mPath, "secret", 0600);
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(status.st_uid, isRoot ? 1234 : ::geteuid());
    EXPECT_EQ(status.st_gid, isRoot ? 2345 : ::getegid());
}

TEST_F(AtomicFile, RefusalNamesTheStepAndLeavesNothingBehind)
{
    std::filesystem::create_directory(mFolder.File("folder"));
    const auto says = [](const std::string& path, const char* step, int error)
    { return "Unable to replace " + path + ": " + step + " " + std::to_string(error); };
    const std::string nowhere = mFolder.File("none/state.json");
    EXPECT_EQ(Write(nowhere, "x"), says(nowhere, "cannot open its folder", ENOENT));
    const std::string folder = mFolder.File("folder");
    EXPECT_EQ(Write(folder, "x"), says(folder, "cannot rename the temporary file over it", EISDIR));
    const std::string longName =
        mFolder.File(std::string(250, 'n')); // no room for the end of a temporary name
    EXPECT_EQ(Write(longName, "x"), says(longName, "cannot create a temporary file beside it", ENAMETOOLONG));
    EXPECT_EQ(List(), CNames{"folder"});

    ASSERT_EQ(Write(mPath, "old"), "");
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{10, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_EQ(Write(mPath, "longer than ten bytes"), says(mPath, "cannot write the temporary file", EFBIG));
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(Read(mPath), "old");
    EXPECT_EQ(List(), (CNames{"folder", "state.json"}));
}

TEST_F(AtomicFile, LeftoversOfAKilledWriterGoButOnlyThose)
{
    Touch("state.json.4711-0.tmp");
    Touch("state.json.1-17.tmp");
    Touch("state.json.notes.tmp");
    Touch("state.json.4711-0.tmp.bak");
    Touch("other.json.4711-0.tmp");
    Touch("state.json.4712-0.tmp");
    const CDescriptor busy(::open(mFolder.File("state.json.4712-0.tmp").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(busy.Get(), LOCK_EX), 0); // as its writer holds it
    EXPECT_EQ(Write(mPath, "new"), "");
    EXPECT_EQ(List(), (CNames{"other.json.4711-0.tmp", "state.json", "state.json.4711-0.tmp.bak",
                              "state.json.4712-0.tmp", "state.json.notes.tmp"}));
}

TEST_F(AtomicFile, WritersAtOnceLeaveOneWholeContent)
{
    constexpr int kThreads = 4;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 25; ++i)
                    failures += Write(mPath, std::string(50, static_cast<char>('a' + t))).empty() ? 0 : 1;
            });
    for (int i = 0; i < 200; ++i)
    {
        const std::string content = Read(mPath);
        if (content != "(absent)")
        {
            EXPECT_EQ(content, std::string(50, content.at(0)));
        }
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(List(), CNames{"state.json"});
}

TEST_F(AtomicFile, UnreadableFilesAreSetAsideUnderTenNames)
{
    EXPECT_EQ(CAtomicFile::SetAside(mPath), "");
    for (int i = 0; i < 12; ++i)
    {
        Touch("state.json", std::to_string(i));
        const int number = std::min(i, 9);
        EXPECT_EQ(CAtomicFile::SetAside(mPath), mPath + ".bad" + (number == 0 ? "" : std::to_string(number)));
    }
    EXPECT_EQ(Read(mPath), "(absent)");
    EXPECT_EQ(Read(mPath + ".bad"), "0");
    EXPECT_EQ(Read(mPath + ".bad8"), "8");
    EXPECT_EQ(Read(mPath + ".bad9"), "11");
}
