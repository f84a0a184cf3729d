// A configuration data set: a tree of dotted names with texts and numbers.
#pragma once

#include <string>

class IHdfStorage;
struct _hdf; // NOLINT(bugprone-reserved-identifier): the HDF library calls its nodes so

/// Wraps a tree that it made (`Create`), or looks into the tree of another manager (`JoinAtNode`), which is
/// read-only and must not be used after that node was removed or its owner destroyed.
///
/// A path is a printf-style format, relative to the current node, whose parts are joined by dots. Nodes are
/// made under names of [A-Za-z0-9_] and at most 64 levels deep, the only ones that are stored and read back.
/// An empty path is the current node.
///
/// Looking into a tree changes the library's caches in it: a tree and all views into it are used from one
/// thread.
///
/// Every operation that takes a path throws `CException` "Failed to parse argument list.  vsnprintf returned
/// %d" when it has more than 255 characters; failures of the library are "HDF Error in %s: (%s)".
class CHdfManager
{
public:
    /// @param storage  null keeps the tree in memory only; not owned, must outlive the manager
    explicit CHdfManager(IHdfStorage* storage = nullptr) noexcept;
    /// Gives an empty manager on the same storage.
    /// @throws CException "Failed to copy HDF structure - instance already initialized."
    CHdfManager(const CHdfManager& other);
    CHdfManager& operator=(const CHdfManager&) = delete;
    ~CHdfManager(); ///< does not export: what was not exported is lost

    /// Makes an empty tree and initializes the storage.
    /// @throws CException "Failed to create HDF structure.  Base HDF instance already initialized."
    void Create();
    void Destroy() noexcept; ///< a view only lets go
    bool IsCreated() const noexcept { return mHdf != nullptr; }

    /// @throws CException "Cannot find value at node %s": nothing there, no whole number, out of range, or
    /// -123456789
    int GetFieldValue(const char* path, ...) const __attribute__((format(printf, 2, 3)));
    /// @throws CException "Cannot find text at node %s": nothing there, or "~!@#$%^&*"
    std::string GetFieldText(const char* path, ...) const __attribute__((format(printf, 2, 3)));

    /// All changes throw `CException` "Failed to access uninitialized/read-only HDF structure" in a view and
    /// without a tree, and "\"%s\" cannot be the path of an HDF node" for one that could not be read back.
    void SetFieldValue(int value, const char* path, ...) __attribute__((format(printf, 3, 4)));
    void SetFieldText(const char* text, const char* path, ...) __attribute__((format(printf, 3, 4)));
    void RemoveNode(const char* path, ...) __attribute__((format(printf, 2, 3))); ///< none there: no failure
    /// Copies what the other manager stands on; both may be of one tree.
    void CopyNode(const CHdfManager& other, const char* path, ...) __attribute__((format(printf, 3, 4)));

    /// Looks at a node of another manager's tree, the path being relative to where that one stands; a manager
    /// may join itself, and stays the owner.
    /// @throws CException "Unable to join a different HDF structure. Destroy this structure before joining
    /// another.", "Failed to join HDF structure.  Node not found at %s."
    void JoinAtNode(const CHdfManager& other, const char* path, ...) __attribute__((format(printf, 3, 4)));
    /// The same at the node's first child.
    /// @throws CException also "Failed to join HDF structure.  Child not found at %s."
    void JoinAtChild(const CHdfManager& other, const char* path, ...) __attribute__((format(printf, 3, 4)));

    bool JumpToNext() noexcept;  ///< false, and stays, at the last sibling
    bool JumpToChild() noexcept; ///< false, and stays, without children
    /// @throws CException "Failed to access uninitialized HDF structure"
    void JumpToTop();

    std::string GetNodeName() const;  ///< empty for the top
    std::string GetNodeValue() const; ///< empty when there is none

    /// Merges what is stored into the tree, or refuses it whole (see CHdfTextGuard).
    /// @throws CException "Failed to read HDF file into uninitialized or read-only structure", what the
    /// storage throws, "Line %zu of the HDF text: %s"
    void ImportData();
    /// Stores the tree (a view: what is below its node) if it was changed, or always.
    /// @throws CException "The HDF text of %s would not read back as it was set": a value has blanks at an
    /// end, or lines of which the last does not end; nothing is stored then. "Failed to access uninitialized
    /// HDF structure", what the storage throws
    void ExportData(bool force = false);

    std::string GetFileName() const;
    bool IsFilePresent() const;

    /// Replaces the text by what is in memory, what is stored, and its bytes. A storage that cannot be read
    /// has its message there instead.
    void Interrogate(std::string& text) const;

private:
    class CPath;

    void RequireOwner(int line) const;
    void NoteChange(bool needsProof) noexcept;
    void RequireTree(int line) const;
    void RequireJoinable(const CHdfManager& other) const;
    using Find = _hdf* (*)(_hdf* from, const char* path);
    void Join(const CHdfManager& other, const CPath& node, Find find, const char* kind);
    bool Jump(_hdf* node) noexcept;
    _hdf* GetTree() const noexcept; // what is written: the whole of an owner's

    _hdf* mHdf = nullptr; // current node
    IHdfStorage* mStorage;
    bool mIsOwner = false;
    bool mIsDirty = false;
    bool mNeedsProof = false; // whether the tree may hold what the writer would spoil
};
