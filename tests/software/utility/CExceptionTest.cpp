#include "software/utility/CException.h"

#include <cerrno>

#include <gtest/gtest.h>

TEST(Exception, SaysWhatFailedAndWhere)
{
    const CException plain("Open", "software/utility/CFoo", 12, false, "Port %d of %s", 7, "lamp");
    EXPECT_STREQ(plain.what(), "software/utility/CFoo:12 Open: Port 7 of lamp");
    EXPECT_EQ(plain.GetMessage(), "Port 7 of lamp");
    EXPECT_EQ(plain.GetSystemError(), 0);

    errno = ENOENT;
    const CException system("Open", "software/utility/CFoo", 13, true, "Unable to open");
    EXPECT_STREQ(system.what(),
                 "software/utility/CFoo:13 Open: Unable to open (errno 2: No such file or directory)");
    EXPECT_EQ(system.GetMessage(), "Unable to open");
    EXPECT_EQ(system.GetSystemError(), ENOENT);
}

TEST(Exception, LongMessagesAreKeptWhole)
{
    for (const std::size_t size : {510u, 511u, 512u, 513u, 5000u})
    {
        const std::string text(size, 'x');
        EXPECT_EQ(CException("F", "S", 1, false, "%s!", text.c_str()).GetMessage(), text + '!');
    }
}
