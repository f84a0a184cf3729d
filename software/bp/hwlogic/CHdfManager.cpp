// Paths are printed once, into a buffer of fixed size; everything that is owned is in NHdfTree.
#include "software/bp/hwlogic/CHdfManager.h"

#include "software/bp/hwlogic/CHdfTextGuard.h"
#include "software/bp/hwlogic/IHdfStorage.h"
#include "software/bp/hwlogic/NHdfTree.h"
#include "software/utility/CException.h"
#include "software/utility/NReason.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CHdfManager";
constexpr std::size_t kPathSize = 256; // bytes, with the NUL
constexpr int kNoValue = -123456789;
constexpr char kCopyName[] = "copy";
constexpr char kNoText[] = "~!@#$%^&*";

bool IsTop(HDF* node) noexcept
{
    return hdf_obj_top(node) == node;
}

// What the library takes for a number may have anything behind it, or not fit.
int ToNumber(const char* text) noexcept
{
    if (text == nullptr || *text == '\0')
        return kNoValue;
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    return *end == '\0' && errno == 0 && value >= INT_MIN && value <= INT_MAX ? static_cast<int>(value)
                                                                              : kNoValue;
}

// The nodes were made a moment ago, in a tree without any: nobody looks at them yet.
void RemoveChildren(HDF* tree)
{
    while (HDF* child = hdf_obj_child(tree))
        NHdfTree::Run(__func__, [&] { return hdf_remove_tree(tree, hdf_obj_name(child)); });
}

void ReadIntoEmpty(HDF* tree, const char* text)
{
    try
    {
        NHdfTree::Read("ImportData", tree, text);
    }
    catch (const CException&)
    {
        RemoveChildren(tree);
        throw;
    }
}

// Somebody asks because something is broken: what can be told is told.
std::string ReadFrom(IHdfStorage* storage, void (IHdfStorage::*read)(std::string&))
{
    std::string text;
    try
    {
        if (storage != nullptr)
            (storage->*read)(text);
    }
    catch (const CException& failure)
    {
        text = NReason::Of(failure) + '\n';
    }
    return text;
}

void CheckReadsBack(const char* name, HDF* tree, const char* text)
{
    CHdfTextGuard::CheckText(text);
    const NHdfTree::Tree copy = NHdfTree::Make("ExportData");
    NHdfTree::Read("ExportData", copy.get(), text);
    if (!NHdfTree::IsSame(tree, copy.get()))
        throw CException("ExportData", kSource, __LINE__, false,
                         "The HDF text of %s would not read back as it was set", name);
}
} // namespace

/// A path as the library takes it. The constructor does not throw, so that the arguments are always let go.
class CHdfManager::CPath
{
public:
    CPath(const char* format, va_list arguments) noexcept __attribute__((format(printf, 2, 0)))
    : mLength(std::vsnprintf(mBuffer, sizeof mBuffer, format, arguments))
    {
    }
    CPath(const CPath&) = delete;
    CPath& operator=(const CPath&) = delete;

    const char* Get() const
    {
        if (mLength < 0 || static_cast<std::size_t>(mLength) >= sizeof mBuffer)
            throw CException(__func__, kSource, __LINE__, false,
                             "Failed to parse argument list.  vsnprintf returned %d", mLength);
        return mBuffer;
    }

    /// The same for a node that is going to be made.
    /// @param from  node that the path starts from; the writer leaves out a value of the top
    const char* GetStorable(HDF* from) const
    {
        const char* path = Get();
        if (!(*path == '\0' ? !IsTop(from) : CHdfTextGuard::IsPath(path)))
            throw CException(__func__, kSource, __LINE__, false, "\"%s\" cannot be the path of an HDF node",
                             path);
        return path;
    }

private:
    char mBuffer[kPathSize];
    const int mLength;
};

CHdfManager::CHdfManager(IHdfStorage* storage) noexcept
    : mStorage(storage)
{
}

CHdfManager::CHdfManager(const CHdfManager& other)
    : mStorage(other.mStorage)
{
    if (other.IsCreated())
        throw CException(__func__, kSource, __LINE__, false,
                         "Failed to copy HDF structure - instance already initialized.");
}

CHdfManager::~CHdfManager()
{
    Destroy();
}

void CHdfManager::Create()
{
    if (IsCreated())
        throw CException(__func__, kSource, __LINE__, false,
                         "Failed to create HDF structure.  Base HDF instance already initialized.");
    NHdfTree::Tree tree = NHdfTree::Make(__func__);
    if (mStorage != nullptr)
        mStorage->Initialize();
    mHdf = tree.release(); // Destroy gives it back
    mIsOwner = true;
}

void CHdfManager::Destroy() noexcept
{
    if (mIsOwner && IsCreated())
        NHdfTree::Tree(hdf_obj_top(mHdf)).reset();
    mHdf = nullptr;
    mIsOwner = mIsDirty = mNeedsProof = false;
}

int CHdfManager::GetFieldValue(const char* path,
                               ...) const // NOLINT(cert-dcl50-cpp): as printf, here and below
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    const int value = ToNumber(hdf_get_value(mHdf, node.Get(), nullptr));
    if (value == kNoValue)
        throw CException(__func__, kSource, __LINE__, false, "Cannot find value at node %s", node.Get());
    return value;
}

std::string CHdfManager::GetFieldText(const char* path, ...) const // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    const char* text = hdf_get_value(mHdf, node.Get(), kNoText);
    if (std::strcmp(text, kNoText) == 0)
        throw CException(__func__, kSource, __LINE__, false, "Cannot find text at node %s", node.Get());
    return text;
}

void CHdfManager::SetFieldValue(int value, const char* path, ...) // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    RequireOwner(__LINE__);
    const char* name = node.GetStorable(mHdf);
    NHdfTree::Run(__func__, [&] { return hdf_set_int_value(mHdf, name, value); });
    NoteChange(false);
}

void CHdfManager::SetFieldText(const char* text, const char* path, ...) // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    RequireOwner(__LINE__);
    const char* name = node.GetStorable(mHdf);
    NHdfTree::Run(__func__, [&] { return hdf_set_value(mHdf, name, text); });
    NoteChange(text != nullptr && CHdfTextGuard::NeedsProof(text));
}

void CHdfManager::RemoveNode(const char* path, ...) // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    RequireOwner(__LINE__);
    const char* name = node.Get();
    NoteChange(false); // before, because a failure may come after half of it
    NHdfTree::Run(__func__, [&] { return hdf_remove_tree(mHdf, name); });
}

void CHdfManager::CopyNode(const CHdfManager& other, const char* path, ...) // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    RequireOwner(__LINE__);
    other.RequireTree(__LINE__);
    const char* name = node.Get();
    const bool isHere = *name == '\0';
    if ((!isHere && !CHdfTextGuard::IsPath(name)) ||
        NHdfTree::GetDepth(other.mHdf) >= CHdfTextGuard::kMaxDepth)
        throw CException(__func__, kSource, __LINE__, false, "\"%s\" cannot be the path of an HDF node",
                         name);

    // A tree that is copied into itself grows while it is walked, without an end.
    HDF* source = other.mHdf;
    NHdfTree::Tree copy;
    if (hdf_obj_top(source) == hdf_obj_top(mHdf))
    {
        copy = NHdfTree::Make(__func__);
        NHdfTree::Run(__func__, [&] { return hdf_copy(copy.get(), kCopyName, source); });
        source = hdf_get_obj(copy.get(), kCopyName);
    }
    NoteChange(true);
    NHdfTree::Run(__func__, [&] { return hdf_copy(mHdf, name, source); });
}

void CHdfManager::JoinAtNode(const CHdfManager& other, const char* path, ...) // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    Join(other, node, hdf_get_obj, "Node");
}

void CHdfManager::JoinAtChild(const CHdfManager& other, const char* path, ...) // NOLINT(cert-dcl50-cpp)
{
    va_list arguments;
    va_start(arguments, path);
    const CPath node(path, arguments);
    va_end(arguments);
    Join(other, node, hdf_get_child, "Child");
}

void CHdfManager::Join(const CHdfManager& other, const CPath& node, Find find, const char* kind)
{
    RequireJoinable(other);
    if (!Jump(find(other.mHdf, node.Get())))
        throw CException(__func__, kSource, __LINE__, false,
                         "Failed to join HDF structure.  %s not found at %s.", kind, node.Get());
}

bool CHdfManager::JumpToNext() noexcept
{
    return Jump(hdf_obj_next(mHdf));
}

bool CHdfManager::JumpToChild() noexcept
{
    return Jump(hdf_obj_child(mHdf));
}

void CHdfManager::JumpToTop()
{
    RequireTree(__LINE__);
    mHdf = hdf_obj_top(mHdf);
}

std::string CHdfManager::GetNodeName() const
{
    const char* name = hdf_obj_name(mHdf);
    return name == nullptr ? "" : name;
}

std::string CHdfManager::GetNodeValue() const
{
    const char* value = hdf_obj_value(mHdf);
    return value == nullptr ? "" : value;
}

void CHdfManager::ImportData()
{
    if (!mIsOwner || mStorage == nullptr)
        throw CException(__func__, kSource, __LINE__, false,
                         "Failed to read HDF file into uninitialized or read-only structure");
    std::string text;
    mStorage->Read(text);
    CHdfTextGuard::CheckText(text);

    // What the guard lets through is read, but a fault in the middle must not leave half of it.
    HDF* top = hdf_obj_top(mHdf);
    if (hdf_obj_child(top) != nullptr)
    {
        const NHdfTree::Tree trial = NHdfTree::Make(__func__);
        NHdfTree::Read(__func__, trial.get(), text.c_str());
        NHdfTree::Read(__func__, top, text.c_str());
    }
    else
        ReadIntoEmpty(top, text.c_str());
    // The writer may choose an end mark that stands in a value which came with another one.
    mNeedsProof = mNeedsProof || text.find("<<") != std::string::npos;
}

void CHdfManager::ExportData(bool force)
{
    if (!mIsDirty && !force)
        return;
    RequireTree(__LINE__);
    HDF* tree = GetTree();
    const NHdfTree::Text text = NHdfTree::Write(__func__, tree);
    const std::string_view view(text.get());
    if (mNeedsProof || view.size() > CHdfTextGuard::kMaxTextSize)
        CheckReadsBack(GetFileName().c_str(), tree, text.get());
    if (mStorage != nullptr)
        mStorage->Write(view);
    mIsDirty = false;
}

std::string CHdfManager::GetFileName() const
{
    return mStorage == nullptr ? "" : mStorage->GetStorageName();
}

bool CHdfManager::IsFilePresent() const
{
    return mStorage != nullptr && mStorage->IsStoragePresent();
}

void CHdfManager::Interrogate(std::string& text) const
{
    std::string report = "Ram Contents:\n------------\n";
    if (IsCreated())
        report += NHdfTree::Write(__func__, GetTree()).get();
    report += "\nFile Contents:\n-------------\n" + ReadFrom(mStorage, &IHdfStorage::Read);
    report += "\nRaw File Contents:\n-----------------\n" + ReadFrom(mStorage, &IHdfStorage::ReadRawData);
    text = std::move(report);
}

void CHdfManager::RequireTree(int line) const
{
    if (!IsCreated())
        throw CException("RequireTree", kSource, line, false, "Failed to access uninitialized HDF structure");
}

void CHdfManager::RequireOwner(int line) const
{
    if (!mIsOwner)
        throw CException("RequireOwner", kSource, line, false,
                         "Failed to access uninitialized/read-only HDF structure");
}

void CHdfManager::RequireJoinable(const CHdfManager& other) const
{
    if (mIsOwner && this != &other)
        throw CException("Join", kSource, __LINE__, false,
                         "Unable to join a different HDF structure. Destroy this structure before joining "
                         "another.");
}

bool CHdfManager::Jump(_hdf* node) noexcept
{
    if (node == nullptr)
        return false;
    mHdf = node;
    return true;
}

// From a node below the top, paths reach deeper than a text may.
void CHdfManager::NoteChange(bool needsProof) noexcept
{
    mIsDirty = true;
    mNeedsProof = mNeedsProof || needsProof || !IsTop(mHdf);
}

_hdf* CHdfManager::GetTree() const noexcept
{
    return mIsOwner ? hdf_obj_top(mHdf) : mHdf;
}
