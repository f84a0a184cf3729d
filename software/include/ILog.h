// The logging interface that is handed to every component.
#pragma once

#include "software/include/EFyiCode.h"
#include "software/include/ELogLevel.h"

/// Takes finished facts, one line each, printf-style. Every implementation may be called from any thread.
class ILog
{
public:
    virtual ~ILog() = default;

    virtual void Log(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
    virtual void LogDebug(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
    virtual void LogFYI(EFyiCode code, const char* format, ...) __attribute__((format(printf, 3, 4))) = 0;
    virtual void LogWarning(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
    virtual void LogError(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;

    /// Holds back lines that repeat: at most `limit` equal lines in a row of ten seconds are kept, the rest
    /// is counted and reported in one line. 0 keeps every line.
    virtual void EnableAntiSpam(unsigned limit) = 0;

    /// Whether a line of this level would be kept: asked before a line on a hot path is put together.
    virtual bool IsEnabled(ELogLevel level) const noexcept = 0;
};
