#include "Ondel/IntfIdSet.h"

#include <algorithm>
#include <utility>

#include "Rix/CorruptionError.h"

namespace Ondel {

std::size_t IntfIdSet::size() const {
    if (const auto corruption = std::move(corruption_)) throw Rix::CorruptionError(*corruption);
    return intfs_.size();
}

bool IntfIdSet::contains(IntfId intf) const {
    return std::binary_search(intfs_.begin(), intfs_.end(), intf);
}

bool IntfIdSet::add(IntfId intf) {
    const auto place = std::lower_bound(intfs_.begin(), intfs_.end(), intf);
    if (place != intfs_.end() && *place == intf) return false;
    intfs_.insert(place, intf);
    return true;
}

bool IntfIdSet::del(IntfId intf) {
    const auto place = std::lower_bound(intfs_.begin(), intfs_.end(), intf);
    if (place == intfs_.end() || *place != intf) return false;
    intfs_.erase(place);
    return true;
}

void IntfIdSet::corruptionIs(std::string message) {
    corruption_ = std::make_unique<const std::string>(std::move(message));
}

IntfIdSet::Cursor::Cursor(const IntfIdSet& set) : set_(set) {
    moveTo(set_.intfs_.begin());
}

IntfIdSet::Cursor& IntfIdSet::Cursor::operator++() {
    moveTo(std::upper_bound(set_.intfs_.begin(), set_.intfs_.end(), current_));
    return *this;
}

void IntfIdSet::Cursor::moveTo(std::vector<IntfId>::const_iterator place) {
    done_ = place == set_.intfs_.end();
    if (!done_) current_ = *place;
}

}  // namespace Ondel
