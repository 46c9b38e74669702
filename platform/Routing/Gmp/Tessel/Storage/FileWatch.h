#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/TableDirectory.h"

namespace Routing::Gmp::Tessel::Storage {

/// Notices that the directory of an open table, or a file in it, is no longer what others find
/// under its name. A plain value; each belongs to one thread.
class FileWatch {
  public:
    /// @param table what is open as `table`; the other files are what is there now
    FileWatch(std::shared_ptr<const TableDirectory> directory, FileId table);

    const std::shared_ptr<const TableDirectory>& directory() const { return directory_; }

    /// Whether it is time to look again, which it is twice a second. Whoever asks very often costs
    /// a look at the clock each eighth time.
    bool isDue() {
        if (unasked_ == 0) return isDueByClock();
        --unasked_;
        return false;
    }
    /// The same for whoever may ask seldom: each time costs a look at the clock, none is left out.
    bool isDueByClock();
    /// @throws TableGoneError if anything is gone
    void look() const;

  private:
    void require(const char* name, FileId once) const;

    std::shared_ptr<const TableDirectory> directory_;
    FileId own_;
    FileId table_;
    std::optional<FileId> writer_;
    std::int64_t next_ = 0;  ///< when to look again, in nanoseconds of the coarse clock
    std::int64_t last_ = 0;  ///< what that clock said last
    unsigned unasked_ = 0;   ///< how often it is not asked from now on
};

}  // namespace Routing::Gmp::Tessel::Storage
