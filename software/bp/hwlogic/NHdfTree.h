// The only place that owns what the HDF library hands out: trees, texts and errors.
#pragma once

#include <cstdlib>
#include <memory>
#include <mutex>

#include <ClearSilver/util/neo_hdf.h>
#include <ClearSilver/util/neo_misc.h> // has what neo_hdf.h begins with

namespace NHdfTree
{
struct SDestroy
{
    void operator()(HDF* tree) const noexcept { hdf_destroy(&tree); }
};
struct SFree
{
    void operator()(char* text) const noexcept { std::free(text); } // the library takes it from malloc
};
using Tree = std::unique_ptr<HDF, SDestroy>;
using Text = std::unique_ptr<char, SFree>; ///< never null, ends with a NUL

/// The library keeps its errors in lists that all threads share; whoever makes or frees one holds this.
/// Before it is given out for the first time, the library's error types are made.
std::unique_lock<std::mutex> LockErrors();

/// @param operation  of the caller, for the message
/// @param error      of the library, is freed
/// @throws CException "HDF Error in %s: (%s)"
[[noreturn]] void ThrowError(const char* operation, NEOERR* error);

/// Makes a call that answers with an error of the library.
template <typename TCall>
void Run(const char* operation, TCall call)
{
    const auto lock = LockErrors();
    if (NEOERR* error = call())
        ThrowError(operation, error);
}

Tree Make(const char* operation);
Text Write(const char* operation, HDF* node); ///< what is below the node

/// Reads a text that CHdfTextGuard let through; what came before a fault stays in the tree.
void Read(const char* operation, HDF* tree, const char* text);

/// Whether the same names hold the same values in the same order; nodes that hold nothing do not count.
bool IsSame(HDF* one, HDF* other);

/// Levels below the node, 0 when it has no children.
std::size_t GetDepth(HDF* node);
} // namespace NHdfTree
