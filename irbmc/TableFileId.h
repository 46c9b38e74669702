#pragma once

#include <sys/types.h>

#include <string>

namespace Irbmc {

/// Which file the table of a directory is, so that one that is removed, or replaced by another of
/// the same name, is noticed. A plain value.
struct TableFileId {
    dev_t device = 0;
    ino_t inode = 0;

    /// The file that is there now; none if there is none.
    static TableFileId of(const std::string& directory);

    bool isThere() const { return inode != 0; }
    bool operator==(const TableFileId&) const = default;
};

}  // namespace Irbmc
