#include "Routing/Gmp/Tessel/StatusReader.h"

#include <utility>

#include "Routing/Gmp/Tessel/Storage/Segment.h"

namespace Routing::Gmp::Tessel {

using Storage::ConstSegment;
using Storage::Directory;
using Storage::FoundRecord;
using Storage::SearchResult;

StatusReader::StatusReader(std::shared_ptr<const Storage::TableFile> file,
                           const Storage::HashSeed& hashSeed, const Storage::StatusEntry& entry,
                           VrfApp key, std::uint64_t id)
    : file_(std::move(file)),
      hashSeed_(hashSeed),
      entry_(&entry),
      key_(key),
      id_(id),
      checksum_(Storage::statusChecksum(id)) {}

bool StatusReader::isGone() const {
    const bool isGone = entry_->life.load(std::memory_order_acquire) != id_;
    // What was cut off reads as zeros.
    if (isGone) file_->checkWhole();
    return isGone;
}

std::string StatusReader::text(std::string_view problem) const {
    return file_->path() + ": status '" + key_.name() + "': " + std::string(problem);
}

std::string StatusReader::slotText(Directory::Extent extent, std::uint32_t place) const {
    return text("slot " + std::to_string(place) + " of the segment at page " +
                std::to_string(extent.page));
}

bool StatusReader::isCurrent() const {
    return entry_->root.load(std::memory_order_acquire) == root_ && !isGone();
}

bool StatusReader::refresh(std::string& problem) {
    for (;;) {
        if (isGone()) return false;
        const std::uint64_t root = entry_->root.load(std::memory_order_acquire);
        if (root == root_) return true;
        const std::string what = directory_.load(*file_, file_->currentPages(), root, id_);
        if (entry_->root.load(std::memory_order_acquire) != root) continue;
        if (what.empty()) {
            root_ = root;
            continue;
        }
        root_ = 0;
        if (isGone()) return false;
        problem = text(what);
        return false;
    }
}

MembershipReading StatusReader::membership(const RouteIntfKey& key) {
    const Storage::KeyWords words = Storage::keyWords(key);
    const std::uint64_t hash = Storage::hashOf(words, hashSeed_);
    MembershipReading reading;
    while (refresh(reading.damage)) {
        const Directory::Extent extent = directory_.at(directory_.index(hash));
        const ConstSegment segment(file_->page(extent.page), Storage::segmentGroups(extent.pages));
        const SearchResult found = Storage::searchSegment(segment, words, hash, checksum_);
        if (!isCurrent()) continue;
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

bool StatusReader::readSegment(std::uint64_t firstHash, SegmentReading& reading) {
    std::string problem;
    while (refresh(problem)) {
        const std::uint32_t index = directory_.index(firstHash);
        reading.memberships.clear();
        reading.damage.clear();
        readGroups(index, reading);
        reading.nextHash = directory_.firstHash(directory_.run(index).end);
        if (isCurrent()) return true;
    }
    reading = {};
    if (!problem.empty()) reading.damage.push_back(std::move(problem));
    return false;
}

void StatusReader::readGroups(std::uint32_t index, SegmentReading& reading) const {
    const Directory::Extent extent = directory_.at(index);
    const ConstSegment segment(file_->page(extent.page), Storage::segmentGroups(extent.pages));
    for (std::uint32_t group = 0; group < segment.groups(); ++group) {
        const Storage::GroupTags tags = segment.tags(group);
        auto damaged = tags.damaged();
        for (auto used = tags.used(); used.any(); used.dropFirst()) {
            const std::uint32_t place = group * Storage::groupPlaces + used.first();
            const FoundRecord found = Storage::readRecord(segment, place, checksum_);
            if (found.kind == FoundRecord::Kind::live) {
                Storage::append(reading.memberships, found.key, found.state.mode());
            } else if (found.kind == FoundRecord::Kind::damaged) {
                reading.damage.push_back(slotText(extent, place) + " is damaged");
            }
        }
        for (; damaged.any(); damaged.dropFirst()) {
            const std::uint32_t place = group * Storage::groupPlaces + damaged.first();
            reading.damage.push_back(slotText(extent, place) + " has a damaged tag");
        }
    }
}

StatusReader::Walk StatusReader::begin() {
    return Walk(*this);
}

StatusReader::Walk::Walk(StatusReader& status) : status_(&status) {
    fill();
}

void StatusReader::Walk::fill() {
    do {
        next_ = 0;
        const std::uint64_t from = met_.nextHash;
        if (isLast_) {
            met_.memberships.clear();
            return;
        }
        isLast_ = !status_->readSegment(from, met_) || met_.nextHash == 0;
        status_->file_->checkWhole();
        status_->damage_.insert(status_->damage_.end(), met_.damage.begin(), met_.damage.end());
    } while (met_.memberships.empty());
}

// --- checking -----------------------------------------------------------------------------------

std::vector<std::string> StatusReader::faults() {
    std::vector<std::string> all;
    std::string problem;
    std::uint64_t hash = 0;
    while (refresh(problem)) {
        const std::uint32_t index = directory_.index(hash);
        std::vector<std::string> some;
        checkGroups(index, some);
        if (!isCurrent()) continue;
        all.insert(all.end(), some.begin(), some.end());
        hash = directory_.firstHash(directory_.run(index).end);
        if (hash == 0) return all;
    }
    if (!problem.empty()) all.push_back(std::move(problem));
    return all;
}

void StatusReader::checkGroups(std::uint32_t index, std::vector<std::string>& faults) const {
    const Directory::Extent extent = directory_.at(index);
    const Directory::Run run = directory_.run(index);
    const ConstSegment segment(file_->page(extent.page), Storage::segmentGroups(extent.pages));
    for (std::uint32_t place = 0; place < segment.places(); ++place) {
        const std::uint8_t tag = segment.tag(place);
        if (tag == Storage::emptyTag || tag == Storage::removedTag) continue;
        const FoundRecord found = Storage::readRecord(segment, place, checksum_);
        if (found.kind == FoundRecord::Kind::none) {
            if (segment.tag(place) == tag) {
                faults.push_back(slotText(extent, place) + " has a tag but no record");
            }
            continue;
        }
        if (found.kind == FoundRecord::Kind::damaged) {
            faults.push_back(slotText(extent, place) + " is damaged");
            continue;
        }
        const std::uint64_t hash = Storage::hashOf(found.key, hashSeed_);
        const std::uint32_t at = directory_.index(hash);
        const SearchResult again = Storage::searchSegment(segment, found.key, hash, checksum_);
        if (at < run.first || at >= run.end || again.place != place) {
            if (segment.tag(place) == tag) {
                faults.push_back(slotText(extent, place) + " cannot be found by its key");
            }
        }
    }
}

}  // namespace Routing::Gmp::Tessel
