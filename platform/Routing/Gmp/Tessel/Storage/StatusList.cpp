#include "Routing/Gmp/Tessel/Storage/StatusList.h"

namespace Routing::Gmp::Tessel::Storage {

std::optional<PageNumber> StatusList::pages() const {
    const std::uint64_t word =
        file_.at<const Control>(controlPage).statusPages.load(std::memory_order_acquire);
    if (!isPaired(word) || numberOf(word) > maxStatusPages) return std::nullopt;
    return numberOf(word);
}

PageNumber StatusList::likelyPages() const {
    PageNumber number = 0;
    for (bool isUsed = true; isUsed && number < maxStatusPages; number += isUsed ? 1 : 0) {
        isUsed = false;
        for (std::size_t i = 0; i < statusEntriesAPage; ++i) {
            const auto place = static_cast<std::uint16_t>(number * statusEntriesAPage + i);
            const std::uint64_t life = entry(place).life.load(std::memory_order_acquire);
            if (life == noLife || isPaired(life)) isUsed = true;
        }
    }
    return number;
}

void StatusList::clear(PageNumber number) const {
    for (std::size_t i = 0; i < statusEntriesAPage; ++i) {
        const auto place = static_cast<std::uint16_t>(number * statusEntriesAPage + i);
        entry(place).life.store(noLife, std::memory_order_release);
    }
}

EntryReading EntryReading::of(const StatusEntry& entry) {
    // An entry that changes meanwhile belongs to a status that is gone, and to one to come. Nobody
    // takes an entry so often that a reader would never get to its end.
    for (int tries = 0; tries < 100; ++tries) {
        const std::uint64_t life = entry.life.load(std::memory_order_acquire);
        if (life == noLife) return {};
        const std::uint64_t root = entry.root.load(std::memory_order_acquire);
        const auto identity = StatusIdentity::read(entry);
        if (entry.life.load(std::memory_order_acquire) != life) continue;
        if (identity && identity->id == life) return {Kind::live, *identity, root};
        return {Kind::damaged, identity.value_or(StatusIdentity{}), root};
    }
    return {Kind::damaged, {}, 0};
}

}  // namespace Routing::Gmp::Tessel::Storage
