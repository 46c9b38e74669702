#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "Rix/FileDescriptor.h"
#include "Routing/Gmp/Tessel/TableAccess.h"

namespace Routing::Gmp::Tessel::Storage {

/// A file's device and inode.
using FileId = std::pair<dev_t, ino_t>;

/// What a failed system call raises: the path, what was attempted, and the system's own text.
[[noreturn]] void raiseSystemError(int error, const std::string& path, const char* attempt);

/// The directory of a table, held open: its files are found through it, whatever becomes of its
/// path. Nothing in it is followed that is a link, and nothing is opened that somebody else could
/// have put there: the directory and each file must belong to root, to this process's user or, for
/// a reader, to whom the directory belongs, and nobody else may write them.
///
/// Every error is a std::system_error whose message starts with the path. May be used from any
/// thread.
class TableDirectory {
  public:
    /// For a writer. What is missing of the path is made: the directory with the modes that the
    /// access asks for, those above it with 0755. A directory that is there keeps its modes.
    static TableDirectory forWriter(const std::filesystem::path& path, const TableAccess& access);
    /// For a reader. The message names the table in it, which could not be read.
    static TableDirectory forReader(const std::filesystem::path& path);

    const TableAccess& access() const { return access_; }
    /// The path of a file in it, or its own for the empty name.
    std::string pathOf(const char* name) const {
        return *name == '\0' ? path_.string() : (path_ / name).string();
    }

    /// An open file, for open(2)'s flags; none if there is none of that name.
    /// @param mayWrite the bits that let others write and are no reason to refuse it
    Rix::FileDescriptor find(const char* name, int flags, mode_t mayWrite = 0) const;
    /// A new file, for reading and writing.
    /// @throws std::system_error also if there is one
    Rix::FileDescriptor create(const char* name) const;
    /// The modes of the access for a file of ours: for its owner, and for those who may use it.
    void modesAre(const Rix::FileDescriptor& file, const char* name,
                  std::optional<TableAccess::Who> who, mode_t bits) const;
    /// Removes a file, if there is one.
    void remove(const char* name) const;
    void rename(const char* from, const char* to) const;

    /// Which file has that name now; nothing if none has.
    /// @throws std::system_error if that cannot be known
    std::optional<FileId> idOf(const char* name) const;
    /// What has a name, or the directory's own path for the empty name, of what had it once. As
    /// long as that cannot be known, the same.
    enum class Presence { same, other, none };
    Presence presence(const char* name, FileId once) const;
    FileId id() const;

  private:
    TableDirectory(std::filesystem::path path, const TableAccess& access)
        : path_(std::move(path)), access_(access) {}
    void openForWriter(bool isNew);
    void requireTrust(const struct stat& status, const std::string& path, mode_t mayWrite) const;

    std::filesystem::path path_;  ///< absolute, whatever becomes of the process's directory
    TableAccess access_;
    Rix::FileDescriptor file_;
    uid_t owner_ = 0;  ///< whose files are trusted beside root's and this user's
};

}  // namespace Routing::Gmp::Tessel::Storage
