// How a sub-command ends when it cannot do what it was asked.
#pragma once

#include "apps/lanternctl/EExitCode.h"

#include <exception>
#include <string>
#include <utility>

/// One sentence for the person at the terminal, and the exit code that goes with it.
class CCommandFailure : public std::exception
{
public:
    CCommandFailure(EExitCode exitCode, std::string sentence)
        : mExitCode(exitCode)
        , mSentence(std::move(sentence))
    {
    }

    const char* what() const noexcept override { return mSentence.c_str(); }
    EExitCode GetExitCode() const noexcept { return mExitCode; }

private:
    EExitCode mExitCode;
    std::string mSentence;
};
