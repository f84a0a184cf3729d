// The log of the programs: console, file and system log.
#pragma once

#include "software/include/ILog.h"
#include "software/utility/SLogOptions.h"

#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string>

class IMonotonicClock;

/// Writes lines "DATE TIME NAME LEVEL: TEXT". A text is one line whatever it holds: control characters and
/// bytes that are not UTF-8 are shown as \n or \xNN. A line that cannot be written (full medium, a reader of
/// standard error that does not read, a log daemon that was stopped) is counted, told on standard error once,
/// and told in its place when lines can be written again; nothing is thrown, and neither file, console nor
/// log daemon is ever waited for. Any thread may log; errno stays as it was.
class CLogger : public ILog
{
public:
    static constexpr std::size_t kDefaultBufferSize = 2048; // bytes
    static constexpr std::size_t kMinBufferSize = 64;       // bytes; smaller ones become this

    /// Writes to where all loggers of the process write.
    /// @param name        names the component in each line
    /// @param bufferSize  bytes of the message buffer; a text that does not fit, with a NUL behind it, is cut
    /// at
    ///                    the border of a character and ends in "..."
    explicit CLogger(const std::string& name, std::size_t bufferSize = kDefaultBufferSize);
    /// Writes to places of its own; a file must not be given to two loggers.
    /// @param clock  measures repetitions for `EnableAntiSpam`; null takes the system's; must outlive the
    /// logger
    /// @throws CException "Unable to open log file %s" with the system error
    CLogger(const std::string& name, const SLogOptions& options, std::size_t bufferSize = kDefaultBufferSize,
            const IMonotonicClock* clock = nullptr);
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;
    ~CLogger() override; ///< reports what is still held back

    /// Where the loggers that are made from now on write; before the first call it is the console. One that
    /// was made earlier stays with what it has.
    /// @throws CException "Unable to open log file %s" with the system error; then nothing changes
    static void SetDefaults(const SLogOptions& options);

    void Log(const char* format, ...) override __attribute__((format(printf, 2, 3)));
    void LogDebug(const char* format, ...) override __attribute__((format(printf, 2, 3)));
    /// The line starts with "FYI CODE: ".
    void LogFYI(EFyiCode code, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void LogWarning(const char* format, ...) override __attribute__((format(printf, 2, 3)));
    void LogError(const char* format, ...) override __attribute__((format(printf, 2, 3)));

    /// A window of ten seconds starts with the first of the equal lines. What was held back in it comes as
    /// "Held back N repeats of: TEXT" before the first line after it, or at the end of the logger.
    void EnableAntiSpam(unsigned limit) override;
    bool IsEnabled(ELogLevel level) const noexcept override;
    void SetLevel(ELogLevel level) noexcept; ///< the least important level that is kept

private:
    struct SImpl;

    void Write(ELogLevel level, const char* prefix, const char* format, va_list arguments) noexcept
        __attribute__((format(printf, 4, 0)));

    const std::unique_ptr<SImpl> mImpl;
};
