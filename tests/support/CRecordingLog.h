// A log that keeps its lines, so that a test can ask for them.
#pragma once

#include "software/include/ILog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class CRecordingLog : public ILog
{
public:
    struct SLine
    {
        ELogLevel mLevel;
        std::string mText;
    };

    // NOLINTBEGIN(cert-dcl50-cpp): printf-style by the interface
    void Log(const char* format, ...) override
    {
        va_list a;
        va_start(a, format);
        Keep(ELogLevel::Normal, format, a);
        va_end(a);
    }
    void LogDebug(const char* format, ...) override
    {
        va_list a;
        va_start(a, format);
        Keep(ELogLevel::Debug, format, a);
        va_end(a);
    }
    void LogFYI(EFyiCode, const char* format, ...) override
    {
        va_list a;
        va_start(a, format);
        Keep(ELogLevel::Fyi, format, a);
        va_end(a);
    }
    void LogWarning(const char* format, ...) override
    {
        va_list a;
        va_start(a, format);
        Keep(ELogLevel::Warning, format, a);
        va_end(a);
    }
    void LogError(const char* format, ...) override
    {
        va_list a;
        va_start(a, format);
        Keep(ELogLevel::Error, format, a);
        va_end(a);
    }
    // NOLINTEND(cert-dcl50-cpp)
    void EnableAntiSpam(unsigned) override {}
    bool IsEnabled(ELogLevel level) const noexcept override { return level >= mLowest; }

    void SetLowest(ELogLevel level) { mLowest = level; }
    const std::vector<SLine>& GetLines() const { return mLines; } ///< while nobody else writes
    void Clear()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLines.clear();
    }
    std::size_t Count(const std::string& text) const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return static_cast<std::size_t>(std::count_if(mLines.begin(), mLines.end(),
                                                      [&](const SLine& line) { return line.mText == text; }));
    }
    bool Has(ELogLevel level, const std::string& text) const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return std::any_of(mLines.begin(), mLines.end(),
                           [&](const SLine& line) { return line.mLevel == level && line.mText == text; });
    }

private:
    void Keep(ELogLevel level, const char* format, va_list arguments)
    {
        char text[4096];
        std::vsnprintf(text, sizeof text, format, arguments);
        const std::lock_guard<std::mutex> lock(mMutex);
        mLines.push_back({level, text});
    }

    ELogLevel mLowest = ELogLevel::Debug;
    mutable std::mutex mMutex;
    std::vector<SLine> mLines;
};
