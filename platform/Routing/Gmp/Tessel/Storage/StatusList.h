#pragma once

#include <cstdint>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// The list of all statuses of a table, live or not: entries in pages that the page
/// `statusListPage` names. A view; the memory belongs to the file.
class StatusList {
  public:
    explicit StatusList(const TableFile& file)
        : file_(file), pages_(&file.at<Word>(statusListPage)) {}

    /// How many entries there are, if all of it lies within the file.
    /// @throws Rix::CorruptionError if it does not
    std::uint16_t checkedSize(PageNumber filePages) const;
    /// How many entries there are, once that was checked.
    std::uint16_t size() const;
    StatusEntry& entry(std::uint16_t place) const;
    /// The pages of the entries.
    std::vector<Directory::Extent> extents() const;

    /// Adds a page of free entries. For the writer.
    void pageAdd(PageNumber added) const;

  private:
    /// The page of that number, or 0 if there is none.
    PageNumber page(std::size_t number) const {
        return static_cast<PageNumber>(pages_[number].load(std::memory_order_acquire));
    }

    const TableFile& file_;
    Word* pages_;
};

}  // namespace Routing::Gmp::Tessel::Storage
