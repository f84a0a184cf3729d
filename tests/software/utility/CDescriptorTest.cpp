#include "software/utility/CDescriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace
{
int OpenOne()
{
    return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool IsOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) >= 0;
}
} // namespace

TEST(Descriptor, ClosesWhatItOwnsExactlyOnce)
{
    const int first = OpenOne();
    const int second = OpenOne();
    const int third = OpenOne();
    {
        CDescriptor a(first);
        CDescriptor b(second);
        a = std::move(b);
        EXPECT_FALSE(IsOpen(first));
        EXPECT_FALSE(b.IsOpen()); // NOLINT(bugprone-use-after-move): it holds nothing any more
        CDescriptor& itself = a;
        a = std::move(itself);
        EXPECT_TRUE(a.IsOpen() && IsOpen(second));
        a.Reset(a.Get());
        EXPECT_TRUE(IsOpen(second));
        b.Reset(third);
        EXPECT_EQ(b.Release(), third);
        errno = EPIPE;
        a.Reset();
        EXPECT_EQ(errno, EPIPE); // the error being handled is not lost
    }
    EXPECT_FALSE(IsOpen(second));
    EXPECT_TRUE(IsOpen(third));
    CDescriptor(third).Reset();
    EXPECT_FALSE(IsOpen(third));
}
