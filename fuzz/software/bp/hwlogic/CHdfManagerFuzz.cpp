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

NHdfTree::Tree ReadTree(const std::string& text)
{
    NHdfTree::Tree tree = NHdfTree::Make("ReadTree");
    NHdfTree::Read("ReadTree", tree.get(), text.c_str()); // the guard refuses what the library would refuse
    return tree;
}

void CheckTree(const std::string& text)
{
    const NHdfTree::Tree tree = ReadTree(text);
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
    CHdfTextGuard::CheckText(storage.mText); // throws, and so ends the program, when it is refused
    // The texts may differ: the library turns the order of attributes round.
    Require(NHdfTree::IsSame(ReadTree(before).get(), ReadTree(storage.mText).get()));
    return 0;
}
