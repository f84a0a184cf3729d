// One slot in, one slot out.
#include "apps/lanternd/CFileSaver.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/NReason.h"

#include <exception>
#include <utility>

namespace
{
constexpr unsigned kMode = 0640;
} // namespace

CFileSaver::CFileSaver(const std::string& path)
    : mPath(path)
    , mThread([this] { Run(); })
{
}

CFileSaver::~CFileSaver()
{
    Stop();
}

void CFileSaver::Save(std::string content)
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mWaiting = std::move(content);
    }
    mWake.notify_one();
}

std::optional<CFileSaver::SOutcome> CFileSaver::TakeOutcome()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mOutcome, std::nullopt);
}

void CFileSaver::Stop()
{
    if (!mThread.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStop = true;
    }
    mWake.notify_one();
    mThread.join();
}

void CFileSaver::Run()
{
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;)
    {
        mWake.wait(lock, [this] { return mStop || mWaiting; });
        if (!mWaiting)
            return;
        std::string content = std::move(*mWaiting);
        mWaiting.reset();
        lock.unlock();
        SOutcome outcome = Write(std::move(content));
        lock.lock();
        mOutcome = std::move(outcome);
    }
}

CFileSaver::SOutcome CFileSaver::Write(std::string content) const
{
    SOutcome outcome{std::move(content), std::string()};
    try
    {
        CAtomicFile::Write(mPath, outcome.mContent, kMode);
    }
    catch (const std::exception& error)
    {
        outcome.mFailure = NReason::Of(error);
    }
    return outcome;
}
