// A process that may open only so many files.
#pragma once

#include <sys/resource.h>

/// Gives the process another soft limit of descriptors and puts the old one back.
class CDescriptorLimit
{
public:
    explicit CDescriptorLimit(rlim_t limit)
    {
        ::getrlimit(RLIMIT_NOFILE, &mOld);
        rlimit changed = mOld;
        changed.rlim_cur = limit;
        mIsSet = ::setrlimit(RLIMIT_NOFILE, &changed) == 0;
    }
    CDescriptorLimit(const CDescriptorLimit&) = delete;
    CDescriptorLimit& operator=(const CDescriptorLimit&) = delete;
    ~CDescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &mOld); }

    bool IsSet() const { return mIsSet; }

private:
    rlimit mOld{};
    bool mIsSet;
};
