// Records in an EEPROM, and power that goes at every moment of a write.
#include "software/bp/hwlogic/CHdfEeprom.h"

#include "simulator/CSimulatedEeprom.h"
#include "software/bp/hwlogic/CHdfEepromWithBackup.h"
#include "software/bp/hwlogic/CHdfFileAdapter.h"
#include "software/bp/hwlogic/CHdfMirroredStorage.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CTemporaryFolder.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;
constexpr std::uint16_t kOffset = 16;
constexpr std::uint16_t kSize = 40;

std::string TextOf(IHdfStorage& storage)
{
    std::string text = "not read";
    storage.Read(text);
    return text;
}

class HdfEeprom : public testing::Test
{
protected:
    Bytes Region(std::uint32_t length)
    {
        Bytes bytes(length);
        EXPECT_TRUE(mEeprom.Read(kOffset, bytes.data(), length));
        return bytes;
    }

    CManualClock mClock{1000};
    CSimulatedEeprom mEeprom{{128, 16, 0}, mClock};
    CHdfEeprom mStorage{"board", mEeprom, kOffset, kSize};
    CTemporaryFolder mFolder;
    CHdfFileAdapter mBackup{mFolder.File("board.hdf")};
    CHdfEepromWithBackup mClient{"board", mEeprom, kOffset, kSize, mBackup};
};
} // namespace

TEST_F(HdfEeprom, KeepsTheRecordLayout)
{
    mStorage.Write("a = 1\n");
    EXPECT_EQ(Region(15), (Bytes{0, 0, 0, 0, 6, 0, 0x01, 0xCF, 'a', ' ', '=', ' ', '1', '\n', 0xFF}));
    EXPECT_EQ(TextOf(mStorage), "a = 1\n");
    EXPECT_TRUE(mStorage.IsStoragePresent());

    mStorage.Write("");
    EXPECT_EQ(TextOf(mStorage), "");
    EXPECT_FALSE(mStorage.IsStoragePresent());

    const std::string full(kSize - 8, 'x');
    mStorage.Write(full);
    EXPECT_EQ(TextOf(mStorage), full);
    EXPECT_EQ(MessageOf([&] { mStorage.Write(full + "x"); }),
              "Size of data for board exceeds space allocated (33)");
    EXPECT_EQ(TextOf(mStorage), full);

    mStorage.Clean();
    EXPECT_EQ(Region(kSize), Bytes(kSize, 0xFF));
    EXPECT_EQ(TextOf(mStorage), "");
    EXPECT_FALSE(mStorage.IsStoragePresent());
    std::string dump;
    CHdfEeprom("head", mEeprom, kOffset, 8).ReadRawData(dump);
    EXPECT_EQ(dump, "0010: ff ff ff ff ff ff ff ff\n");
}

TEST_F(HdfEeprom, NamesWhatIsWrong)
{
    const std::pair<Bytes, std::string> cases[] = {
        {{0, 0, 0, 0, 1, 0, 0x34, 0x12, 'a'}, "Failed CRC data for board from EEPROM 1234:61"},
        {{0, 0, 0, 0, 33, 0, 0, 0}, "Incorrect size for board from EEPROM (33)"},
        {{0, 0, 0, 0, 0xFE, 0xFF, 0, 0}, "Incorrect size for board from EEPROM (65534)"},
        {{9, 9, 9, 9, 1, 0, 'a', 0, 'a'}, ""},
    };
    for (const auto& [bytes, message] : cases)
    {
        ASSERT_TRUE(mEeprom.Write(kOffset, bytes.data(), static_cast<std::uint32_t>(bytes.size())));
        EXPECT_EQ(MessageOf([&] { TextOf(mStorage); }), message);
    }
    EXPECT_EQ(MessageOf([&] { CHdfEeprom("x", mEeprom, 0, 7); }),
              "Size of client (7 bytes) must be at least the size of the header (8 bytes)");
    EXPECT_EQ(MessageOf([&] { CHdfEeprom("x", mEeprom, 100, 29); }),
              "The 29 bytes of x at 100 do not lie inside the EEPROM (128 bytes)");

    mEeprom.CutPowerAfter(0);
    EXPECT_EQ(MessageOf([&] { mStorage.Write("a"); }), "Failed to write the EEPROM board");
    EXPECT_EQ(MessageOf([&] { TextOf(mStorage); }), "Failed to read the EEPROM board");
    EXPECT_EQ(MessageOf([&] { mStorage.IsStoragePresent(); }), "Failed to read the EEPROM board");
    EXPECT_EQ(MessageOf([&] { mStorage.Clean(); }), "Failed to erase the EEPROM board");
}

TEST_F(HdfEeprom, MovesToTheBackupAndBack)
{
    mClient.Initialize(); // nothing to restore
    mClient.BackupToFlash();
    EXPECT_FALSE(mBackup.IsStoragePresent()); // nothing to keep
    mClient.Write("a = 1\n");
    mClient.BackupToFlash();
    EXPECT_EQ(Region(kSize), Bytes(kSize, 0xFF));
    mClient.Write("a = 2\n");
    EXPECT_EQ(TextOf(mBackup), "a = 2\n");
    EXPECT_EQ(TextOf(mClient), "");
    mClient.Initialize();
    EXPECT_EQ(TextOf(mClient), "a = 2\n");
    EXPECT_FALSE(mBackup.IsStoragePresent());
    mClient.Write("a = 3\n");
    EXPECT_EQ(TextOf(mClient), "a = 3\n");
    mBackup.Write("a = 4\n");
    mClient.Clean();
    EXPECT_FALSE(mBackup.IsStoragePresent() || mClient.IsStoragePresent());
}

TEST_F(HdfEeprom, KeepsWhatCannotBeMoved)
{
    mClient.Write("a = 1\n");
    CHdfFileAdapter nowhere(mFolder.File("no/such"));
    CHdfEepromWithBackup client("board", mEeprom, kOffset, kSize, nowhere);
    EXPECT_NE(
        MessageOf([&] { client.BackupToFlash(); })
            .find(
                ". EEPROM client board backup failed, EEPROM settings will not be restored on next power up"),
        std::string::npos);
    EXPECT_EQ(TextOf(client), "a = 1\n");

    mEeprom.CutPowerAfter(0);
    mBackup.Write("a = 2\n");
    EXPECT_EQ(MessageOf([&] { mClient.Initialize(); }), "Failed to write the EEPROM board");
    mEeprom.RestorePower();
    mClient.Initialize();
    EXPECT_EQ(TextOf(mClient), "a = 2\n");
    mEeprom.CutPowerAfter(0);
    EXPECT_EQ(MessageOf([&] { mClient.Clean(); }), "Failed to erase the EEPROM board");
}

TEST_F(HdfEeprom, ReportsABackupThatStays)
{
    class CStubborn : public CHdfFileAdapter
    {
        using CHdfFileAdapter::CHdfFileAdapter;
        void Clean() override {}
    } backup(mFolder.File("board.hdf"));
    CHdfEepromWithBackup client("board", mEeprom, kOffset, kSize, backup);
    backup.Write("a = 1\n");
    EXPECT_EQ(MessageOf([&] { client.Initialize(); }),
              "Removing flash file " + mFolder.File("board.hdf") + " failed during restore");
}

TEST(HdfMirroredStorage, APowerCutLeavesTheOldOrTheNewText)
{
    const CManualClock clock(1000);
    // The sizes end inside pages, and the second change shortens the record.
    const std::string texts[] = {"", "first = 12345678\n", "b = 2\n", "",
                                 "last = " + std::string(30, 'z') + "\n"};
    for (std::size_t step = 1; step < std::size(texts); ++step)
        for (std::uint32_t cells = 0; cells < 140; ++cells)
        {
            SCOPED_TRACE(testing::Message() << "change " << step << ", cut after " << cells);
            CSimulatedEeprom eeprom({128, 16, 0}, clock);
            CHdfEeprom first("first", eeprom, 4, 60);
            CHdfEeprom mirror("mirror", eeprom, 64, 60);
            CHdfMirroredStorage storage(first, mirror);
            storage.Initialize();
            storage.Write(texts[step - 1]);
            eeprom.CutPowerAfter(cells);
            const bool isDone = MessageOf([&] { storage.Write(texts[step]); }).empty();
            eeprom.RestorePower();

            const std::string text = TextOf(storage);
            EXPECT_TRUE(text == texts[step] || (!isDone && text == texts[step - 1])) << text;
            storage.Initialize();
            EXPECT_EQ(TextOf(storage), text); // for good
            if (!text.empty())
            {
                EXPECT_EQ(TextOf(first), text);
                EXPECT_EQ(TextOf(mirror), text);
            }
        }
}

TEST(HdfMirroredStorage, SaysWhenBothAreLost)
{
    const CManualClock clock(1000);
    CSimulatedEeprom eeprom({128, 16, 0}, clock);
    CHdfEeprom first("first", eeprom, 0, 64);
    CHdfEeprom mirror("mirror", eeprom, 64, 64);
    CHdfMirroredStorage storage(first, mirror);
    storage.Write("a = 1\n");
    const std::uint8_t wrong = 'b';
    ASSERT_TRUE(eeprom.Write(8, &wrong, 1));
    EXPECT_EQ(TextOf(storage), "a = 1\n");
    ASSERT_TRUE(eeprom.Write(72, &wrong, 1));
    EXPECT_EQ(MessageOf([&] { TextOf(storage); }).substr(0, 24), "Failed CRC data for firs");
}
