// A log that keeps nothing.
#pragma once

#include "software/include/ILog.h"

/// For whoever has no use for the library's lines: a client that says in one sentence of its own why it
/// failed, a benchmark that measures the code and not its lines.
class CSilentLog : public ILog
{
public:
    enum class ELines
    {
        Spared,   ///< nobody puts a line together in vain
        Composed, ///< callers make their lines as for a real log, so that a search for faults reaches them
    };

    explicit CSilentLog(ELines lines = ELines::Spared) noexcept
        : mLines(lines)
    {
    }

    // NOLINTBEGIN(cert-dcl50-cpp): printf-style by the interface
    void Log(const char*, ...) override {}
    void LogDebug(const char*, ...) override {}
    void LogFYI(EFyiCode, const char*, ...) override {}
    void LogWarning(const char*, ...) override {}
    void LogError(const char*, ...) override {}
    // NOLINTEND(cert-dcl50-cpp)
    void EnableAntiSpam(unsigned) override {}
    bool IsEnabled(ELogLevel) const noexcept override { return mLines == ELines::Composed; }

private:
    const ELines mLines;
};
