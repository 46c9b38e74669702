#include "Routing/Gmp/Tessel/Storage/FileWatch.h"

#include <cerrno>
#include <ctime>
#include <string>
#include <utility>

#include "Routing/Gmp/Tessel/TableGoneError.h"

namespace Routing::Gmp::Tessel {

TableGoneError::~TableGoneError() = default;

}  // namespace Routing::Gmp::Tessel

namespace Routing::Gmp::Tessel::Storage {

FileWatch::FileWatch(std::shared_ptr<const TableDirectory> directory, FileId table)
    : directory_(std::move(directory)),
      own_(directory_->id()),
      table_(std::move(table)),
      writer_(directory_->idOf("writer")) {}

bool FileWatch::isDueByClock() {
    constexpr std::int64_t second = 1'000'000'000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    const std::int64_t now = time.tv_sec * second + time.tv_nsec;
    // The clock stands still for milliseconds.
    if (now == last_) unasked_ = 7;
    last_ = now;
    if (now < next_) return false;
    next_ = now + second / 2;
    return true;
}

void FileWatch::look() const {
    require("", own_);
    require("table", table_);
    // A copy of a table that was made by hand has no writer.
    if (writer_) require("writer", *writer_);
}

void FileWatch::require(const char* name, FileId once) const {
    const auto presence = directory_->presence(name, once);
    if (presence == TableDirectory::Presence::same) return;
    throw TableGoneError(ESTALE, std::generic_category(),
                         directory_->pathOf(name) + (presence == TableDirectory::Presence::other
                                                         ? ": was replaced while it was in use"
                                                         : ": was removed while it was in use"));
}

}  // namespace Routing::Gmp::Tessel::Storage
