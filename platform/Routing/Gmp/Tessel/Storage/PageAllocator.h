#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <set>

#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

/// Which pages of a file are free: the writer's own book, kept in no file. Whoever opens a table
/// learns it anew from what the table refers to, so a writer that is killed leaks nothing.
///
/// Runs of pages are powers of two long and begin at a multiple of their length; two free halves of
/// a longer run join. Where this process has no memory for the book, it forgets pages until the
/// table is opened anew, rather than fail. Belongs to the writer's thread.
class PageAllocator {
  public:
    /// The smallest power of two that is at least `pages`.
    static PageNumber runLength(PageNumber pages);

    /// A free run of `runLength(pages)` pages, taken; nothing if there is none that long.
    std::optional<PageNumber> take(PageNumber pages) noexcept;
    /// Gives pages back, or adds those by which the file grew: any number, anywhere.
    void free(PageNumber first, PageNumber pages) noexcept;

  private:
    static constexpr std::size_t orders = 32;

    void freeRun(PageNumber first, std::size_t order) noexcept;
    void enter(PageNumber first, std::size_t order) noexcept;

    std::array<std::set<PageNumber>, orders> free_;
};

}  // namespace Routing::Gmp::Tessel::Storage
