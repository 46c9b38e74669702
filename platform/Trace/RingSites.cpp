#include "Trace/RingSites.h"

#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

namespace Trace {

RingSites& RingSites::instance() {
    // Never destroyed: static destructors may still trace.
    static RingSites& sites = *new RingSites;
    return sites;
}

std::uint32_t RingSites::number(const std::string& entry) {
    static_cast<void>(Ring::current());  // there is one from here on
    const std::lock_guard lock(mutex_);
    const auto next = static_cast<std::uint32_t>(numbers_.size() + 1);
    const auto [place, isNew] = numbers_.emplace(entry, next);
    if (isNew) append(*Ring::current_.load(std::memory_order_relaxed), entry, next);
    return place->second;
}

void RingSites::currentIs(std::unique_ptr<Ring> ring) {
    const std::lock_guard lock(mutex_);
    publish(*rings_.emplace_back(std::move(ring)));
}

Ring& RingSites::first(Ring& (*make)()) {
    const std::lock_guard lock(mutex_);
    Ring* ring = Ring::current_.load(std::memory_order_relaxed);
    if (ring == nullptr) {
        ring = &make();
        publish(*ring);
    }
    return *ring;
}

void RingSites::publish(Ring& ring) {
    std::vector<const std::string*> inOrder(numbers_.size());
    for (const auto& [entry, number] : numbers_)
        inOrder[number - 1] = &entry;
    for (std::size_t i = 0; i < inOrder.size(); ++i)
        append(ring, *inOrder[i], static_cast<std::uint32_t>(i + 1));
    Ring::current_.store(&ring, std::memory_order_release);
}

void RingSites::append(Ring& ring, std::string entry, std::uint32_t number) {
    const std::uint64_t used = ring.header_->sitesUsed.load(std::memory_order_relaxed);
    if (entry.size() > ringSitesBytes - used) return;
    std::memcpy(entry.data() + offsetof(RingSiteHead, site), &number, sizeof number);
    const std::string_view checked = std::string_view(entry).substr(sizeof(std::uint64_t));
    const std::uint64_t checksum = Rix::hashBytes(0, checked);
    std::memcpy(entry.data(), &checksum, sizeof checksum);
    std::memcpy(ring.sites() + used, entry.data(), entry.size());
    ring.header_->sitesUsed.store(used + entry.size(), std::memory_order_release);
}

}  // namespace Trace
