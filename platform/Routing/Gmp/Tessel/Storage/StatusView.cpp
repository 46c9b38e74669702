#include "Routing/Gmp/Tessel/Storage/StatusView.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// How often something is read again that changes all the time. No writer is so fast for so long.
constexpr int mostTries = 1000;

constexpr const char* changesTooFast = "changes too fast to be read";
constexpr const char* notAsWritten = " is not as it was written; memberships may be missing or old";

std::uint64_t hashOf(const RouteIntfKey& key) {
    const KeyWords words = keyWords(key);
    return foldedProduct(words[0] ^ words[3] ^ words[4], words[2] ^ words[1] ^ 0x9e3779b97f4a7c15);
}

/// Leaves of each key the one that was met last: a membership that went and came back while its
/// segment was read is met at two places.
void dropRepeated(std::vector<Membership>& memberships) {
    constexpr std::uint32_t none = ~std::uint32_t{0};
    const std::size_t mask = std::bit_ceil(memberships.size() * 2 + 1) - 1;
    std::vector<std::uint32_t> seen(mask + 1, none);
    std::vector<std::uint32_t> repeated;
    for (auto i = static_cast<std::uint32_t>(memberships.size()); i-- > 0;) {
        const RouteIntfKey& key = memberships[i].key();
        std::size_t slot = hashOf(key) & mask;
        while (seen[slot] != none && memberships[seen[slot]].key() != key)
            slot = (slot + 1) & mask;
        if (seen[slot] == none) {
            seen[slot] = i;
        } else {
            repeated.push_back(i);
        }
    }
    for (const std::uint32_t i : repeated)  // from the last to the first
        memberships.erase(memberships.begin() + i);
}

}  // namespace

StatusView::StatusView(std::shared_ptr<const TableFile> file, const CheckedHeader& header,
                       const StatusEntry& entry, const StatusIdentity& identity)
    : file_(std::move(file)),
      header_(header),
      entry_(&entry),
      identity_(identity),
      checksum_(statusChecksum(identity.id)) {}

std::string StatusView::text(std::string_view problem) const {
    return file_->path() + ": status '" + identity_.key.name() + "': " + std::string(problem);
}

std::string StatusView::slotText(Directory::Extent extent, std::uint32_t place) const {
    return text("slot " + std::to_string(place) + " of the segment at page " +
                std::to_string(extent.page));
}

std::string StatusView::segmentText(const ReadSegment& segment) const {
    return text("the segment at page " + std::to_string(segment.step.spot.entry.extent().page));
}

bool StatusView::refresh(std::string& problem) {
    for (int tries = 0; tries < mostTries; ++tries) {
        if (isGone()) return false;
        const std::uint64_t root = entry_->root.load(std::memory_order_acquire);
        if (root == root_) return true;
        // The length comes after the root: what the root leads to was there before it.
        const PageNumber pages = file_->currentPages();
        const std::string what =
            directory_.load(*file_, header_.dimensions.firstPages(), pages, root, identity_.id);
        root_.reset();
        if (entry_->root.load(std::memory_order_acquire) != root) continue;
        if (what.empty()) {
            root_ = root;
            guardsOffset_ = directory_.guardsOffset();
            continue;
        }
        if (isGone()) return false;
        problem = text(what);
        return false;
    }
    problem = text(changesTooFast);
    return false;
}

ConstSegment StatusView::segment(Directory::Extent extent) const {
    return {file_->page(extent.page), segmentGroups(extent.pages),
            segmentSalt(checksum_, extent.page)};
}

StatusView::ReadSegment StatusView::segment(const Directory::Position& position) const {
    Directory::Step step = directory_.step(position);
    const auto* const guards = reinterpret_cast<const GuardPair*>(
        file_->page(static_cast<PageNumber>(*root_)) + guardsOffset_);
    const Directory::Entry entry = step.spot.entry;
    return {std::move(step), segment(entry.extent()), guards + entry.segment()};
}

MembershipReading StatusView::membership(const RouteIntfKey& key) {
    const KeyWords words = keyWords(key);
    const std::uint64_t hash = Storage::hashOf(words, header_.hashSeed);
    MembershipReading reading;
    for (int tries = 0; refresh(reading.damage); ++tries) {
        const Directory::Spot spot = directory_.locate(words, hash);
        const Directory::Extent extent = spot.entry.extent();
        const SearchResult found = searchSegment(segment(extent), words, spot.hash, checksum_);
        if (!isCurrent() && tries < mostTries) continue;
        if (found.kind == SearchResult::Kind::live) {
            reading.membership = Membership(key, found.state.mode());
            reading.isPresent = true;
        } else if (found.kind == SearchResult::Kind::damaged) {
            reading.damage = slotText(extent, found.place) + " is damaged";
        }
        break;
    }
    file_->checkWhole();
    return reading;
}

// --- walking ------------------------------------------------------------------------------------

void StatusView::readSegment(Directory::Position& position, std::vector<Membership>& memberships,
                             std::vector<std::string>& damage) {
    std::string problem;
    for (int tries = 0; refresh(problem); ++tries) {
        const ReadSegment read = segment(position);
        std::vector<std::string> found;
        memberships.clear();
        const GuardReading before = GuardReading::of(*read.guard);
        const std::uint32_t sum = readGroups(read, memberships, found);
        const bool isUnchanged = GuardReading::of(*read.guard) == before;
        file_->checkWhole();
        if (!isCurrent() && tries < mostTries) continue;
        if (!isUnchanged) dropRepeated(memberships);
        if (isUnchanged && found.empty() && !before.allows(sum)) {
            found.push_back(segmentText(read) + notAsWritten);
        }
        damage.insert(damage.end(), found.begin(), found.end());
        position = read.step.next;
        return;
    }
    memberships.clear();
    position.clear();
    if (!problem.empty()) damage.push_back(std::move(problem));
}

std::uint32_t StatusView::readGroups(const ReadSegment& segment,
                                     std::vector<Membership>& memberships,
                                     std::vector<std::string>& damage) const {
    const Directory::Extent extent = segment.step.spot.entry.extent();
    std::uint32_t sum = segment.view.salt();
    for (std::uint32_t group = 0; group < segment.view.groups(); ++group) {
        const GroupTags tags = segment.view.tags(group);
        if (!tags.isSound()) {
            damage.push_back(slotText(extent, group * groupPlaces) + " has a damaged tag");
        }
        for (auto used = tags.used(); used.any(); used.dropFirst()) {
            const std::uint32_t place = group * groupPlaces + used.first();
            const FoundRecord found = readRecord(segment.view, place, checksum_);
            if (found.kind == FoundRecord::Kind::live) {
                append(memberships, found.key, found.state.mode());
                sum += Guard::shareOf(found.state, tags.tag(used.first()));
            } else if (found.kind == FoundRecord::Kind::damaged) {
                damage.push_back(slotText(extent, place) + " is damaged");
            }
        }
    }
    return sum;
}

// --- checking -----------------------------------------------------------------------------------

std::vector<Directory::Extent> StatusView::extents() const {
    if (!root_) return {};
    std::vector<Directory::Extent> all{{static_cast<PageNumber>(*root_), directory_.pages()}};
    for (Directory::Position at{0}; !at.empty();) {
        Directory::Step step = directory_.step(at);
        all.push_back(step.spot.entry.extent());
        at = std::move(step.next);
    }
    return all;
}

std::vector<std::string> StatusView::faults() {
    std::vector<std::string> all;
    std::string problem;
    Directory::Position position{0};
    for (int tries = 0; !position.empty() && refresh(problem); ++tries) {
        const ReadSegment read = segment(position);
        std::vector<std::string> some;
        checkSegment(read, some);
        if (!isCurrent() && tries < mostTries) continue;
        tries = 0;
        all.insert(all.end(), some.begin(), some.end());
        position = read.step.next;
    }
    if (!problem.empty()) all.push_back(std::move(problem));
    return all;
}

void StatusView::checkSegment(const ReadSegment& segment, std::vector<std::string>& faults) const {
    const Directory::Extent extent = segment.step.spot.entry.extent();
    for (std::uint32_t number = 0; number < segment.view.words(); ++number) {
        const std::uint32_t first = number * wordPlaces;
        if (!segment.view.isSoundWord(number)) {
            faults.push_back(slotText(extent, first) + " has a damaged tag");
            continue;
        }
        for (std::uint32_t place = first; place < first + wordPlaces; ++place)
            checkPlace(segment, place, faults);
    }
    if (faults.empty() && isGuardBroken(segment)) {
        faults.push_back(segmentText(segment) + notAsWritten);
    }
}

void StatusView::checkPlace(const ReadSegment& segment, std::uint32_t place,
                            std::vector<std::string>& faults) const {
    for (int tries = 0; tries < mostTries; ++tries) {
        const GuardReading before = GuardReading::of(*segment.guard);
        std::string fault = placeFault(segment, place);
        if (fault.empty()) return;
        // A fault that is seen while something changes may be the change.
        if (GuardReading::of(*segment.guard) != before) continue;
        faults.push_back(std::move(fault));
        return;
    }
}

std::string StatusView::placeFault(const ReadSegment& segment, std::uint32_t place) const {
    const Directory::Entry entry = segment.step.spot.entry;
    const std::uint8_t tag = segment.view.tag(place);
    if (tag == emptyTag || tag == removedTag) return {};
    const FoundRecord found = readRecord(segment.view, place, checksum_);
    switch (found.kind) {
        case FoundRecord::Kind::none:
            return slotText(entry.extent(), place) + " has a tag but no record";
        case FoundRecord::Kind::damaged:
            return slotText(entry.extent(), place) + " is damaged";
        case FoundRecord::Kind::live:
            break;
    }
    const Directory::Spot spot =
        directory_.locate(found.key, Storage::hashOf(found.key, header_.hashSeed));
    const SearchResult again = searchSegment(segment.view, found.key, spot.hash, checksum_);
    if (spot.entry == entry && again.kind == SearchResult::Kind::live && again.place == place) {
        return {};
    }
    return slotText(entry.extent(), place) + " cannot be found by its key";
}

bool StatusView::isGuardBroken(const ReadSegment& segment) const {
    constexpr int mostSums = 50;
    std::vector<Membership> memberships;
    std::vector<std::string> damage;
    for (int tries = 0; tries < mostSums; ++tries) {
        memberships.clear();
        const GuardReading before = GuardReading::of(*segment.guard);
        const std::uint32_t sum = readGroups(segment, memberships, damage);
        if (GuardReading::of(*segment.guard) == before) return !before.allows(sum);
    }
    return false;
}

}  // namespace Routing::Gmp::Tessel::Storage
