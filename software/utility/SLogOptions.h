// Where the lines of a log go.
#pragma once

#include "software/include/ELogLevel.h"

#include <cstddef>
#include <string>

struct SLogOptions
{
    ELogLevel mLevel = ELogLevel::Normal;                 ///< the least important level that is kept
    bool mToConsole = true;                               ///< standard error
    bool mToSyslog = false;                               ///< under the program's name
    std::string mSyslogSocket = "/dev/log";               ///< where the log daemon listens
    std::string mFile;                                    ///< a file to append to; empty for none
    std::size_t mFileSize = std::size_t{4} * 1024 * 1024; ///< bytes of that file before it becomes FILE.1
    unsigned mOldFiles = 4;                               ///< how many of FILE.1, FILE.2 ... are kept
};
