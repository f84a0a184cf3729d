// What is let through to the HDF library makes a tree without links that is not too deep; what is stored of
// it reads back as the same.
#include "software/bp/hwlogic/CHdfManager.h"

#include "software/bp/hwlogic/CHdfTextGuard.h"
#include "software/bp/hwlogic/IHdfStorage.h"
#include "software/bp/hwlogic/NHdfTree.h"
#include "software/utility/CException.h"

#include <cstdlib>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class CText : public IHdfStorage
{
public:
    void Initialize() override {}
    void Clean() override { mText.clear(); }
    void Write(std::string_view text) override { mText = text; }
    void Read(std::string& text) override { text = mText; }
    bool IsStoragePresent() const override { return !mText.empty(); }
    const char* GetStorageName() const override { return "text"; }
    void ReadRawData(std::string& text) override { text = mText; }

    std::string mText;
};

bool HasLink(HDF* node)
{
    if (node->link != 0)
        return true;
    for (HDF* child = hdf_obj_child(node); child != nullptr; child = hdf_obj_next(child))
        if (HasLink(child))
            return true;
    return false;
}

void CheckTree(const std::string& text)
{
    const NHdfTree::Tree tree = NHdfTree::Make("CheckTree");
    NHdfTree::Read("CheckTree", tree.get(), text.c_str()); // the guard refuses what the library would refuse
    Require(NHdfTree::GetDepth(tree.get()) <= CHdfTextGuard::kMaxDepth && !HasLink(tree.get()));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    CText storage;
    storage.mText.assign(reinterpret_cast<const char*>(data), size);
    CHdfManager manager(&storage);
    manager.Create();
    try
    {
        CHdfTextGuard::CheckText(storage.mText);
    }
    catch (const CException&)
    {
        return 0;
    }
    CheckTree(storage.mText);
    manager.ImportData();
    const std::string before = storage.mText;
    try
    {
        manager.ExportData(true);
    }
    catch (const CException&)
    {
        Require(storage.mText == before);
        return 0;
    }
    CHdfManager second(&storage);
    second.Create();
    second.ImportData(); // throws, and so ends the program, when it is refused
    const std::string stored = storage.mText;
    second.ExportData(true);
    Require(storage.mText == stored);
    return 0;
}
