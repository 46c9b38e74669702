#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// A private copy of a status's directory: which segment holds which hashes. Damage to the shared
/// one after the copy was made does not reach it. A plain value.
class Directory {
  public:
    /// The pages of one segment.
    struct Extent {
        PageNumber page = 0;
        PageNumber pages = 0;

        friend bool operator==(const Extent&, const Extent&) = default;
    };

    Directory() = default;
    /// A directory of one segment.
    explicit Directory(Extent only) : extents_{only} {}

    /// Reads the directory that the word `root` of a status names.
    /// @param filePages how long the file is: nothing behind that is touched
    /// @returns what is wrong with it, or the empty text
    std::string load(const TableFile& file, PageNumber filePages, std::uint64_t root,
                     std::uint64_t statusId);
    /// Writes it to pages of its own, to be published with the word returned.
    std::uint64_t store(const TableFile& file, PageNumber page, std::uint64_t statusId);

    unsigned depth() const { return depth_; }
    std::uint32_t generation() const { return generation_; }
    /// The number of pages that the shared directory takes.
    PageNumber pages() const;

    std::uint32_t size() const { return static_cast<std::uint32_t>(extents_.size()); }
    std::uint32_t index(std::uint64_t hash) const {
        return depth_ == 0 ? 0 : static_cast<std::uint32_t>(hash >> (64 - depth_));
    }
    Extent at(std::uint32_t index) const { return extents_[index]; }
    /// The entries that name the same segment as the one at `index`: from `first` to before `end`.
    struct Run {
        std::uint32_t first;
        std::uint32_t end;
    };
    Run run(std::uint32_t index) const;
    /// The first hash that belongs to the entry; 0 for the one behind the last.
    std::uint64_t firstHash(std::uint32_t index) const {
        return index == size() ? 0 : std::uint64_t{index} << (64 - depth_) % 64;
    }

    /// The next generation of this directory, with twice the entries.
    void doubled();
    void runIs(Run run, Extent extent);

  private:
    std::string check(PageNumber filePages) const;

    unsigned depth_ = 0;
    std::uint32_t generation_ = 0;
    std::vector<Extent> extents_;
};

}  // namespace Routing::Gmp::Tessel::Storage
