// Who may serve a name, and what is made for it.
#include "tests/software/bp/serial/CIpcFixture.h"

#include "software/bp/serial/CIpcListener.h"
#include "software/utility/CException.h"

#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

TEST(IpcListener, SocketsOfClientsThatAreGoneAreRemovedAtTheStart)
{
    const pid_t gone = ::fork();
    if (gone == 0)
        ::_exit(0);
    ASSERT_EQ(::waitpid(gone, nullptr, 0), gone);
    CTemporaryFolder folder;
    const std::string dead = std::to_string(gone);
    const std::string alive = std::to_string(::getpid());
    const struct
    {
        std::string mName;
        bool mStays;
    } cases[] = {
        {dead + "_panel_0", false},
        {dead + "_a_b_12", false},
        {dead + "_panel_0.notify", false},
        {alive + "_panel_0", true},
        {alive + "_panel_0.notify", true},
        {dead + "_panel", true}, // these are no client's names
        {dead + "_0", true},
        {dead + "__0", true},
        {dead + "_panel_0x", true},
        {dead + "_panel_.notify", true},
        {dead + "x_panel_0", true},
        {"99999999999_panel_0", true},
        {"0_panel_0", true},
        {"-1_panel_0", true},
        {"serial0", true},
    };
    for (const auto& row : cases)
        LeaveSocket(folder.File(row.mName));
    const CDescriptor answers = NIpcSocket::Listen(folder.File(dead + "_answers_0.notify"), SOCK_SEQPACKET);
    std::ofstream(folder.File(dead + "_file_0")) << "precious";
    std::filesystem::create_symlink(folder.File("serial0"), folder.File(dead + "_link_0"));

    CRecordingLog log;
    CEventDispatcher dispatcher(log);
    const CIpcEventDispatcher server(dispatcher, NIpcSocket::MakeServerName(folder.GetPath()), log);
    for (const auto& row : cases)
        EXPECT_EQ(std::filesystem::exists(folder.File(row.mName)), row.mStays) << row.mName;
    for (const char* const name : {"_answers_0.notify", "_file_0", "_link_0"})
        EXPECT_TRUE(std::filesystem::exists(folder.File(dead + name))) << name;
    EXPECT_TRUE(
        log.Has(ELogLevel::Fyi, "3 sockets of clients that are gone removed from " + folder.GetPath() + "/"));
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
