// The one way in which a file of ours is replaced.
#pragma once

#include <string>
#include <string_view>

/// Replaces whole files so that a kill or a power cut at any moment leaves the old or the new content.
class CAtomicFile
{
public:
    /// Writes a new temporary file PATH.NUMBERS.tmp beside the target, fsync, rename over it, fsync of the
    /// folder. After a failed fsync nothing is retried on the same file: call again, which writes a new one.
    /// The temporary file is removed on failure; one left by a kill is removed at the next write of the same
    /// target. A symbolic link is replaced by the file. Root keeps the owner of the file that is replaced,
    /// and gives a new one to the owner of its folder.
    /// @param mode  permissions of the new file from its first byte on, less the umask of the process
    /// @throws CException "Unable to replace %s: %s", naming the step, with the system error; the old content
    /// stays, unless the step is the last one ("replaced, but ...": a power cut may bring the old content
    /// back)
    static void Write(const std::string& path, std::string_view content, unsigned mode = 0644);

    /// Reads a whole file.
    /// @param maxSize  bytes; a larger file is refused, so that a wrong path cannot fill the memory
    /// @returns false when there is no such file
    /// @throws CException "Unable to read %s" with the system error, "%s is larger than %zu bytes"
    static bool Read(const std::string& path, std::string& content, std::size_t maxSize);

    /// Renames an unreadable file to the first free name of PATH.bad, PATH.bad1 ... PATH.bad9 (the last one
    /// is overwritten), so that it is kept for who may want to look.
    /// @returns the new name, or an empty text when it could not be renamed
    static std::string SetAside(const std::string& path) noexcept;
};
