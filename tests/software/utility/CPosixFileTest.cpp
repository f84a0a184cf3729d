// The system's calls on a real file.
#include "software/utility/CPosixFile.h"

#include "tests/support/CTemporaryFolder.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>

TEST(PosixFile, ReadsWritesAndMaps)
{
    const CTemporaryFolder folder;
    const std::string path = folder.File("window");
    std::ofstream(path) << std::string(4096, 'a');
    CPosixFile file(path);
    char text[2];
    EXPECT_EQ(file.Read(text, 2), 2);
    EXPECT_EQ(std::string(text, 2), "aa");
    EXPECT_EQ(file.Write("bc", 2), 2);
    auto* window = static_cast<volatile char*>(file.Map(4096, 0));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window[3], 'c');
    window[4] = 'd';
    EXPECT_EQ(file.Read(text, 1), 1);
    EXPECT_EQ(text[0], 'd');
    EXPECT_EQ(file.Map(4096, 1), nullptr); // not the start of a page
    EXPECT_EQ(file.Ioctl(0x40085A05, text), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST(PosixFile, WhatIsNotOpenSaysSo)
{
    EXPECT_EQ(MessageOf([] { CPosixFile("/nowhere/device"); }), "Unable to open /nowhere/device");
    CPosixFile closed;
    char byte = 0;
    EXPECT_EQ(closed.Read(&byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(closed.Map(4096, 0), nullptr);
}
