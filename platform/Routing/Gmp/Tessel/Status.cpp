#include "Routing/Gmp/Tessel/Status.h"

#include <stdexcept>
#include <utility>

#include "Lumo/TypeData.h"
#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/Storage/StatusStore.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"

namespace Routing::Gmp::Tessel {

const Lumo::TypeData& Status::type() {
    static const auto text = [](const Lumo::Node& node) -> const Status& {
        return static_cast<const Status&>(node);
    };
    static const Lumo::TypeData type(
        "Routing::Gmp::Tessel::Status",
        {{"name", [](const Lumo::Node& node) { return text(node).name(); }},
         {"memberships",
          [](const Lumo::Node& node) { return std::to_string(text(node).memberships()); }}});
    return type;
}

void Status::membershipIs(const Membership& membership) {
    if (store_ == nullptr) {
        throw std::logic_error("Routing::Gmp::Tessel::Status::membershipIs: the status '" + name_ +
                               "' is in no table");
    }
    table_->check();
    ++changes_;
    store_->membershipIs(membership);
    table_->checkWhole();
}

void Status::membershipDel(const RouteIntfKey& key) {
    if (store_ == nullptr) return;
    table_->check();
    ++changes_;
    store_->membershipDel(key);
    table_->checkWhole();
}

Membership Status::membership(const RouteIntfKey& key) const {
    if (store_ == nullptr) return {};
    const auto mode = store_->filterMode(key);
    table_->checkMemory();
    return mode ? Membership(key, *mode) : Membership();
}

std::size_t Status::memberships() const {
    if (store_ == nullptr) return 0;
    const std::size_t count = store_->count();
    table_->checkMemory();
    return count;
}

void Status::handleCorruption(std::string_view message) const {
    if (table_ != nullptr) table_->reportCorruption(message);
}

Status::Walk Status::begin() const {
    return Walk(Lumo::Ptr<const Status>(this));
}

// --- walking ------------------------------------------------------------------------------------

Status::Walk::Walk(Lumo::Ptr<const Status> status)
    : status_(std::move(status)), id_(status_->isStored() ? status_->store_->id() : 0) {
    advance();
}

void Status::Walk::advance() {
    for (;;) {
        const Storage::StatusStore* const store = status_->store_;
        if (store == nullptr || store->id() != id_) break;
        if (next_ == met_.size() && !fill()) break;
        if (next_ == met_.size()) continue;
        Membership& candidate = met_[next_++];
        if (status_->changes_ == changes_ || isStillThere(candidate)) return;
    }
    isOver_ = true;
}

bool Status::Walk::fill() {
    if (position_.empty()) return false;
    met_.clear();
    next_ = 0;
    position_ = status_->store_->segmentMemberships(position_, met_);
    status_->table_->checkMemory();
    changes_ = status_->changes_;
    return true;
}

bool Status::Walk::isStillThere(Membership& membership) const {
    try {
        const auto mode = status_->store_->filterMode(membership.key());
        if (mode) membership = Membership(membership.key(), *mode);
        return mode.has_value();
    } catch (const Rix::CorruptionError& error) {
        status_->handleCorruption(error.what());
        return false;
    }
}

}  // namespace Routing::Gmp::Tessel
