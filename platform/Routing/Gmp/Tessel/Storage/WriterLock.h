#pragma once

#include <sys/types.h>

#include <filesystem>
#include <utility>

#include "Rix/FileDescriptor.h"

namespace Routing::Gmp::Tessel::Storage {

/// The right to write the table in a directory, held by at most one object on the machine. It ends
/// with its holder or with the holder's process, however that ends: the operating system keeps it.
/// May be used from any thread.
class WriterLock {
  public:
    /// Takes the lock, through the file `writer` in the directory.
    /// @throws std::system_error if another process or object holds it (device_or_resource_busy),
    ///         or the file cannot be made
    explicit WriterLock(const std::filesystem::path& directory);
    WriterLock(WriterLock&&) noexcept = default;
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;
    WriterLock& operator=(WriterLock&&) = delete;
    ~WriterLock();

  private:
    /// The file's device and inode.
    using FileId = std::pair<dev_t, ino_t>;

    Rix::FileDescriptor file_;
    FileId fileId_{};
};

}  // namespace Routing::Gmp::Tessel::Storage
