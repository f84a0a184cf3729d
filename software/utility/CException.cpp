// Composes the message once, when the exception is made.
#include "software/utility/CException.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{
std::string Print(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

std::string Print(const char* format, va_list arguments)
{
    char text[512]; // nearly every message fits
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    std::string result;
    if (length < 0)
        result = format; // cannot be printed: the bare format still says what happened
    else if (static_cast<std::size_t>(length) < sizeof text)
        result.assign(text, static_cast<std::size_t>(length));
    else
    {
        result.resize(static_cast<std::size_t>(length));
        std::vsnprintf(result.data(), result.size() + 1, format, again);
    }
    va_end(again);
    return result;
}

std::string DescribeSystemError(int number)
{
    char text[128];
    return " (errno " + std::to_string(number) + ": " + strerror_r(number, text, sizeof text) + ")";
}
} // namespace

CException::CException(const char* function, const char* source, int line, bool systemError,
                       const char* format, ...) // NOLINT(cert-dcl50-cpp): printf-style throughout the library
    : mSystemError(systemError ? errno : 0)
{
    va_list arguments;
    va_start(arguments, format);
    mMessage = Print(format, arguments);
    va_end(arguments);
    mWhat = std::string(source) + ':' + std::to_string(line) + ' ' + function + ": " + mMessage;
    if (systemError)
        mWhat += DescribeSystemError(mSystemError);
}
