// Who may serve a name, and what is made for it.
#include "tests/software/bp/serial/CIpcFixture.h"

#include "software/bp/serial/CIpcListener.h"
#include "software/utility/CException.h"

#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <sys/stat.h>

namespace
{
mode_t ModeOf(const std::string& path)
{
    struct stat status
    {
    };
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

std::string Refusal(const std::string& socketName)
{
    CRecordingLog log;
    try
    {
        CIpcListener listener(socketName, log);
    }
    catch (const CException& e)
    {
        return e.GetMessage();
    }
    return "";
}

// A socket file as a process leaves it that is killed.
void LeaveSocket(const std::string& name)
{
    const CDescriptor listener = NIpcSocket::Listen(name, SOCK_STREAM);
}
} // namespace

TEST(IpcListener, MakesItsFolderAndSocketForOwnerAndGroup)
{
    const mode_t umaskBefore = ::umask(077);
    CTemporaryFolder folder;
    CRecordingLog log;
    const std::string name = folder.File("run/ui/main_controller.socket");
    {
        CIpcListener listener(name, log);
        EXPECT_EQ(ModeOf(folder.File("run/ui")), 0750u);
        EXPECT_EQ(ModeOf(name), 0660u);
    }
    ::umask(umaskBefore);
    EXPECT_FALSE(std::filesystem::exists(name)) << "removed with the server";
    EXPECT_TRUE(std::filesystem::exists(name + ".lock"))
        << "unlinking it would let two servers lock two files";
}

TEST(IpcListener, OneNameHasOneServer)
{
    CTemporaryFolder folder;
    CRecordingLog log;
    const std::string name = folder.File("s");
    const std::string refusal = "Socket " + name + " is served by another process already";
    {
        CIpcListener first(name, log);
        EXPECT_EQ(Refusal(name), refusal);
        EXPECT_NO_THROW(CRawClient{name}) << "the refused one left the socket alone";
    }
    EXPECT_EQ(Refusal(name), "");

    const CDescriptor withoutLock = NIpcSocket::Listen(name, SOCK_STREAM);
    EXPECT_EQ(Refusal(name), refusal);
    EXPECT_NO_THROW(CRawClient{name});
}

TEST(IpcListener, ReplacesWhatACrashLeftAndNothingElse)
{
    CTemporaryFolder folder;
    CRecordingLog log;
    const std::string name = folder.File("s");
    LeaveSocket(name);
    ASSERT_TRUE(std::filesystem::exists(name));
    {
        CIpcListener listener(name, log);
        EXPECT_NO_THROW(CRawClient{name});
        EXPECT_TRUE(
            log.Has(ELogLevel::Fyi, "Socket " + name + " was left by a process that is gone; replaced"));
    }
    std::ofstream(name) << "precious";
    EXPECT_EQ(Refusal(name), name + " exists and is no socket");
    EXPECT_EQ(std::filesystem::file_size(name), 8u);
}

TEST(IpcListener, NamesAreAsLongAsTheSystemAllows)
{
    CTemporaryFolder folder;
    const std::string longest = folder.File(std::string(107 - folder.GetPath().size() - 1, 'n'));
    EXPECT_EQ(Refusal(longest), "");
    EXPECT_EQ(Refusal(longest + "n"),
              "Socket name " + longest + "n is too long: 108 bytes, the system allows 107");
}

// The rest of this file runs out of descriptors: the limit is put back by whoever lowered it.
TEST(IpcListener, PausesWhileDescriptorsHaveRunOut)
{
    CTemporaryFolder folder;
    CRecordingLog log;
    CIpcListener listener(folder.File("s"), log);
    CRawClient first(folder.File("s"));
    std::string peer;

    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    std::vector<CDescriptor> hoard;
    rlimit low = before;
    low.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    for (;;)
    {
        CDescriptor copy(::dup(listener.Get()));
        if (!copy.IsOpen())
            break;
        hoard.push_back(std::move(copy));
    }
    const bool accepted = listener.Accept(peer).IsOpen() || listener.Accept(peer).IsOpen();
    hoard.clear();
    ::setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_FALSE(accepted);
    EXPECT_TRUE(listener.IsPaused());
    EXPECT_EQ(
        log.Count("Unable to accept IPC clients: Too many open files (24); they wait until there is room"),
        1u);
    EXPECT_FALSE(listener.Resume()) << "not at once";
    std::this_thread::sleep_for(std::chrono::milliseconds(110));
    EXPECT_TRUE(listener.Resume());
    EXPECT_TRUE(listener.Accept(peer).IsOpen()) << "the client waited";
    EXPECT_EQ(peer, "pid " + std::to_string(::getpid()));
}
