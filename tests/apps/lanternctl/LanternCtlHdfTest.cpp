// The program on data sets in files and in images.
#include "software/utility/CAtomicFile.h"
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CTemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

TEST(LanternCtlHdf, SetsShowsPacksAndUnpacks)
{
    CTemporaryFolder folder;
    const std::string file = folder.File("board.hdf");
    const std::string image = folder.File("board.bin");
    const std::string text = "lamp {\nhours = 1200\nnote = \x1b!\n}\n";
    const std::string damaged = folder.File("damaged.bin");
    CAtomicFile::Write(damaged, std::string("\0\0\0\0\1\0\0\0a", 9));
    const struct
    {
        std::vector<std::string> mArguments;
        int mExitCode;
        std::string mOutput;
        std::string mErrors;
    } rows[] = {
        {{"set", file, "lamp.hours", "1200"}, 0, "", ""},
        {{"set", file, "lamp.note", "\x1b!"}, 0, "", ""},
        {{"set", file, "lamp.note", " x"}, 1, "", "would not read back"},
        {{"show", file}, 0, "lamp\n  hours = 1200\n  note = \\x1b!\n", ""},
        {{"show", file, "--json"},
         0,
         R"({"lamp.hours":"1200","lamp.note":"\u001b!"})"
         "\n",
         ""},
        {{"get", file, "lamp.hours"}, 0, "1200\n", ""},
        {{"get", file, "lamp.no"}, 1, "", "Cannot find text at node lamp.no"},
        {{"pack", file, "--size", "20", "-o", image}, 1, "", "exceeds space allocated"},
        {{"pack", file, "--size", "64", "-o", image, "--eeprom", "8:56"}, 0, "", ""},
        {{"unpack", image, "--eeprom", "8:56"}, 0, text, ""},
        {{"set", image, "lamp.hours", "7", "--eeprom", "8:56"}, 0, "", ""},
        {{"get", image, "lamp.hours", "--eeprom", "8:56"}, 0, "7\n", ""},
        {{"get", image, "lamp.hours", "--eeprom", "8"}, 2, "", "is not OFFSET:SIZE"},
        {{"unpack", damaged}, 1, "", "Failed CRC data for " + damaged + " from EEPROM 0:61"},
    };
    for (const auto& row : rows)
    {
        std::vector<std::string> words{"hdf"};
        words.insert(words.end(), row.mArguments.begin(), row.mArguments.end());
        SCOPED_TRACE(testing::PrintToString(words));
        CCtlProcess process(words);
        EXPECT_EQ(process.Wait(), row.mExitCode);
        EXPECT_EQ(process.GetOutput(), row.mOutput);
        EXPECT_THAT(process.GetErrors(), testing::HasSubstr(row.mErrors));
    }
}
