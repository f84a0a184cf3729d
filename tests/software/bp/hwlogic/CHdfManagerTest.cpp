// Trees, views, paths, and what is stored of them.
#include "software/bp/hwlogic/CHdfManager.h"

#include "software/bp/hwlogic/CHdfFileAdapter.h"
#include "software/utility/CAtomicFile.h"
#include "tests/support/CTemporaryFolder.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{
constexpr char kReadOnly[] = "Failed to access uninitialized/read-only HDF structure";

class HdfManager : public testing::Test
{
protected:
    HdfManager() { mManager.Create(); }

    void Store(const std::string& text) { CAtomicFile::Write(mFile.GetStorageName(), text); }
    std::string Stored()
    {
        std::string text;
        mFile.Read(text);
        return text;
    }

    CTemporaryFolder mFolder;
    CHdfFileAdapter mFile{mFolder.File("set.hdf")};
    CHdfManager mManager{&mFile};
};
} // namespace

TEST_F(HdfManager, WritesAndReadsBackByPrintedPaths)
{
    EXPECT_FALSE(mManager.IsFilePresent());
    mManager.SetFieldValue(-42, "lamp.%d.hours", 3);
    mManager.SetFieldText("two\nlines\n", "lamp.%s", "note");
    mManager.SetFieldText("", "lamp.empty");
    mManager.ExportData();
    EXPECT_EQ(mManager.GetFileName(), mFolder.File("set.hdf"));

    CHdfManager second(&mFile);
    second.Create();
    second.SetFieldText("kept", "other");
    second.SetFieldText("replaced", "lamp.note");
    CHdfManager view;
    view.JoinAtNode(second, "lamp.note"); // stays where it is when the import merges
    second.ImportData();
    EXPECT_EQ(second.GetFieldValue("lamp.3.hours"), -42);
    EXPECT_EQ(view.GetNodeValue(), "two\nlines\n");
    EXPECT_EQ(second.GetFieldText("lamp.empty"), "");
    EXPECT_EQ(second.GetFieldText("other"), "kept");
}

TEST_F(HdfManager, TellsNumbersFromTexts)
{
    const std::pair<const char*, bool> cases[] = {
        {"0", true},           {"-2147483648", true}, {"2147483647", true}, {"2147483648", false},
        {"12abc", false},      {"", false},           {"abc", false},       {"99999999999", false},
        {"-123456789", false}, {"-123456788", true},
    };
    for (const auto& [text, isNumber] : cases)
    {
        mManager.SetFieldText(text, "n");
        EXPECT_EQ(MessageOf([&] { mManager.GetFieldValue("n"); }),
                  isNumber ? "" : "Cannot find value at node n")
            << text;
    }
    mManager.SetFieldText("~!@#$%^&*", "n");
    EXPECT_EQ(MessageOf([&] { mManager.GetFieldText("n"); }), "Cannot find text at node n");
    EXPECT_EQ(MessageOf([&] { mManager.GetFieldText("%s", "no.such"); }), "Cannot find text at node no.such");
}

TEST_F(HdfManager, TakesOnlyPathsThatCanBeStored)
{
    const std::string longest(255, 'a');
    mManager.SetFieldValue(1, "%s", longest.c_str());
    EXPECT_EQ(mManager.GetFieldValue("%s", longest.c_str()), 1);
    const std::string tooLong = "Failed to parse argument list.  vsnprintf returned 256";
    EXPECT_EQ(MessageOf([&] { mManager.SetFieldValue(1, "%sa", longest.c_str()); }), tooLong);
    EXPECT_EQ(MessageOf([&] { mManager.GetFieldValue("%sa", longest.c_str()); }), tooLong);
    for (const char* path : {"", "a..b", ".a", "a.", "a b", "a=b", "a-b", "a\nb"})
        EXPECT_EQ(MessageOf([&] { mManager.SetFieldText("x", "%s", path); }),
                  '"' + std::string(path) + "\" cannot be the path of an HDF node");
}

TEST_F(HdfManager, StoresOnlyChanges)
{
    mManager.ExportData(false);
    EXPECT_FALSE(mFile.IsStoragePresent());
    mManager.ExportData(true);
    EXPECT_TRUE(mFile.IsStoragePresent());

    mManager.SetFieldValue(1, "a");
    mManager.ExportData();
    Store("untouched\n");
    mManager.ExportData();
    EXPECT_EQ(Stored(), "untouched\n");
    mManager.RemoveNode("no.such"); // counts as a change
    mManager.ExportData();
    EXPECT_EQ(Stored(), "a = 1\n");
}

TEST_F(HdfManager, StoresNothingThatWouldNotReadBack)
{
    mManager.ExportData(true);
    for (const char* value : {" x", "x\t", "a\nb", "EOM\nx\n", "x EOM y\n", "\r"})
    {
        mManager.SetFieldText(value, "a");
        EXPECT_NE(MessageOf([&] { mManager.ExportData(); }), "") << value;
        EXPECT_EQ(Stored(), "");
    }
    mManager.SetFieldText("x", "a");
    mManager.ExportData(); // still changed
    EXPECT_EQ(Stored(), "a = x\n");
}

TEST_F(HdfManager, RefusesABadImportWhole)
{
    mManager.SetFieldValue(1, "a");
    Store("a = 2\nb : a\n");
    EXPECT_EQ(MessageOf([&] { mManager.ImportData(); }), "Line 2 of the HDF text: links are not followed");
    EXPECT_EQ(mManager.GetFieldValue("a"), 1);
    EXPECT_EQ(MessageOf([&] { CHdfManager().ImportData(); }),
              "Failed to read HDF file into uninitialized or read-only structure");
}

TEST_F(HdfManager, WalksAndJoins)
{
    mManager.SetFieldText("red", "list.0");
    mManager.SetFieldText("green", "list.1");
    CHdfManager view;
    EXPECT_EQ(MessageOf([&] { view.JumpToTop(); }), "Failed to access uninitialized HDF structure");
    EXPECT_EQ(MessageOf([&] { view.JoinAtNode(mManager, "x.%d", 1); }),
              "Failed to join HDF structure.  Node not found at x.1.");
    EXPECT_EQ(MessageOf([&] { view.JoinAtChild(mManager, "list.0"); }),
              "Failed to join HDF structure.  Child not found at list.0.");
    view.JoinAtChild(mManager, "list");
    EXPECT_EQ(view.GetNodeName() + view.GetNodeValue() + view.GetFieldText("%s", ""), "0redred");
    EXPECT_FALSE(view.JumpToChild());
    EXPECT_TRUE(view.JumpToNext());
    EXPECT_FALSE(view.JumpToNext());
    EXPECT_EQ(view.GetNodeValue(), "green");
    EXPECT_EQ(MessageOf([&] { view.SetFieldValue(1, "x"); }), kReadOnly);
    EXPECT_EQ(MessageOf([&] { view.RemoveNode("x"); }), kReadOnly);
    EXPECT_EQ(MessageOf([&] { view.CopyNode(mManager, "x"); }), kReadOnly);
    EXPECT_EQ(MessageOf([&] { view.Create(); }),
              "Failed to create HDF structure.  Base HDF instance already initialized.");
    EXPECT_EQ(MessageOf([&] { CHdfManager copy(view); }),
              "Failed to copy HDF structure - instance already initialized.");
    EXPECT_EQ(MessageOf([&] { mManager.JoinAtNode(view, "x"); }),
              "Unable to join a different HDF structure. Destroy this structure before joining another.");
    view.JumpToTop();
    EXPECT_EQ(view.GetFieldText("list.0"), "red");
    view.Destroy();
    EXPECT_EQ(mManager.GetFieldText("list.0"), "red");

    mManager.JoinAtNode(mManager, "list");
    mManager.SetFieldText("blue", "2"); // still the owner
    mManager.ExportData();
    EXPECT_EQ(Stored(), "list {\n0 = red\n1 = green\n2 = blue\n}\n"); // of the whole tree
}

TEST_F(HdfManager, CopiesATreeIntoItself)
{
    mManager.SetFieldText("1", "a.b");
    EXPECT_EQ(MessageOf([&] { mManager.CopyNode(CHdfManager(), "x"); }),
              "Failed to access uninitialized HDF structure");
    mManager.CopyNode(mManager, "a.copy");
    mManager.ExportData();
    EXPECT_EQ(Stored(), "a {\nb = 1\ncopy {\na {\nb = 1\n}\n}\n}\n");
    for (int i = 0; i < 6; ++i)
        mManager.CopyNode(mManager, "a.b.c.d.e.f");
    EXPECT_NE(MessageOf(
                  [&]
                  {
                      for (int i = 0; i < 20; ++i)
                          mManager.CopyNode(mManager, "a.b.c.d.e.f");
                  }),
              "");
}

TEST_F(HdfManager, TellsWhatItHoldsAndWhatIsStored)
{
    mManager.SetFieldValue(1, "a");
    std::string text;
    mManager.Interrogate(text);
    const std::string noFile = "There is no file " + mFolder.File("set.hdf") + "\n";
    EXPECT_EQ(text, "Ram Contents:\n------------\na = 1\n\nFile Contents:\n-------------\n" + noFile +
                        "\nRaw File Contents:\n-----------------\n" + noFile);
    Store("b\n");
    mManager.Interrogate(text);
    EXPECT_EQ(text, "Ram Contents:\n------------\na = 1\n\nFile Contents:\n-------------\nb\n"
                    "\nRaw File Contents:\n-----------------\n0000: 62 0a\n");
}

// The library's errors are in lists that are shared; each thread makes some, from names that are too long.
TEST(HdfManagerThreads, TreesOfTheirOwnDoNotMeet)
{
    const auto work = []
    {
        for (int i = 0; i < 300; ++i)
        {
            CHdfManager manager;
            manager.Create();
            manager.SetFieldValue(i, "a.b");
            std::string error = MessageOf([&] { manager.SetFieldValue(i, "a..b"); });
            EXPECT_NE(error, "");
            EXPECT_EQ(manager.GetFieldValue("a.b"), i);
        }
    };
    std::thread other(work);
    work();
    other.join();
}
