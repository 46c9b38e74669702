// How a writer opens a table: everything is checked before it is used. What is damaged is lost, and
// reported, as little as possible of it.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/Storage/StatusStore.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"

namespace Routing::Gmp::Tessel::Storage {

void Table::openControl() {
    const PageNumber listPage = dimensions().statusPage();
    const PageNumber firstPages = dimensions().firstPages();
    const auto pages = list().pages();
    // A page without memory would be found out by a signal, long after this.
    if (!pages || !file_->hasMemory(file_->pages() - maxStatusPages + *pages)) {
        file_->memoryGet(0, listPage + pages.value_or(maxStatusPages));
        file_->memoryGet(firstPages, file_->pages() - firstPages);
    }
    statusPages_ = pages ? *pages : list().likelyPages();
    if (!pages) reportCorruption(file_->path() + ": the number of status entries is damaged");
    log_.emplace(*file_, dimensions());
    if (log_->isCountSound()) return;
    log_->countAnew();
    reportCorruption(file_->path() + ": the change log is damaged");
}

void Table::openStatuses() {
    const std::uint64_t last = control().lastStatus.load(std::memory_order_relaxed);
    if (isPaired(last)) lastStatus_ = numberOf(last);
    std::uint32_t sum = header_.statusesSalt;
    bool isReported = false;
    StatusPlaces places;
    const auto size = static_cast<std::uint16_t>(statusPages_ * statusEntriesAPage);
    for (std::uint16_t place = 0; place < size; ++place) {
        const StatusEntry& entry = list().entry(place);
        if (const auto identity = StatusIdentity::read(entry)) {
            lastStatus_ = std::max(lastStatus_, numberOf(identity->id));
        }
        const EntryReading reading = EntryReading::of(entry);
        if (reading.kind == EntryReading::Kind::free) continue;
        sum += Guard::shareOf(reading.identity.id, reading.root, place);
        openStatus(place, reading, places);
        isReported |= !statuses_.contains(place);
    }
    if (!isPaired(last)) {
        // Those that have no entry any more have lower numbers, but for damaged ones.
        lastStatus_ += std::min<std::uint32_t>(maxStatuses, ~lastStatus_);
        reportCorruption(file_->path() + ": the number of the latest status is damaged");
    }
    const GuardReading guard = GuardReading::of(control().statuses);
    guard_ = Guard(guard.current.word());
    if (!isReported && !guard.allows(sum)) {
        reportCorruption(file_->path() +
                         ": the list of statuses is not as it was written; statuses may be "
                         "missing or old");
    }
}

void Table::openStatus(std::uint16_t place, const EntryReading& entry, StatusPlaces& places) {
    if (entry.kind == EntryReading::Kind::damaged) {
        return reportCorruption(entryText(place, entry.identity) +
                                " is damaged; its status is lost");
    }
    std::unique_ptr<StatusStore> status;
    try {
        status = std::make_unique<StatusStore>(*this, place, entry.identity, entry.root);
    } catch (const Rix::CorruptionError& error) {
        return reportCorruption(std::string(error.what()) + "; its memberships are lost");
    }
    for (const std::uint16_t twin :
         {places.byName.try_emplace(entry.identity.key, place).first->second,
          places.byId.try_emplace(entry.identity.id, place).first->second}) {
        const auto other = statuses_.find(twin);
        if (other == statuses_.end()) continue;
        const bool isNewer = status->isNewerThan(*other->second);
        const StatusStore& lost = isNewer ? *other->second : *status;
        reportCorruption(entryText(lost.place(), lost.identity()) +
                         " is there twice; the older one is lost");
        if (!isNewer) return;
        statuses_.erase(other);
    }
    places.byName[entry.identity.key] = places.byId[entry.identity.id] = place;
    statuses_.emplace(place, std::move(status));
}

std::string Table::entryText(std::uint16_t place, const StatusIdentity& identity) const {
    return file_->path() + ": entry " + std::to_string(place) + " of the list of statuses" +
           (identity.id == 0 ? "" : " '" + identity.key.name() + "'");
}

Table::PageUses Table::pageUses(const std::vector<const StatusStore*>& statuses) const {
    PageUses uses{{{0, dimensions().firstPages()}}, {}};
    const auto isFree = [&](const Directory::Extent& extent) {
        const auto behind = uses.runs.lower_bound(extent.page + extent.pages);
        return extent.pages <= file_->pages() - extent.page &&
               std::prev(behind)->second <= extent.page;
    };
    for (const StatusStore* const status : statuses) {
        const auto extents = status->extents();
        if (!std::all_of(extents.begin(), extents.end(), isFree)) {
            uses.lost.push_back(status->place());
            continue;
        }
        for (const Directory::Extent extent : extents)
            uses.runs.emplace(extent.page, extent.page + extent.pages);
    }
    return uses;
}

void Table::openFreePages() {
    std::vector<const StatusStore*> order;
    for (const auto& [place, status] : statuses_)
        order.push_back(status.get());
    PageUses uses = pageUses(order);
    if (!uses.lost.empty()) {
        // An entry from the past claims pages that were given to others since.
        order.clear();
        for (const bool isRight : {true, false}) {
            for (const auto& [place, status] : statuses_)
                if (status->holdsItsSegments() == isRight) order.push_back(status.get());
        }
        uses = pageUses(order);
    }
    for (const std::uint16_t place : uses.lost) {
        reportCorruption(file_->path() + ": status '" + statuses_.at(place)->key().name() +
                         "' uses pages of another one; its memberships are lost");
        statuses_.erase(place);
    }
    PageNumber end = 0;
    for (const auto& [first, behind] : uses.runs) {
        allocator_.free(end, first - end);
        end = behind;
    }
    allocator_.free(end, file_->pages() - end);
}

/// Makes the entries and the control page say what was found.
void Table::statusesGuardIs() {
    std::uint32_t sum = header_.statusesSalt;
    for (const auto& [place, status] : statuses_)
        sum += Guard::shareOf(status->id(), status->root(), place);
    guard_ = guard_.after(guard_.sum(), sum);
    guarded(control().statuses, guard_, [&] {
        const auto size = static_cast<std::uint16_t>(statusPages_ * statusEntriesAPage);
        for (std::uint16_t place = 0; place < size; ++place) {
            if (statuses_.contains(place)) continue;
            list().entry(place).life.store(noLife, std::memory_order_release);
        }
    });
    control().statusPages.store(paired(statusPages_), std::memory_order_release);
    control().lastStatus.store(paired(lastStatus_), std::memory_order_release);
}

}  // namespace Routing::Gmp::Tessel::Storage
