#include "Replay/Table.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Replay/Places.h"
#include "Routing/Gmp/Tessel/MembershipChange.h"
#include "Routing/Gmp/Tessel/Status.h"

namespace Irbmc::Replay {

namespace {

using Routing::Gmp::Tessel::Membership;
using Routing::Gmp::Tessel::MembershipChange;
using Routing::Gmp::Tessel::Status;
using Routing::Gmp::Tessel::StatusColl;
using Routing::Gmp::Tessel::VrfApp;

}  // namespace

Table::Table(const std::filesystem::path& directory, Rix::CorruptionHandler& handler)
    : statusColl_(directory.empty() ? StatusColl::anonymous() : StatusColl::open(directory)) {
    statusColl_->corruptionHandlerIs(
        [&handler](std::string_view message) { handler.onCorruption(message); });
    statusColl_->membershipObserverIs([this](const MembershipChange& change) {
        changes_.note(placeOf(change.status, change.key), change.before, change.after);
    });
}

void Table::handOver() {
    statusColl_ = statusColl_->handOver();
}

void Table::set(const TableEntry& entry) {
    statusIs(entry.place.status);
    statusColl_->gmpStatus(keyOf(entry.place.status))
        ->membershipIs(Membership(keyOf(entry.place), entry.mode));
}

void Table::del(const MembershipPlace& place) {
    if (const auto status = statusColl_->gmpStatus(keyOf(place.status))) {
        status->membershipDel(keyOf(place));
    }
}

void Table::statusIs(const StatusPlace& place) {
    const VrfApp key = keyOf(place);
    if (statusColl_->gmpStatus(key)) return;
    statusColl_->gmpStatusIs(key, Lumo::make<Status>(key.name()));
}

std::vector<StatusContent> Table::content() const {
    std::vector<StatusContent> statuses;
    for (const auto& [key, status] : *statusColl_) {
        StatusContent content{key.name(), placeOf(key), {}};
        for (const Membership& membership : *status) {
            content.memberships.push_back(
                {placeOf(key, membership.key()), membership.filterMode()});
        }
        std::sort(content.memberships.begin(), content.memberships.end(), tableOrder);
        statuses.push_back(std::move(content));
    }
    std::sort(statuses.begin(), statuses.end(), [](const auto& left, const auto& right) {
        return statusOrder(left.status, right.status);
    });
    return statuses;
}

}  // namespace Irbmc::Replay
