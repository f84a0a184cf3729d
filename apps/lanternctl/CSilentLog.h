// The library's log lines are for the log of a controller; the client says in one sentence why it failed.
#pragma once

#include "software/include/ILog.h"

class CSilentLog : public ILog
{
public:
    // NOLINTBEGIN(cert-dcl50-cpp): printf-style by the interface
    void Log(const char*, ...) override {}
    void LogDebug(const char*, ...) override {}
    void LogFYI(EFyiCode, const char*, ...) override {}
    void LogWarning(const char*, ...) override {}
    void LogError(const char*, ...) override {}
    // NOLINTEND(cert-dcl50-cpp)
    void EnableAntiSpam(unsigned) override {}
    bool IsEnabled(ELogLevel) const noexcept override { return false; }
};
