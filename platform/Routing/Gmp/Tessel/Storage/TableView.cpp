#include "Routing/Gmp/Tessel/Storage/TableView.h"

#include <map>
#include <unordered_map>
#include <utility>

namespace Routing::Gmp::Tessel::Storage {

TableView::TableView(std::shared_ptr<const TableFile> file)
    : file_(std::move(file)),
      header_(checkedHeader(*file_)),
      list_(*file_, header_.dimensions),
      control_(file_->at<const Control>(controlPage)),
      log_(*file_, header_.dimensions) {}

std::vector<StatusView> TableView::statuses(std::vector<std::string>& damage) const {
    constexpr int mostTries = 100;
    ListReading reading;
    for (int tries = 0; tries < mostTries; ++tries) {
        const GuardReading before = GuardReading::of(control_.statuses);
        reading = readList();
        if (GuardReading::of(control_.statuses) != before) continue;
        if (reading.damage.empty() && !before.allows(reading.sum)) {
            reading.damage.push_back(file_->path() +
                                     ": the list of statuses is not as it was written; statuses "
                                     "may be missing or old");
        }
        break;
    }
    damage.insert(damage.end(), reading.damage.begin(), reading.damage.end());
    return std::move(reading.statuses);
}

TableView::ListReading TableView::readList() const {
    ListReading reading{{}, {}, header_.statusesSalt};
    const auto pages = list_.pages();
    if (!pages) {
        reading.damage.push_back(file_->path() + ": the number of status entries is damaged");
    }
    const auto size =
        static_cast<std::uint16_t>((pages ? *pages : list_.likelyPages()) * statusEntriesAPage);
    for (std::uint16_t place = 0; place < size; ++place) {
        const EntryReading entry = EntryReading::of(list_.entry(place));
        if (entry.kind == EntryReading::Kind::free) continue;
        if (entry.kind == EntryReading::Kind::damaged) {
            reading.damage.push_back(file_->path() + ": entry " + std::to_string(place) +
                                     " of the list of statuses is damaged");
            continue;
        }
        reading.sum += Guard::shareOf(entry.identity.id, entry.root, place);
        reading.statuses.emplace_back(file_, header_, list_.entry(place), entry.identity);
    }
    return reading;
}

std::optional<StatusIdentity> TableView::identity(std::uint16_t place) const {
    const auto pages = list_.pages();
    if (!pages || place >= *pages * statusEntriesAPage) return std::nullopt;
    return StatusIdentity::read(list_.entry(place));
}

// --- checking -----------------------------------------------------------------------------------

std::vector<std::string> TableView::faults() const {
    std::vector<std::string> faults;
    checkControl(faults);
    checkLog(faults);
    std::vector<StatusView> all = statuses(faults);
    for (StatusView& status : all) {
        const std::vector<std::string> some = status.faults();
        faults.insert(faults.end(), some.begin(), some.end());
    }
    checkNames(all, faults);
    checkPages(all, faults);
    return faults;
}

void TableView::checkControl(std::vector<std::string>& faults) const {
    // The number of pages is looked at with the list.
    if (isPaired(control_.lastStatus.load(std::memory_order_acquire))) return;
    faults.push_back(file_->path() + ": the number of the latest status is damaged");
}

void TableView::checkLog(std::vector<std::string>& faults) const {
    const std::uint64_t count = log_.count();
    const bool isCountSound = count == 0 || log_.change(count - 1);
    if (!isCountSound && log_.count() == count) {
        faults.push_back(file_->path() + ": the count of changes or the latest change is damaged");
        return;
    }
    for (const std::uint64_t place : log_.faults()) {
        faults.push_back(file_->path() + ": entry " + std::to_string(place) +
                         " of the change log is damaged");
    }
}

void TableView::checkNames(const std::vector<StatusView>& statuses,
                           std::vector<std::string>& faults) const {
    std::unordered_map<VrfApp, const StatusView*> names;
    std::unordered_map<std::uint64_t, const StatusView*> ids;
    for (const StatusView& status : statuses) {
        const StatusView* const namesake = names.emplace(status.key(), &status).first->second;
        const StatusView* const twin = ids.emplace(status.id(), &status).first->second;
        for (const StatusView* const other : {namesake, twin}) {
            // One that is gone made room for another of its name.
            if (other == &status || other->isGone() || status.isGone()) continue;
            faults.push_back(
                file_->path() + ": status '" + status.key().name() +
                (other == namesake ? "' is there twice" : "' has the identifier of another one"));
            break;
        }
    }
}

void TableView::checkPages(const std::vector<StatusView>& statuses,
                           std::vector<std::string>& faults) const {
    struct Use {
        PageNumber end;
        const StatusView* status;
    };
    std::map<PageNumber, Use> uses;
    for (const StatusView& status : statuses) {
        for (const Directory::Extent extent : status.extents()) {
            const PageNumber end = extent.page + extent.pages;
            auto other = uses.lower_bound(end);
            if (other != uses.begin() && std::prev(other)->second.end > extent.page) {
                // Pages that one of them gave back meanwhile are no longer its own.
                if (status.isCurrent() && std::prev(other)->second.status->isCurrent()) {
                    faults.push_back(file_->path() + ": status '" + status.key().name() +
                                     "' uses page " + std::to_string(extent.page) +
                                     " of another one");
                }
                continue;
            }
            uses.emplace(extent.page, Use{end, &status});
        }
    }
}

}  // namespace Routing::Gmp::Tessel::Storage
