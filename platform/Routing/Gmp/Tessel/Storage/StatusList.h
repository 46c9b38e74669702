#pragma once

#include <cstdint>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Guard.h"
#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// All status entries of a table, live or not, at fixed places of its file. A view; the memory
/// belongs to the file.
class StatusList {
  public:
    StatusList(const TableFile& file, Dimensions dimensions)
        : file_(file), firstPage_(dimensions.statusPage()) {}

    /// How many pages of entries are in use; nothing if the word that says so is damaged.
    std::optional<PageNumber> pages() const;
    /// How many pages at the beginning look as if they were in use: instead, where that is damaged.
    PageNumber likelyPages() const;
    StatusEntry& entry(std::uint16_t place) const {
        const auto page = static_cast<PageNumber>(firstPage_ + place / statusEntriesAPage);
        return (&file_.at<StatusEntry>(page))[place % statusEntriesAPage];
    }
    /// Makes all entries of a page free, for the writer. Its memory must be there.
    void clear(PageNumber number) const;

  private:
    const TableFile& file_;
    PageNumber firstPage_;
};

/// What a status entry says at one moment: read by readers, by the writer's start and by the check
/// alike. A plain value.
struct EntryReading {
    enum class Kind : std::uint8_t { free, live, damaged };

    Kind kind = Kind::free;
    StatusIdentity identity;  ///< of a live status; of a damaged one if it can still be told
    std::uint64_t root = 0;

    /// Reads an entry while the writer may be changing it.
    static EntryReading of(const StatusEntry& entry);
};

}  // namespace Routing::Gmp::Tessel::Storage
