#include "Routing/Gmp/Tessel/StatusReader.h"

#include <utility>

#include "Routing/Gmp/Tessel/Storage/StatusView.h"

namespace Routing::Gmp::Tessel {

StatusReader::StatusReader(std::unique_ptr<Storage::StatusView> view) : view_(std::move(view)) {}

StatusReader::StatusReader(const StatusReader& other)
    : view_(std::make_unique<Storage::StatusView>(*other.view_)), damage_(other.damage_) {}

StatusReader& StatusReader::operator=(const StatusReader& other) {
    return *this = StatusReader(other);
}

StatusReader::StatusReader(StatusReader&&) noexcept = default;
StatusReader& StatusReader::operator=(StatusReader&&) noexcept = default;
StatusReader::~StatusReader() = default;

const VrfApp& StatusReader::key() const {
    return view_->key();
}

bool StatusReader::isGone() const {
    return view_->isGone();
}

MembershipReading StatusReader::membership(const RouteIntfKey& key) {
    return view_->membership(key);
}

std::vector<std::string> StatusReader::faults() {
    return view_->faults();
}

StatusReader::Walk StatusReader::begin() {
    return Walk(*this);
}

StatusReader::Walk::Walk(StatusReader& status) : status_(&status) {
    fill();
}

void StatusReader::Walk::fill() {
    met_.clear();
    next_ = 0;
    while (met_.empty() && !position_.empty())
        status_->view_->readSegment(position_, met_, status_->damage_);
}

}  // namespace Routing::Gmp::Tessel
