#include "Routing/Gmp/Tessel/Storage/StatusList.h"

#include <string>

#include "Rix/CorruptionError.h"

namespace Routing::Gmp::Tessel::Storage {

std::uint16_t StatusList::checkedSize(PageNumber filePages) const {
    const std::size_t number = size() / statusEntriesAPage;
    for (std::size_t i = 0; i < maxStatusPages; ++i) {
        const std::uint64_t word = pages_[i].load(std::memory_order_acquire);
        if (i >= number && word == 0) continue;
        // Behind the end there may be pages that were added since its place was read: all in turn.
        const bool inTurn = page(i == 0 ? 0 : i - 1) != 0;
        const auto page = static_cast<PageNumber>(word);
        if (!inTurn || word >> 32 != static_cast<PageNumber>(~page) || page <= statusListPage ||
            page >= filePages) {
            throw Rix::CorruptionError(file_.path() + ": the list of statuses is damaged");
        }
    }
    return static_cast<std::uint16_t>(number * statusEntriesAPage);
}

std::uint16_t StatusList::size() const {
    std::size_t number = 0;
    while (number < maxStatusPages && page(number) != 0)
        ++number;
    return static_cast<std::uint16_t>(number * statusEntriesAPage);
}

StatusEntry& StatusList::entry(std::uint16_t place) const {
    return (&file_.at<StatusEntry>(page(place / statusEntriesAPage)))[place % statusEntriesAPage];
}

std::vector<Directory::Extent> StatusList::extents() const {
    std::vector<Directory::Extent> all;
    for (std::size_t number = 0; number < maxStatusPages && page(number) != 0; ++number) {
        all.push_back({page(number), 1});
    }
    return all;
}

void StatusList::pageAdd(PageNumber added) const {
    // The page may have been something else before.
    Word* const words = &file_.at<Word>(added);
    for (std::size_t i = 0; i < pageBytes / sizeof(Word); ++i) {
        words[i].store(0, std::memory_order_release);
    }
    const std::size_t number = size() / statusEntriesAPage;
    pages_[number].store(std::uint64_t{static_cast<PageNumber>(~added)} << 32 | added,
                         std::memory_order_release);
}

}  // namespace Routing::Gmp::Tessel::Storage
