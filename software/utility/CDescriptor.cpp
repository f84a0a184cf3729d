// The one place where descriptors are closed.
#include "software/utility/CDescriptor.h"

#include <cerrno>

#include <unistd.h>

void CDescriptor::Reset(int descriptor) noexcept
{
    const int old = std::exchange(mDescriptor, descriptor);
    if (old < 0 || old == descriptor)
        return;
    const int error = errno; // what failed before is reported after the clean-up
    ::close(old);
    errno = error;
}
