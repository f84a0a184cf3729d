// Errors become exceptions, the rest is walking.
#include "software/bp/hwlogic/NHdfTree.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/NHdfTree";

/// The text type of the library.
class CText
{
public:
    CText() noexcept { string_init(&mText); }
    CText(const CText&) = delete;
    CText& operator=(const CText&) = delete;
    ~CText() { string_clear(&mText); }

    STRING* Get() noexcept { return &mText; }
    const char* GetText() const noexcept { return mText.buf == nullptr ? "" : mText.buf; }

private:
    STRING mText = {};
};

bool IsBare(HDF* node)
{
    if (hdf_obj_value(node) != nullptr)
        return false;
    for (HDF* child = hdf_obj_child(node); child != nullptr; child = hdf_obj_next(child))
        if (!IsBare(child))
            return false;
    return true;
}

HDF* SkipBare(HDF* node)
{
    while (node != nullptr && IsBare(node))
        node = hdf_obj_next(node);
    return node;
}

bool IsSameText(const char* one, const char* other) noexcept
{
    return one == nullptr || other == nullptr ? one == other : std::strcmp(one, other) == 0;
}
} // namespace

std::unique_lock<std::mutex> NHdfTree::LockErrors()
{
    static std::mutex sErrors;
    std::unique_lock<std::mutex> lock(sErrors);
    static const bool sIsReady = []
    {
        if (NEOERR* error = nerr_init())
            ThrowError("nerr_init", error);
        return true;
    }();
    static_cast<void>(sIsReady);
    return lock;
}

void NHdfTree::ThrowError(const char* operation, NEOERR* error)
{
    CText traceback;
    nerr_error_traceback(error, traceback.Get());
    nerr_ignore(&error);
    throw CException(operation, kSource, __LINE__, false, "HDF Error in %s: (%s)", operation,
                     traceback.GetText());
}

NHdfTree::Tree NHdfTree::Make(const char* operation)
{
    HDF* tree = nullptr;
    Run(operation, [&] { return hdf_init(&tree); });
    return Tree(tree);
}

NHdfTree::Text NHdfTree::Write(const char* operation, HDF* node)
{
    char* text = nullptr;
    Run(operation, [&] { return hdf_write_string(node, &text); });
    return Text(text);
}

void NHdfTree::Read(const char* operation, HDF* tree, const char* text)
{
    Run(operation, [&] { return hdf_read_string(tree, text); });
}

bool NHdfTree::IsSame(HDF* one, HDF* other)
{
    one = SkipBare(hdf_obj_child(one));
    other = SkipBare(hdf_obj_child(other));
    while (one != nullptr && other != nullptr)
    {
        if (!IsSameText(hdf_obj_name(one), hdf_obj_name(other)) ||
            !IsSameText(hdf_obj_value(one), hdf_obj_value(other)) || !IsSame(one, other))
            return false;
        one = SkipBare(hdf_obj_next(one));
        other = SkipBare(hdf_obj_next(other));
    }
    return one == other; // both at their end
}

std::size_t NHdfTree::GetDepth(HDF* node)
{
    std::size_t depth = 0;
    for (HDF* child = hdf_obj_child(node); child != nullptr; child = hdf_obj_next(child))
        depth = std::max(depth, 1 + GetDepth(child));
    return depth;
}
