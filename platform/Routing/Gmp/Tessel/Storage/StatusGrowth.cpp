// How the segments of a status get room.
#include <algorithm>
#include <array>
#include <system_error>
#include <utility>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/StatusStore.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// With fewer live records than this, of 8, a full segment is only rid of removed ones.
constexpr std::uint32_t sparseEighths = 5;
/// A small segment that gets room gets so much: with twice as much, records would move
/// three times as often.
constexpr PageNumber growthFactor = 4;
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

/// Fills a segment that nobody refers to yet, whatever its pages held before. Its tags are kept
/// aside until all are known, since each word of them has a checksum.
class Filling {
  public:
    explicit Filling(const Segment& segment)
        : segment_(segment), tags_(segment.places(), emptyTag) {}

    /// There must be a free place.
    void add(const KeyWords& key, std::uint64_t hash, RecordState state) {
        std::uint32_t place = segment_.homePlace(hash);
        if (tags_[place] != emptyTag) place = freePlaceFrom(segment_.homeGroup(hash) * groupPlaces);
        const std::uint8_t tag = tagOf(hash);
        tags_[place] = tag;
        Record& record = segment_.record(place);
        storeKey(record, key);
        record.state.store(state.word(), std::memory_order_release);
        shares_ += Guard::shareOf(state, tag);
        ++live_;
    }
    std::uint32_t live() const { return live_; }
    /// What the records add to their segment's sum.
    std::uint32_t shares() const { return shares_; }
    /// Writes what belongs to all of them. To be called last.
    void finish() const {
        for (std::uint32_t place = 0; place < segment_.places(); ++place) {
            if (tags_[place] != emptyTag) continue;
            segment_.record(place).state.store(0, std::memory_order_release);
        }
        for (std::uint32_t number = 0; number < segment_.words(); ++number) {
            std::uint64_t word = 0;
            for (std::uint32_t i = 0; i < wordPlaces; ++i)
                word |= std::uint64_t{tags_[number * wordPlaces + i]} << i * 8;
            segment_.tagWordIs(number, word);
        }
    }

  private:
    std::uint32_t freePlaceFrom(std::uint32_t place) const {
        while (tags_[place] != emptyTag)
            place = place + 1 == segment_.places() ? 0 : place + 1;
        return place;
    }

    const Segment segment_;
    std::vector<std::uint8_t> tags_;  ///< by place
    std::uint32_t live_ = 0;
    std::uint32_t shares_ = 0;
};

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
        plan.pages = std::min(plan.pages * growthFactor, maxSegmentPages);
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
    const std::uint64_t before = std::exchange(root_, root);
    guardsAreInDirectory();
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
    std::array<Filling, 2> filling{Filling(low.view), Filling(high.view)};
    // Copies, which the stores below cannot change as far as the compiler knows.
    const Segment old = from.view;
    const HashSeed seed = table_.hashSeed();
    for (std::uint32_t group = 0; group < old.groups(); ++group) {
        for (auto used = old.tags(group).used(); used.any(); used.dropFirst()) {
            const FoundRecord found =
                readRecord(old, group * groupPlaces + used.first(), checksum_);
            if (found.kind != FoundRecord::Kind::live) continue;
            const std::uint64_t hash = plan.directory.hashIn(plan.node, found.key, seed);
            // An index, as no processor could foresee which way a branch goes.
            const bool isHigh = plan.boundary != 0 && hash >= plan.boundary;
            filling[static_cast<std::size_t>(isHigh)].add(found.key, hash, found.state);
        }
    }
    for (const bool isHigh : {false, true}) {
        const Filling& all = filling[static_cast<std::size_t>(isHigh)];
        all.finish();
        OpenSegment& to = isHigh ? high : low;
        to.isKnown = true;
        to.live = all.live();
        to.used = all.live();
        to.guardIs(Guard::empty(to.view.salt()).after(0, all.shares()));
    }
    return filling[0].shares() + filling[1].shares() + old.salt() == from.guard.current.sum();
}

}  // namespace Routing::Gmp::Tessel::Storage
