// How the segments of a status get room.
#include <algorithm>
#include <system_error>
#include <utility>

#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/StatusStore.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// With fewer live records than this, of 8, a full segment is only rid of removed ones.
constexpr std::uint32_t sparseEighths = 5;
/// A segment that is split has at least this many directory entries, so that the two halves can be
/// unequal. If all halves were equal, all segments would fill up, and split, at the same time, and
/// right after that half of all memory would be empty.
constexpr std::uint32_t leastSplitRun = 8;
/// How many entries a node may have for each segment. Only keys that somebody chose so that their
/// hashes are neighbours need more.
constexpr std::size_t mostEntriesASegment = 64;
/// A split that leaves one side less than this part of all records divides nothing, and only chosen
/// keys come to that.
constexpr std::uint32_t leastShare = 16;

/// Where a run of directory entries is cut: up to an eighth of it off the middle, to and fro.
std::uint32_t cut(Directory::Run run) {
    const std::uint32_t length = run.end - run.first;
    const std::uint32_t choices = length / 8 * 2 + 1;
    const auto choice =
        static_cast<std::uint32_t>(foldedProduct(run.first + 1, 0x9e3779b97f4a7c15) % choices);
    return run.first + length / 2 - length / 8 + choice;
}

/// Puts a record into a segment that nobody refers to yet. There must be a free place.
void putRecord(const Segment& segment, const KeyWords& key, std::uint64_t hash,
               std::uint64_t state) {
    std::uint32_t place = segment.homePlace(hash);
    std::uint32_t group = place / groupPlaces;
    auto unused = segment.tags(group).unused();
    if (!unused.has(place % groupPlaces)) {
        while (!unused.any()) {
            group = segment.nextGroup(group);
            unused = segment.tags(group).unused();
        }
        place = group * groupPlaces + unused.first();
    }
    storeKey(segment.record(place), key);
    segment.record(place).state.store(state, std::memory_order_release);
    segment.tagIs(place, tagOf(hash));
}

}  // namespace

/// The segments that take a full one's place, and the directory with them.
struct StatusStore::Plan {
    std::uint32_t old;           ///< the number of the full segment; the lower new one gets it
    std::uint32_t node;          ///< whose hash the new segments are for
    std::uint64_t boundary = 0;  ///< the first hash that goes to the higher one; 0: there is none
    PageNumber pages;            ///< the length of each new segment
    Directory directory;
    Directory::Run low{0, 0};
    Directory::Run high{0, 0};
};

StatusStore::Plan StatusStore::plan(const Directory::Spot& spot) const {
    const std::uint32_t number = spot.entry.segment();
    const OpenSegment& full = segments_[number];
    Plan plan{number, spot.node, 0, full.extent.pages, directory_};
    Directory::Node& node = plan.directory.nodes()[spot.node];
    plan.low = node.run(node.index(spot.hash));
    if (full.live < full.view.places() / 8 * sparseEighths) return plan;
    if (full.extent.pages < maxSegmentPages) {
        plan.pages *= 2;
        return plan;
    }
    while (plan.low.end - plan.low.first < leastSplitRun) {
        if (std::size_t{node.size()} * 2 > mostEntriesASegment * (segments_.size() + 1)) {
            return planBelow(spot);
        }
        node.doubled();
        plan.low = {plan.low.first * 2, plan.low.end * 2};
    }
    const std::uint32_t boundary = cut(plan.low);
    plan.high = {boundary, plan.low.end};
    plan.low.end = boundary;
    plan.boundary = node.firstHash(boundary);
    return plan;
}

/// A new node in the place of a segment whose keys were chosen so that they collide.
StatusStore::Plan StatusStore::planBelow(const Directory::Spot& spot) const {
    const std::uint32_t number = spot.entry.segment();
    Plan plan{number, 0, 0, segments_[number].extent.pages, directory_};
    if (directory_.levelOf(spot.node) == maxDirectoryLevels) {
        throw std::system_error(std::make_error_code(std::errc::value_too_large),
                                statusText() + " holds too many memberships that collide");
    }
    plan.node = plan.directory.nodeAdd({randomWord(), randomWord()}, {});
    plan.low = {0, 1};
    Directory::Node& above = plan.directory.nodes()[spot.node];
    above.runIs(above.run(above.index(spot.hash)), Directory::Entry::ofNode(plan.node));
    return plan;
}

void StatusStore::makeRoom(const Directory::Spot& spot, bool isCrowded) {
    try {
        if (!isCrowded) {
            Plan room = plan(spot);
            if (carryOut(room)) return;
        }
        Plan below = planBelow(spot);
        carryOut(below);
    } catch (const std::system_error&) {
        // While there is any free place left, a table that cannot grow still works.
        const OpenSegment& segment = segments_[spot.entry.segment()];
        if (segment.live == segment.view.places()) throw;
    }
}

bool StatusStore::carryOut(Plan& plan) {
    const bool splits = plan.boundary != 0;
    TakenPages lowPages(table_, plan.pages);
    TakenPages highPages(table_, splits ? plan.pages : 0);
    segments_.reserve(segments_.size() + 1);
    OpenSegment low = openSegment({lowPages.first(), plan.pages}, plan.node);
    OpenSegment high;
    if (splits) high = openSegment({highPages.first(), plan.pages}, plan.node);
    OpenSegment& from = known(segments_[plan.old]);
    if (!move(from, plan, low, high)) {
        // Something in it was damaged: what is left of it is moved.
        audit(from);
        static_cast<void>(move(from, plan, low, high));
    }
    if (splits && std::min(low.live, high.live) < (low.live + high.live) / leastShare) return false;

    Directory::Node& node = plan.directory.nodes()[plan.node];
    node.runIs(plan.low, {low.extent, plan.old});
    if (splits) node.runIs(plan.high, {high.extent, plan.directory.segmentAdd()});
    TakenPages directoryPages(table_, PageAllocator::runLength(plan.directory.pages()));
    const std::uint64_t root =
        plan.directory.store(table_.file(), directoryPages.first(), identity_.id);

    // Nothing fails from here on. Readers that are still at the old pages find out by the root,
    // before they trust what they read there.
    const Directory::Extent old = from.extent;
    const Directory::Extent oldDirectory{directoryPage(),
                                         PageAllocator::runLength(directory_.pages())};
    from = low;
    if (splits) segments_.push_back(high);
    directory_ = std::move(plan.directory);
    guardsOffset_ = directory_.guardsOffset();
    const std::uint64_t before = std::exchange(root_, root);
    storeGuards();
    table_.rootChanged(*this, before);
    table_.pagesGive(old.page, old.pages);
    table_.pagesGive(oldDirectory.page, oldDirectory.pages);
    directoryPages.keep();
    lowPages.keep();
    highPages.keep();
    return true;
}

void StatusStore::storeGuards() const {
    for (const OpenSegment& segment : segments_) {
        GuardPair& pair = guardPair(segment);
        pair.next.store(segment.guard.next.word(), std::memory_order_release);
        pair.current.store(segment.guard.current.word(), std::memory_order_release);
    }
}

bool StatusStore::move(const OpenSegment& from, const Plan& plan, OpenSegment& low,
                       OpenSegment& high) const {
    for (OpenSegment* const to : {&low, &high}) {
        if (to->extent.pages == 0) continue;
        clearSegment(to->view);
        to->isKnown = true;
        to->live = 0;
        to->guardIs(Guard::empty(to->view.salt()));
    }
    const HashSeed& seed = table_.hashSeed();
    std::uint32_t sum = from.view.salt();
    for (std::uint32_t group = 0; group < from.view.groups(); ++group) {
        for (auto used = from.view.tags(group).used(); used.any(); used.dropFirst()) {
            const FoundRecord found =
                readRecord(from.view, group * groupPlaces + used.first(), checksum_);
            if (found.kind != FoundRecord::Kind::live) continue;
            const std::uint64_t hash = plan.directory.hashIn(plan.node, found.key, seed);
            OpenSegment& to = plan.boundary != 0 && hash >= plan.boundary ? high : low;
            putRecord(to.view, found.key, hash, found.state.word());
            const std::uint32_t share = Guard::shareOf(found.state);
            to.guardIs(to.guard.current.after(0, share));
            sum += share;
            ++to.live;
        }
    }
    low.used = low.live;
    high.used = high.live;
    return sum == from.guard.current.sum();
}

}  // namespace Routing::Gmp::Tessel::Storage
