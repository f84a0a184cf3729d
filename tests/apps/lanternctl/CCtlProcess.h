// One run of the real program, with its output in pipes or on a terminal, or talking to a person at one.
#pragma once

#include "software/utility/CDescriptor.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// Starts at construction and is ended, at the latest, with this object. Nothing of the caller's environment
/// reaches it.
class CCtlProcess
{
public:
    enum class EOutput
    {
        Pipe,
        Terminal,
        Dialogue, ///< standard input and errors too are the terminal, where it says what somebody would see
    };

    explicit CCtlProcess(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment = {}, EOutput output = EOutput::Pipe,
                         const std::string& program = LANTERN_TEST_CTL)
    {
        CDescriptor outEnd;
        if (output == EOutput::Pipe)
            OpenPipe(mOut, outEnd);
        else
            OpenTerminal(outEnd);
        CDescriptor errorEnd;
        OpenPipe(mError, errorEnd);

        std::vector<std::string> words{program};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<std::string> variables{"TZ=UTC", "TERM=xterm"};
        variables.insert(variables.end(), environment.begin(), environment.end());
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, outEnd.Get(), STDOUT_FILENO);
        const bool isDialogue = output == EOutput::Dialogue;
        posix_spawn_file_actions_adddup2(&actions, (isDialogue ? outEnd : errorEnd).Get(), STDERR_FILENO);
        if (isDialogue)
            posix_spawn_file_actions_adddup2(&actions, outEnd.Get(), STDIN_FILENO);
        const int result = posix_spawn(&mPid, program.c_str(), &actions, nullptr, Pointers(words).data(),
                                       Pointers(variables).data());
        posix_spawn_file_actions_destroy(&actions);
        if (result != 0)
            throw std::runtime_error("unable to start " + program);
    }
    CCtlProcess(const CCtlProcess&) = delete;
    CCtlProcess& operator=(const CCtlProcess&) = delete;
    ~CCtlProcess()
    {
        if (mPid > 0)
        {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
    }

    /// Waits until the text has been printed. @returns false when it was not, in time
    bool WaitForOutput(const std::string& text)
    {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (mOutText.find(text) == std::string::npos)
        {
            if (std::chrono::steady_clock::now() > end || !Read(mOut, mOutText, kStep))
                return mOutText.find(text) != std::string::npos;
        }
        return true;
    }

    /// @returns the exit code, 128 and the number of the signal that ended it, -1 when it does not end
    int Wait()
    {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (mPid > 0 && std::chrono::steady_clock::now() < end)
        {
            Read(mOut, mOutText, kStep);
            Read(mError, mErrorText, kNoWait);
            int status = 0;
            if (waitpid(mPid, &status, WNOHANG) == mPid)
            {
                mPid = -1;
                mExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                while (Read(mOut, mOutText, kNoWait) || Read(mError, mErrorText, kNoWait))
                    continue;
            }
        }
        return mExitCode;
    }

    void Type(const std::string& keys) ///< at the terminal of a dialogue
    {
        if (write(mOut.Get(), keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
            throw std::runtime_error("the terminal takes no more");
    }
    /// What the terminal does with its keys (`c_lflag`), while the program runs and after it.
    tcflag_t GetTerminalMode() const
    {
        termios mode{};
        if (tcgetattr(mOut.Get(), &mode) != 0)
            throw std::runtime_error("no terminal");
        return mode.c_lflag;
    }

    void Signal(int number) { kill(mPid, number); }
    void CloseOutput() { mOut.Reset(); } ///< as a reader who has seen enough

    const std::string& GetOutput() const { return mOutText; }
    const std::string& GetErrors() const { return mErrorText; }

private:
    static constexpr std::chrono::seconds kPatience{20};
    static constexpr int kStep = 5; // ms
    static constexpr int kNoWait = 0;

    static std::vector<char*> Pointers(std::vector<std::string>& words)
    {
        std::vector<char*> pointers;
        for (std::string& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        return pointers;
    }

    static void OpenPipe(CDescriptor& ours, CDescriptor& theirs)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        ours.Reset(ends[0]);
        theirs.Reset(ends[1]);
    }

    void OpenTerminal(CDescriptor& theirs)
    {
        mOut.Reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        if (!mOut.IsOpen() || grantpt(mOut.Get()) != 0 || unlockpt(mOut.Get()) != 0)
            throw std::runtime_error("no pseudo-terminal");
        theirs.Reset(open(ptsname(mOut.Get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    // @returns whether there may be more
    static bool Read(const CDescriptor& from, std::string& text, int waitMs)
    {
        pollfd ready{from.Get(), POLLIN, 0};
        if (!from.IsOpen())
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
            return false;
        }
        if (poll(&ready, 1, waitMs) <= 0)
            return waitMs > 0;
        std::array<char, 4096> bytes;
        const ssize_t count = read(from.Get(), bytes.data(), bytes.size());
        if (count <= 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(waitMs)); // nothing to wait for but its end
            return false;
        }
        text.append(bytes.data(), static_cast<std::size_t>(count));
        return true;
    }

    pid_t mPid = -1;
    int mExitCode = -1;
    CDescriptor mOut;
    CDescriptor mError;
    std::string mOutText;
    std::string mErrorText;
};
