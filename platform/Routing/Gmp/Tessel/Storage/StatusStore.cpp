#include "Routing/Gmp/Tessel/Storage/StatusStore.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// How many places of a segment may be in use before it gets room, of 8.
constexpr std::uint32_t fullEighths = 7;
/// How far from its home a record may be put, in groups.
constexpr std::uint32_t crowdedGroups = 32;
/// In a segment with fewer places in use than this, of 8, only keys that somebody chose so that
/// they collide come that far. In a fuller one it happens by chance, about once in sixty segments.
constexpr std::uint32_t chosenEighths = 6;

/// Where a record of that hash is put; nothing if there is no free place so near to its home.
std::optional<std::uint32_t> freePlace(const Segment segment, std::uint64_t hash,
                                       std::uint32_t mostGroups) {
    const std::uint32_t home = segment.homePlace(hash);
    std::uint32_t group = segment.homeGroup(hash);
    for (std::uint32_t visited = 0; visited < std::min(mostGroups, segment.groups()); ++visited) {
        const auto unused = segment.tags(group).unused();
        const std::uint32_t first = group * groupPlaces;
        if (unused.any())
            return visited == 0 && unused.has(home - first) ? home : first + unused.first();
        group = segment.nextGroup(group);
    }
    return std::nullopt;
}

}  // namespace

StatusStore::StatusStore(Table& table, std::uint16_t place, const StatusIdentity& identity,
                         std::uint64_t root)
    : table_(table),
      place_(place),
      identity_(identity),
      checksum_(statusChecksum(identity.id)),
      root_(root) {
    const std::string problem = directory_.load(table_.file(), table_.dimensions().firstPages(),
                                                table_.file().pages(), root, identity_.id);
    if (!problem.empty()) throw Rix::CorruptionError(statusText() + ": " + problem);
    guardsAreInDirectory();
    segments_.resize(directory_.segments());
    for (std::uint32_t n = 0; n < directory_.nodes().size(); ++n) {
        for (const Directory::Entry entry : directory_.nodes()[n].entries) {
            if (entry.isNode()) continue;
            OpenSegment& segment = segments_[entry.segment()];
            if (segment.extent.pages != 0) continue;
            segment = openSegment(entry.extent(), n);
            segment.guard = GuardReading::of(guardPair(segment));
        }
    }
}

StatusStore::StatusStore(Table& table, std::uint16_t place, const StatusIdentity& identity)
    : table_(table), place_(place), identity_(identity), checksum_(statusChecksum(identity.id)) {
    TakenPages segmentPage(table_, 1);
    TakenPages directoryPage(table_, 1);
    directory_ = Directory({segmentPage.first(), 1});
    segments_.push_back(openSegment({segmentPage.first(), 1}, 0));
    clearSegment(segments_.back().view);
    segments_.back().isKnown = true;
    segments_.back().guardIs(Guard::empty(segments_.back().view.salt()));
    root_ = directory_.store(table_.file(), directoryPage.first(), identity_.id);
    guardsAreInDirectory();
    storeGuards();
    segmentPage.keep();
    directoryPage.keep();
}

StatusStore::OpenSegment StatusStore::openSegment(Directory::Extent extent,
                                                  std::uint32_t node) const {
    OpenSegment segment;
    segment.extent = extent;
    segment.node = node;
    segment.view = Segment(table_.file().page(extent.page), segmentGroups(extent.pages),
                           segmentSalt(checksum_, extent.page));
    return segment;
}

std::vector<Directory::Extent> StatusStore::extents() const {
    std::vector<Directory::Extent> all{
        {directoryPage(), PageAllocator::runLength(directory_.pages())}};
    for (const OpenSegment& segment : segments_)
        all.push_back(segment.extent);
    return all;
}

bool StatusStore::holdsItsSegments() const {
    return std::all_of(segments_.begin(), segments_.end(),
                       [](const OpenSegment& segment) { return segment.view.isSoundWord(0); });
}

bool StatusStore::isNewerThan(const StatusStore& other) const {
    if (id() != other.id()) return numberOf(id()) > numberOf(other.id());
    return directory_.generation() > other.directory_.generation();
}

// --- memberships --------------------------------------------------------------------------------

std::optional<FilterMode> StatusStore::filterMode(const RouteIntfKey& key) const {
    const KeyWords words = keyWords(key);
    const Directory::Spot spot = locate(words);
    const OpenSegment& segment = segments_[spot.entry.segment()];
    const SearchResult found = searchSegment(segment.view, words, spot.hash, checksum_);
    if (found.kind == SearchResult::Kind::live) return found.state.mode();
    if (found.kind == SearchResult::Kind::none) return std::nullopt;
    throw Rix::CorruptionError(placeText(segment, found.place) + " is damaged");
}

StatusStore::Search StatusStore::search(const KeyWords& key) {
    const Directory::Spot spot = locate(key);
    OpenSegment& segment = known(segments_[spot.entry.segment()]);
    SearchResult result = searchSegment(segment.view, key, spot.hash, checksum_);
    if (result.kind == SearchResult::Kind::damaged) {
        audit(segment);
        result = searchSegment(segment.view, key, spot.hash, checksum_);
    }
    return {spot.hash, &segment, result};
}

void StatusStore::membershipIs(const Membership& membership) {
    if (membership.key().intf.kind() != Ondel::IntfId::Kind::vlan) {
        throw Rix::RangeError("Routing::Gmp::Tessel::Membership::intf '" +
                              membership.key().intf.shortName() +
                              "' is no VLAN interface, not allowed");
    }
    const KeyWords key = keyWords(membership.key());
    Search at = search(key);
    if (at.isFound()) {
        overwrite(at, key, membership.filterMode());
    } else {
        insert(at, key, membership.filterMode());
    }
}

void StatusStore::overwrite(const Search& at, const KeyWords& key, FilterMode mode) {
    const RecordState before = at.result.state;
    if (before.mode() == mode) return;
    OpenSegment& segment = *at.segment;
    const RecordState after = RecordState::live(key, mode, before, checksum_);
    const std::uint8_t tag = tagOf(at.hash);
    change(segment, Guard::shareOf(before, tag), Guard::shareOf(after, tag), [&] {
        segment.view.record(at.result.place).state.store(after.word(), std::memory_order_release);
    });
    announce(ChangeKind::overwritten, key, before.mode(), mode);
}

void StatusStore::insert(Search& at, const KeyWords& key, FilterMode mode) {
    const std::uint32_t eighth = at.segment->view.places() / 8;
    const std::uint32_t used = at.segment->used;
    auto place = freePlace(at.segment->view, at.hash, crowdedGroups);
    if (used >= eighth * fullEighths || !place) {
        makeRoom(locate(key), used < eighth * chosenEighths);
        const Directory::Spot spot = locate(key);
        at.hash = spot.hash;
        at.segment = &segments_[spot.entry.segment()];
        place = freePlace(at.segment->view, at.hash, at.segment->view.groups());
    }
    if (!place) {
        throw std::system_error(std::make_error_code(std::errc::not_enough_memory),
                                statusText() + " has no free place");
    }
    put(*at.segment, *place, key, at.hash, mode);
    announce(ChangeKind::inserted, key, FilterMode::exclude, mode);
}

void StatusStore::put(OpenSegment& segment, std::uint32_t place, const KeyWords& key,
                      std::uint64_t hash, FilterMode mode) {
    Record& record = segment.view.record(place);
    const RecordState before(record.state.load(std::memory_order_relaxed));
    const RecordState after = RecordState::live(key, mode, before, checksum_);
    if (segment.view.tag(place) == emptyTag) ++segment.used;
    ++segment.live;
    const std::uint8_t tag = tagOf(hash);
    change(segment, 0, Guard::shareOf(after, tag), [&] {
        storeKey(record, key);
        record.state.store(after.word(), std::memory_order_release);
        segment.view.tagIs(place, tag);
    });
}

void StatusStore::membershipDel(const RouteIntfKey& key) {
    const KeyWords words = keyWords(key);
    Search at = search(words);
    if (!at.isFound()) return;
    if (!at.tags().isSound()) {
        audit(*at.segment);
        at = search(words);
        if (!at.isFound()) return;
    }
    OpenSegment& segment = *at.segment;
    const std::uint32_t place = at.result.place;
    const RecordState state = at.result.state;
    // No search goes on behind a group that has an empty tag, so one more may be empty.
    const bool isLast = at.tags().empty().any();
    change(segment, Guard::shareOf(state, tagOf(at.hash)), 0, [&] {
        segment.view.tagIs(place, isLast ? emptyTag : removedTag);
        segment.view.record(place).state.store(RecordState::removed(state, checksum_).word(),
                                               std::memory_order_release);
    });
    if (isLast) --segment.used;
    --segment.live;
    announce(ChangeKind::removed, words, state.mode(), FilterMode::exclude);
}

void StatusStore::announce(ChangeKind kind, const KeyWords& key, FilterMode before,
                           FilterMode after) {
    table_.changed({kind, identity_.id, place_, key, before, after});
    if (!table_.isObserved()) return;
    MembershipChange change{identity_.key, keyFromWords(key), before, after};
    if (kind == ChangeKind::inserted) change.before.reset();
    if (kind == ChangeKind::removed) change.after.reset();
    table_.observe(change);
}

std::size_t StatusStore::count() {
    std::size_t all = 0;
    for (OpenSegment& segment : segments_)
        all += known(segment).live;
    return all;
}

void StatusStore::memberships(std::vector<Membership>& into) {
    into.reserve(into.size() + count());
    Directory::Position position{0};
    while (!position.empty())
        position = segmentMemberships(position, into);
}

Directory::Position StatusStore::segmentMemberships(const Directory::Position& position,
                                                    std::vector<Membership>& into) {
    if (position == Directory::Position{0}) mendDirectory();
    const Directory::Step step = directory_.step(position);
    OpenSegment& segment = segments_[step.spot.entry.segment()];
    const std::size_t before = into.size();
    into.reserve(before + segment.live);
    const auto keep = [&](const FoundRecord& found) {
        append(into, found.key, found.state.mode());
    };
    if (!read(segment, keep)) {
        into.resize(before);
        audit(segment);
        // Whoever damages it again meanwhile hides memberships until the next walk.
        static_cast<void>(read(segment, keep));
    }
    return step.next;
}

}  // namespace Routing::Gmp::Tessel::Storage
