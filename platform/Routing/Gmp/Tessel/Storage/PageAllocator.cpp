#include "Routing/Gmp/Tessel/Storage/PageAllocator.h"

#include <algorithm>
#include <bit>
#include <new>

namespace Routing::Gmp::Tessel::Storage {

PageNumber PageAllocator::runLength(PageNumber pages) {
    return std::bit_ceil(pages);
}

std::optional<PageNumber> PageAllocator::take(PageNumber pages) noexcept {
    const auto wanted = static_cast<std::size_t>(std::countr_zero(runLength(pages)));
    for (std::size_t order = wanted; order < orders; ++order) {
        if (free_[order].empty()) continue;
        const PageNumber first = free_[order].extract(free_[order].begin()).value();
        while (order > wanted) {
            --order;
            enter(first + (PageNumber{1} << order), order);
        }
        return first;
    }
    return std::nullopt;
}

void PageAllocator::free(PageNumber first, PageNumber pages) noexcept {
    while (pages > 0) {
        const auto aligned = static_cast<unsigned>(std::countr_zero(first));
        const auto longest = static_cast<unsigned>(std::bit_width(pages)) - 1;
        const std::size_t order = std::min(aligned, longest);
        freeRun(first, order);
        first += PageNumber{1} << order;
        pages -= PageNumber{1} << order;
    }
}

void PageAllocator::freeRun(PageNumber first, std::size_t order) noexcept {
    while (order + 1 < orders) {
        const auto buddy = free_[order].find(first ^ (PageNumber{1} << order));
        if (buddy == free_[order].end()) break;
        first = std::min(first, *buddy);
        free_[order].erase(buddy);
        ++order;
    }
    enter(first, order);
}

void PageAllocator::enter(PageNumber first, std::size_t order) noexcept {
    try {
        free_[order].insert(first);
    } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): forgotten, see above
    }
}

}  // namespace Routing::Gmp::Tessel::Storage
