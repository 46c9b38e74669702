#pragma once

#include <string>

#include "Rix/FileDescriptor.h"
#include "Routing/Gmp/Tessel/Storage/TableDirectory.h"

namespace Routing::Gmp::Tessel::Storage {

/// The right to write the table in a directory, held by at most one object on the machine. It ends
/// with its holder or with the holder's process, however that ends: the operating system keeps it.
/// May be used from any thread.
///
/// It is a lock on the file `writer`, which nobody else may open, and the file names the table that
/// it is the lock of. A writer that finds it made anew, or put there by somebody, cannot know
/// whether the table that is there has a writer that holds the lock on another file.
class WriterLock {
  public:
    /// Takes the lock; makes the file if it is missing.
    /// @throws std::system_error if another process or object holds it (device_or_resource_busy),
    ///         or the file cannot be made
    explicit WriterLock(const TableDirectory& directory);
    WriterLock(WriterLock&&) noexcept = default;
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;
    WriterLock& operator=(WriterLock&&) = delete;
    ~WriterLock();

    /// Whether every writer of that table took this very lock.
    bool isOf(FileId table) const;
    /// Names the table that this is the lock of.
    /// @throws std::system_error if the file cannot be written
    void tableIs(FileId table, const TableDirectory& directory) const;

  private:
    std::string noteOf(FileId table) const;

    Rix::FileDescriptor file_;
    FileId fileId_{};
};

}  // namespace Routing::Gmp::Tessel::Storage
