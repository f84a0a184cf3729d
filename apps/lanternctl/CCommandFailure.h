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
    static constexpr int kNoErrorCode = 0;

    /// @param errorCode  the projector's own, where it gave one
    CCommandFailure(EExitCode exitCode, std::string sentence, int errorCode = kNoErrorCode)
        : mExitCode(exitCode)
        , mErrorCode(errorCode)
        , mSentence(std::move(sentence))
    {
    }

    const char* what() const noexcept override { return mSentence.c_str(); }
    EExitCode GetExitCode() const noexcept { return mExitCode; }
    int GetErrorCode() const noexcept { return mErrorCode; }

private:
    EExitCode mExitCode;
    int mErrorCode;
    std::string mSentence;
};
