// A lanternd of the test's own: the real program, on a free port.
#pragma once

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

/// Starts the program in the constructor and kills it in the destructor. Beside the state folder lie its run
/// directory, STATE-DIR.run, and files with its output, STATE-DIR.out and STATE-DIR.err, so that no pipe can
/// fill up.
class CDaemonProcess
{
public:
    /// Starts lanternd and waits for its ready line.
    /// @param stateDir   folder of its state, for example one in a `CTemporaryFolder`; short, for names of
    ///                   sockets are
    /// @param arguments  more options; they come behind --port 0, --bind 127.0.0.1, --run-dir, --state-dir
    ///                   and (unless they have one) --config-dir
    /// @throws std::runtime_error with what it wrote when it ends, or says nothing for ten seconds
    explicit CDaemonProcess(const std::string& stateDir, std::vector<std::string> arguments = {})
        : mRunDir(stateDir + ".run")
        , mOut(stateDir + ".out")
        , mErr(stateDir + ".err")
    {
        std::vector<std::string> all{"--port",    "0",     "--bind",      "127.0.0.1",
                                     "--run-dir", mRunDir, "--state-dir", stateDir};
        if (std::find(arguments.begin(), arguments.end(), "--config-dir") == arguments.end())
            all.insert(all.end(), {"--config-dir", LANTERN_TEST_CONFIG_DIR});
        all.insert(all.end(), arguments.begin(), arguments.end());
        mProcess = Spawn(all, mOut, mErr);
        WaitUntilReady();
    }
    CDaemonProcess(const CDaemonProcess&) = delete;
    CDaemonProcess& operator=(const CDaemonProcess&) = delete;
    ~CDaemonProcess()
    {
        if (mProcess > 0)
            Stop(SIGKILL);
    }

    pid_t GetId() const { return mProcess; }
    const std::string& GetRunDir() const { return mRunDir; }   ///< of the local IPC and of serial0, ...
    const std::string& GetReadyLine() const { return mReady; } ///< without its newline
    std::string GetLog() const { return ReadAll(mErr); }       ///< standard error so far
    std::string GetOutput() const { return ReadAll(mOut); }    ///< standard output so far

    /// The port in the ready line that stands behind "json-rpc=".
    int GetPort() const { return std::stoi(GetReady("json-rpc")); }
    /// What the ready line says behind "KEY="; empty when it does not name it.
    std::string GetReady(const std::string& key) const
    {
        const std::string mark = " " + key + "=";
        const std::size_t at = mReady.find(mark);
        if (at == std::string::npos)
            return std::string();
        const std::size_t from = at + mark.size();
        return mReady.substr(from, mReady.find(' ', from) - from);
    }

    /// Sends the signal and waits for the end.
    /// @returns the exit code, or the negative number of the signal that ended it
    int Stop(int signal = SIGTERM)
    {
        ::kill(mProcess, signal);
        const int code = Await(mProcess);
        mProcess = -1;
        return code;
    }

    struct SRun
    {
        int mExitCode; ///< as of `Stop`
        std::string mOut;
        std::string mErr;
    };
    /// Runs lanternd with these options alone until it ends by itself.
    /// @param scratch  prefix of two files for its output
    static SRun Run(const std::vector<std::string>& arguments, const std::string& scratch)
    {
        const pid_t process = Spawn(arguments, scratch + ".out", scratch + ".err");
        const int code = Await(process);
        return {code, ReadAll(scratch + ".out"), ReadAll(scratch + ".err")};
    }

private:
    static pid_t Spawn(const std::vector<std::string>& arguments, const std::string& out,
                       const std::string& err)
    {
        std::vector<char*> argv{const_cast<char*>(LANTERN_TEST_DAEMON)};
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);

        constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out.c_str(), kFlags, 0600);
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, err.c_str(), kFlags, 0600);
        pid_t process = -1;
        const int error = posix_spawn(&process, LANTERN_TEST_DAEMON, &files, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (error != 0)
            throw std::runtime_error("cannot start " LANTERN_TEST_DAEMON);
        return process;
    }

    static int Await(pid_t process)
    {
        int status = 0;
        while (::waitpid(process, &status, 0) == -1 && errno == EINTR)
        {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    static std::string ReadAll(const std::string& path)
    {
        const std::ifstream file(path);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    void WaitUntilReady()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline)
        {
            const std::string text = ReadAll(mOut);
            const std::size_t from = text.find("lanternd ready:");
            if (from != std::string::npos && text.find('\n', from) != std::string::npos)
            {
                mReady = text.substr(from, text.find('\n', from) - from);
                return;
            }
            int status = 0;
            if (::waitpid(mProcess, &status, WNOHANG) == mProcess)
                throw std::runtime_error("lanternd ended before it was ready: " + text + GetLog());
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        Stop(SIGKILL);
        throw std::runtime_error("lanternd is not ready after ten seconds: " + GetLog());
    }

    const std::string mRunDir;
    const std::string mOut;
    const std::string mErr;
    pid_t mProcess = -1;
    std::string mReady;
};
