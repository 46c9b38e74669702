#include "Routing/Gmp/Tessel/StatusColl.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "Lumo/TypeData.h"
#include "Rix/NullArgumentError.h"
#include "Routing/Gmp/Tessel/Storage/StatusStore.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"

namespace Routing::Gmp::Tessel {

const Lumo::TypeData& StatusColl::type() {
    static const Lumo::TypeData type(
        "Routing::Gmp::Tessel::StatusColl",
        {{"gmpStatuses", [](const Lumo::Node& node) {
              return std::to_string(static_cast<const StatusColl&>(node).gmpStatuses());
          }}});
    return type;
}

StatusColl::StatusColl(std::unique_ptr<Storage::Table> table) : table_(std::move(table)) {
    for (const auto& [place, store] : table_->statuses()) {
        const auto status = Lumo::make<Status>(store->key().name());
        status->storeIs(table_.get(), store.get());
        statuses_.emplace(store->key(), status);
    }
}

StatusColl::~StatusColl() {
    for (const auto& [key, status] : statuses_)
        status->storeIs(nullptr, nullptr);
}

Lumo::Ptr<StatusColl> StatusColl::over(std::unique_ptr<Storage::Table> table) {
    return Lumo::Ptr<StatusColl>::adopt(new (Lumo::Made{}) StatusColl(std::move(table)));
}

Lumo::Ptr<StatusColl> StatusColl::open(const std::filesystem::path& directory,
                                       const TableAccess& access, const TableOptions& options) {
    return over(Storage::Table::open(directory, access, options));
}

Lumo::Ptr<StatusColl> StatusColl::anonymous() {
    return over(Storage::Table::anonymous());
}

void StatusColl::checkFiles() const {
    table_->checkFiles();
}

Lumo::Ptr<Status> StatusColl::gmpStatus(const VrfApp& key) const {
    const auto found = statuses_.find(key);
    return found == statuses_.end() ? nullptr : found->second;
}

void StatusColl::gmpStatusIs(const VrfApp& key, const Lumo::Ptr<Status>& status) {
    if (!status) {
        throw Rix::NullArgumentError("gmpStatus", "Routing::Gmp::Tessel::StatusColl");
    }
    const Lumo::Ptr<Status> before = gmpStatus(key);
    if (before == status) return;
    if (status->isStored()) {
        throw std::invalid_argument("the GMP status '" + status->name() +
                                    "' is in a table already");
    }
    table_->check();
    gmpStatusDel(key);
    const auto entry = statuses_.emplace(key, status).first;
    try {
        status->storeIs(table_.get(), &table_->statusAdd(key));
    } catch (...) {
        statuses_.erase(entry);
        throw;
    }
    table_->checkMemory();
}

void StatusColl::gmpStatusDel(const VrfApp& key) {
    const auto entry = statuses_.find(key);
    if (entry == statuses_.end()) return;
    table_->check();
    const Lumo::Ptr<Status> status = entry->second;
    Storage::StatusStore& store = *status->store_;
    // Whatever can fail comes before anything changes.
    const Storage::Table::StatusContent content = table_->contentOf(store);
    statuses_.erase(entry);
    status->storeIs(nullptr, nullptr);
    table_->statusDel(store, content);
    table_->checkMemory();
}

void StatusColl::corruptionHandlerIs(std::function<void(std::string_view message)> handler) {
    table_->corruptionListenerIs(std::move(handler));
}

void StatusColl::membershipObserverIs(std::function<void(const MembershipChange&)> observer) {
    table_->changeListenerIs(std::move(observer));
}

Lumo::Ptr<StatusColl> StatusColl::handOver() {
    std::unique_ptr<Storage::Table> own = Storage::Table::anonymous();
    std::swap(own, table_);
    for (const auto& [key, status] : statuses_)
        status->storeIs(nullptr, nullptr);
    statuses_.clear();
    return over(std::move(own));
}

// --- walking ------------------------------------------------------------------------------------

StatusColl::Walk StatusColl::begin() const {
    table_->checkMemory();
    std::vector<Walk::Entry> entries;
    entries.reserve(statuses_.size());
    for (const auto& [place, store] : table_->statuses()) {
        entries.emplace_back(store->key(), gmpStatus(store->key()));
    }
    return {*this, std::move(entries)};
}

StatusColl::Walk::Walk(const StatusColl& coll, std::vector<Entry> entries)
    : coll_(&coll), entries_(std::move(entries)) {
    skipGone();
}

void StatusColl::Walk::skipGone() {
    while (next_ < entries_.size() &&
           coll_->gmpStatus(entries_[next_].first) != entries_[next_].second) {
        ++next_;
    }
}

}  // namespace Routing::Gmp::Tessel
