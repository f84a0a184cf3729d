#include "software/utility/CRotatingFile.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
class RotatingFile : public testing::Test
{
protected:
    std::string Read(const std::string& name) const
    {
        std::string content = "(absent)";
        CAtomicFile::Read(mFolder.File(name), content, 1000000);
        return content;
    }

    CTemporaryFolder mFolder;
    std::string mPath = mFolder.File("log");
};

/// No descriptor can be opened while this lives.
class CNoDescriptors
{
public:
    CNoDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &mOld);
        const rlimit none{0, mOld.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    CNoDescriptors(const CNoDescriptors&) = delete;
    CNoDescriptors& operator=(const CNoDescriptors&) = delete;
    ~CNoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &mOld); }

private:
    rlimit mOld{};
};
} // namespace

TEST_F(RotatingFile, OlderFilesMoveUpAndTheOldestGoes)
{
    {
        CRotatingFile file(mPath, 10, 2);
        for (const char* line :
             {"11111\n", "2222\n", "333\n", "44444444\n", "a line longer than the file\n", "6\n"})
            file.Write(line);
    }
    EXPECT_EQ(Read("log"), "6\n");
    EXPECT_EQ(Read("log.1"), "a line longer than the file\n");
    EXPECT_EQ(Read("log.2"), "44444444\n");
    EXPECT_EQ(Read("log.3"), "(absent)");
    CRotatingFile(mPath, 10, 2).Write("7777777\n"); // a new start appends
    EXPECT_EQ(Read("log"), "6\n7777777\n");
}

TEST_F(RotatingFile, WithoutOlderFilesItStartsAnew)
{
    CRotatingFile file(mPath, 4, 0);
    file.Write("1\n");
    file.Write("2\n");
    EXPECT_EQ(Read("log"), "1\n2\n");
    file.Write("3\n");
    EXPECT_EQ(Read("log"), "3\n");
}

TEST_F(RotatingFile, FailureToOpenNamesTheFile)
{
    try
    {
        CRotatingFile file(mFolder.File("none/log"), 10, 1);
        FAIL();
    }
    catch (const CException& error)
    {
        EXPECT_EQ(error.GetMessage(), "Unable to open log file " + mFolder.File("none/log"));
        EXPECT_EQ(error.GetSystemError(), ENOENT);
    }
}

TEST_F(RotatingFile, GoesOnAfterARotationThatCouldNotOpen)
{
    CRotatingFile file(mPath, 4, 1);
    file.Write("1234");
    {
        const CNoDescriptors none;
        EXPECT_THROW(file.Write("2"), CException);
        EXPECT_THROW(file.Write("3"), CException);
    }
    file.Write("4");
    EXPECT_EQ(Read("log"), "4");
    EXPECT_EQ(Read("log.1"), "1234");
}

TEST_F(RotatingFile, ADeviceIsNeitherRenamedNorCut)
{
    CRotatingFile file("/dev/full", 4, 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_THROW(file.Write("12345"), CException);
    EXPECT_EQ(::access("/dev/full", W_OK), 0);
}
