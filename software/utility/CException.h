// The exception of the whole library.
#pragma once

#include <exception>
#include <string>

/// Says what failed and where. Construction and hardware access throw it; changes of controls never do.
class CException : public std::exception
{
public:
    /// @param function     operation that failed, for example `__func__`
    /// @param source       source file without its ending, for example "software/utility/CIpcMessage"
    /// @param line         line in it
    /// @param systemError  whether errno, as it is at this moment, belongs to the story
    /// @param format       what was wrong, printf-style, one sentence
    CException(const char* function, const char* source, int line, bool systemError, const char* format, ...)
        __attribute__((format(printf, 6, 7)));

    /// One readable line: "SOURCE:LINE FUNCTION: MESSAGE", and " (errno NUMBER: TEXT)" for a system error.
    const char* what() const noexcept override { return mWhat.c_str(); }

    const std::string& GetMessage() const noexcept { return mMessage; } ///< the message alone
    int GetSystemError() const noexcept { return mSystemError; }        ///< errno, 0 when it does not belong

private:
    int mSystemError;
    std::string mMessage;
    std::string mWhat;
};
