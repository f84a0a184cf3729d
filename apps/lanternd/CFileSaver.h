// Writes a file without keeping the loop waiting for the medium.
#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

/// Replaces one file on a thread of its own. Of several contents that wait, only the latest is written. Its
/// operations are called from one thread, the owner's.
class CFileSaver
{
public:
    struct SOutcome
    {
        std::string mContent; ///< what was to be written
        std::string mFailure; ///< why it is not on the medium; empty when it is
    };

    explicit CFileSaver(const std::string& path);
    CFileSaver(const CFileSaver&) = delete;
    CFileSaver& operator=(const CFileSaver&) = delete;
    ~CFileSaver(); ///< as `Stop`

    void Save(std::string content);        ///< returns at once; nothing is written after `Stop`
    std::optional<SOutcome> TakeOutcome(); ///< of the latest write since the last call; none while it goes on
    void Stop();                           ///< writes what waits, and ends the thread

private:
    void Run();
    SOutcome Write(std::string content) const;

    const std::string mPath;
    std::mutex mMutex; // guards the three below
    std::optional<std::string> mWaiting;
    std::optional<SOutcome> mOutcome;
    bool mStop = false;
    std::condition_variable mWake;
    std::thread mThread; // last: it uses all the others
};
