// Composes and filters the lines; spdlog stamps them and hands them to the sinks.
#include "software/utility/CLogger.h"

#include "software/utility/CException.h"
#include "software/utility/CMonotonicClockLowRes.h"
#include "software/utility/CRepeatFilter.h"
#include "software/utility/CRotatingFile.h"
#include "software/utility/CSyslogSocket.h"
#include "software/utility/NPosix.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <vector>

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

namespace
{
constexpr char kLinePattern[] = "%Y-%m-%d %H:%M:%S.%e %n %l: %v";
constexpr char kSyslogPattern[] = "%n: %v"; // behind what every line to the log daemon begins with
constexpr char kEllipsis[] = "...";

using CSinks = std::vector<spdlog::sink_ptr>;

const IMonotonicClock& GetSystemClock()
{
    static const CMonotonicClockLowRes sClock; // slow on purpose: it wraps after more than a year
    return sClock;
}

// Writes to standard error without ever waiting for whoever reads it: a pipe that nobody empties, or a
// terminal that was stopped, must not stop the program. Steps of one page fit whenever there is room at all.
// @returns how much was taken
std::size_t WriteToConsole(std::string_view text)
{
    std::size_t written = 0;
    while (written < text.size())
    {
        pollfd console{STDERR_FILENO, POLLOUT, 0};
        if (::poll(&console, 1, 0) != 1 || (console.revents & POLLOUT) == 0)
            break;
        const std::size_t step = std::min<std::size_t>(text.size() - written, PIPE_BUF);
        const ssize_t count =
            NPosix::RetryOnInterrupt([&] { return ::write(STDERR_FILENO, text.data() + written, step); });
        if (count <= 0)
            break;
        written += static_cast<std::size_t>(count);
    }
    return written;
}

// Counts the lines that could not be written, and says so in their place when lines can be written again.
class CCountingSink : public spdlog::sinks::base_sink<std::mutex>
{
protected:
    /// @throws std::exception when it was not written
    virtual void WriteText(spdlog::level::level_enum level, std::string_view line) = 0;

    void sink_it_(const spdlog::details::log_msg& message) override
    {
        try
        {
            ReportLost(message);
            WriteLine(message);
        }
        catch (const std::exception& error)
        {
            if (mLost++ > 0)
                return; // it has been said
            mReason = error.what();
            throw;
        }
    }
    void flush_() override {}

private:
    void WriteLine(const spdlog::details::log_msg& message)
    {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        WriteText(message.level, {line.data(), line.size()});
    }

    void ReportLost(const spdlog::details::log_msg& next)
    {
        if (mLost == 0)
            return;
        const std::string text = std::to_string(mLost) + " lines were lost: " + mReason;
        WriteLine({next.logger_name, spdlog::level::err, text});
        mLost = 0;
    }

    std::size_t mLost = 0;
    std::string mReason;
};

class CFileSink : public CCountingSink
{
public:
    explicit CFileSink(const SLogOptions& options)
        : mFile(options.mFile, options.mFileSize, options.mOldFiles)
    {
    }

private:
    void WriteText(spdlog::level::level_enum, std::string_view line) override { mFile.Write(line); }

    CRotatingFile mFile;
};

class CConsoleSink : public CCountingSink
{
    void WriteText(spdlog::level::level_enum, std::string_view line) override
    {
        if (mIsCut && WriteToConsole("\n") == 0)
            throw std::runtime_error(kNoReader);
        mIsCut = false;
        const std::size_t written = WriteToConsole(line);
        mIsCut = written > 0 && written < line.size();
        if (written < line.size())
            throw std::runtime_error(kNoReader);
    }

    static constexpr char kNoReader[] = "standard error took no more";
    bool mIsCut = false; // the last line ended in the middle
};

int ToSeverity(spdlog::level::level_enum level)
{
    switch (level)
    {
    case spdlog::level::debug: return LOG_DEBUG;
    case spdlog::level::warn: return LOG_WARNING;
    case spdlog::level::err: return LOG_ERR;
    default: return LOG_INFO; // the others are not ours
    }
}

class CSyslogSink : public CCountingSink
{
public:
    explicit CSyslogSink(const SLogOptions& options)
        : mSocket(options.mSyslogSocket, program_invocation_short_name, GetSystemClock())
    {
    }

private:
    void WriteText(spdlog::level::level_enum level, std::string_view line) override
    {
        mSocket.Write(ToSeverity(level), line);
    }

    CSyslogSocket mSocket;
};

template <typename TSink, typename... TArguments>
void AddSink(CSinks& sinks, const char* pattern, const char* lineEnd, TArguments&&... arguments)
{
    sinks.push_back(std::make_shared<TSink>(std::forward<TArguments>(arguments)...));
    sinks.back()->set_formatter(
        std::make_unique<spdlog::pattern_formatter>(pattern, spdlog::pattern_time_type::local, lineEnd));
}

CSinks MakeSinks(const SLogOptions& options)
{
    CSinks sinks;
    if (options.mToConsole)
        AddSink<CConsoleSink>(sinks, kLinePattern, "\n");
    if (!options.mFile.empty())
        AddSink<CFileSink>(sinks, kLinePattern, "\n", options);
    if (options.mToSyslog)
        AddSink<CSyslogSink>(sinks, kSyslogPattern, "", options);
    return sinks;
}

struct SDefaults
{
    std::mutex mMutex;
    ELogLevel mLevel = SLogOptions().mLevel;
    CSinks mSinks = MakeSinks(SLogOptions());
};

// Made when first asked for, since loggers may be static; never destroyed, since they may log at the very
// end.
SDefaults& GetDefaults()
{
    static auto& sDefaults = *std::make_unique<SDefaults>().release();
    return sDefaults;
}

spdlog::level::level_enum ToSpdlog(ELogLevel level)
{
    switch (level)
    {
    case ELogLevel::Debug: return spdlog::level::debug;
    case ELogLevel::Fyi:
    case ELogLevel::Normal: return spdlog::level::info;
    case ELogLevel::Warning: return spdlog::level::warn;
    case ELogLevel::Error: return spdlog::level::err;
    case ELogLevel::Off: return spdlog::level::off;
    }
    return spdlog::level::info;
}
} // namespace

struct CLogger::SImpl
{
    SImpl(const std::string& name, ELogLevel level, const CSinks& sinks, std::size_t bufferSize,
          const IMonotonicClock& clock)
        : mLevel(level)
        , mBuffer(std::max(bufferSize, kMinBufferSize))
        , mFilter(clock)
        , mSpdlog(name, sinks.begin(), sinks.end())
    {
        mSpdlog.set_level(spdlog::level::trace); // ours decides
        mSpdlog.flush_on(spdlog::level::warn);
        mSpdlog.set_error_handler([](const std::string& text)
                                  { WriteToConsole("Unable to log: " + text + '\n'); });
    }

    void Emit(ELogLevel level, std::string_view text)
    {
        mSpdlog.log(ToSpdlog(level), spdlog::string_view_t(text.data(), text.size()));
    }

    void EmitReports(bool all)
    {
        CRepeatFilter::SReport report;
        while (mFilter.TakeReport(report, all))
            Emit(report.mLevel, report.mText);
    }

    std::string_view Compose(const char* prefix, const char* format, va_list arguments)
        __attribute__((format(printf, 3, 0)));

    std::atomic<ELogLevel> mLevel;
    std::mutex mMutex; // guards what follows
    std::vector<char> mBuffer;
    std::string mLine;
    CRepeatFilter mFilter;
    spdlog::logger mSpdlog;
};

// The view is into a member: valid until the next line.
std::string_view CLogger::SImpl::Compose(const char* prefix, const char* format, va_list arguments)
{
    const std::size_t start = std::strlen(prefix); // always shorter than the smallest buffer
    std::memcpy(mBuffer.data(), prefix, start);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it does not follow the list through the callers
    const int printed = std::vsnprintf(mBuffer.data() + start, mBuffer.size() - start, format, arguments);
    mLine.clear();
    if (printed < 0) // a wide character that has no bytes: the bare format still says what happened
    {
        NUtf8::AppendPrintable(mLine, format);
        return mLine;
    }
    const std::size_t length = start + static_cast<std::size_t>(printed);
    if (length < mBuffer.size())
    {
        NUtf8::AppendPrintable(mLine, {mBuffer.data(), length});
        return mLine;
    }
    const std::string_view text(mBuffer.data(), mBuffer.size() - 1);
    NUtf8::AppendPrintable(mLine,
                           text.substr(0, NUtf8::CutLength(text, text.size() - std::strlen(kEllipsis))));
    mLine += kEllipsis;
    return mLine;
}

CLogger::CLogger(const std::string& name, std::size_t bufferSize)
    : mImpl(
          [&]
          {
              SDefaults& defaults = GetDefaults();
              const std::lock_guard<std::mutex> lock(defaults.mMutex);
              return std::make_unique<SImpl>(name, defaults.mLevel, defaults.mSinks, bufferSize,
                                             GetSystemClock());
          }())
{
}

CLogger::CLogger(const std::string& name, const SLogOptions& options, std::size_t bufferSize,
                 const IMonotonicClock* clock)
    : mImpl(std::make_unique<SImpl>(name, options.mLevel, MakeSinks(options), bufferSize,
                                    clock == nullptr ? GetSystemClock() : *clock))
{
}

CLogger::~CLogger()
{
    try
    {
        mImpl->EmitReports(true);
    }
    catch (const std::exception&) // no memory for a report: there is nobody left to tell
    {
    }
}

void CLogger::SetDefaults(const SLogOptions& options)
{
    CSinks sinks = MakeSinks(options);
    SDefaults& defaults = GetDefaults();
    const std::lock_guard<std::mutex> lock(defaults.mMutex);
    defaults.mLevel = options.mLevel;
    defaults.mSinks = std::move(sinks);
}

// NOLINTBEGIN(cert-dcl50-cpp): printf-style by the interface
void CLogger::Log(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Write(ELogLevel::Normal, "", format, arguments);
    va_end(arguments);
}

void CLogger::LogDebug(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Write(ELogLevel::Debug, "", format, arguments);
    va_end(arguments);
}

void CLogger::LogFYI(EFyiCode code, const char* format, ...)
{
    char prefix[32];
    std::snprintf(prefix, sizeof prefix, "FYI %d: ", static_cast<int>(code));
    va_list arguments;
    va_start(arguments, format);
    Write(ELogLevel::Fyi, prefix, format, arguments);
    va_end(arguments);
}

void CLogger::LogWarning(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Write(ELogLevel::Warning, "", format, arguments);
    va_end(arguments);
}

void CLogger::LogError(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Write(ELogLevel::Error, "", format, arguments);
    va_end(arguments);
}
// NOLINTEND(cert-dcl50-cpp)

void CLogger::EnableAntiSpam(unsigned limit)
{
    const std::lock_guard<std::mutex> lock(mImpl->mMutex);
    mImpl->EmitReports(true);
    mImpl->mFilter.SetLimit(limit);
}

bool CLogger::IsEnabled(ELogLevel level) const noexcept
{
    return level != ELogLevel::Off && level >= mImpl->mLevel.load(std::memory_order_relaxed);
}

void CLogger::SetLevel(ELogLevel level) noexcept
{
    mImpl->mLevel.store(level, std::memory_order_relaxed);
}

void CLogger::Write(ELogLevel level, const char* prefix, const char* format, va_list arguments) noexcept
{
    if (!IsEnabled(level))
        return;
    const int error = errno; // a caller may log first and throw then
    try
    {
        const std::lock_guard<std::mutex> lock(mImpl->mMutex);
        const std::string_view text = mImpl->Compose(prefix, format, arguments);
        mImpl->EmitReports(false);
        if (mImpl->mFilter.Admit(level, text))
            mImpl->Emit(level, text);
    }
    catch (const std::exception&) // no memory: the line is lost, the caller goes on
    {
    }
    errno = error;
}
