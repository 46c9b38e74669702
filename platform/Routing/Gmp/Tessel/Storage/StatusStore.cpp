#include "Routing/Gmp/Tessel/Storage/StatusStore.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"
#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// How many places of a segment may be in use before it gets room, of 8.
constexpr std::uint32_t fullEighths = 7;
/// With fewer live records than this, of 8, a full segment is only rid of removed ones.
constexpr std::uint32_t sparseEighths = 5;
/// A segment that is split has at least this many directory entries, so that the two halves can be
/// unequal. If all halves were equal, all segments would fill up, and split, at the same time, and
/// right after that half of all memory would be empty.
constexpr std::uint32_t leastSplitRun = 8;

std::uint32_t eighthsOf(std::uint32_t places, std::uint32_t eighths) {
    return places / 8 * eighths;
}

/// Where a run of directory entries is cut: up to an eighth of it off the middle, to and fro.
std::uint32_t cut(Directory::Run run) {
    const std::uint32_t length = run.end - run.first;
    const std::uint32_t choices = length / 8 * 2 + 1;
    const auto choice =
        static_cast<std::uint32_t>(foldedProduct(run.first + 1, 0x9e3779b97f4a7c15) % choices);
    return run.first + length / 2 - length / 8 + choice;
}

/// Where a record of that hash is put. There must be a free place.
std::uint32_t freePlace(const Segment& segment, std::uint64_t hash) {
    const std::uint32_t home = segment.homePlace(hash);
    std::uint32_t group = home / groupPlaces;
    if (segment.tags(group).unused().has(home % groupPlaces)) return home;
    while (!segment.tags(group).unused().any())
        group = segment.nextGroup(group);
    return group * groupPlaces + segment.tags(group).unused().first();
}

void put(const Segment& segment, const KeyWords& key, std::uint64_t hash, std::uint64_t state) {
    const std::uint32_t place = freePlace(segment, hash);
    storeKey(segment.record(place), key);
    segment.record(place).state.store(state, std::memory_order_release);
    segment.tagIs(place, tagOf(hash));
}

}  // namespace

StatusStore::StatusStore(Table& table, std::uint16_t place) : table_(table), place_(place) {
    const auto identity = StatusIdentity::read(entry());
    if (!identity || identity->id != entry().life.load(std::memory_order_relaxed)) {
        throw Rix::CorruptionError(table_.file().path() + ": entry " + std::to_string(place) +
                                   " of the list of statuses is damaged");
    }
    key_ = identity->key;
    id_ = identity->id;
    checksum_ = statusChecksum(id_);
    const std::uint64_t root = entry().root.load(std::memory_order_relaxed);
    const std::string problem = directory_.load(table_.file(), table_.file().pages(), root, id_);
    if (!problem.empty()) {
        throw Rix::CorruptionError(table_.file().path() + ": status '" + key_.name() +
                                   "': " + problem);
    }
    directoryPage_ = static_cast<PageNumber>(root);
    index_.resize(directory_.size());
    for (std::uint32_t i = 0; i < directory_.size();) {
        const Directory::Run run = directory_.run(i);
        std::fill(index_.begin() + run.first, index_.begin() + run.end,
                  static_cast<std::uint32_t>(segments_.size()));
        segments_.push_back(openSegment(directory_.at(i)));
        i = run.end;
    }
}

StatusStore::StatusStore(Table& table, std::uint16_t place, const VrfApp& key, std::uint64_t id)
    : table_(table), place_(place), key_(key), id_(id), checksum_(statusChecksum(id)) {
    TakenPages segmentPage(table_, 1);
    TakenPages directoryPage(table_, 1);
    directory_ = Directory({segmentPage.first(), 1});
    segments_.push_back(openSegment(directory_.at(0)));
    index_ = {0};
    clearSegment(segments_.back().view);
    StatusIdentity{key_, id_}.write(entry());
    entry().root.store(directory_.store(table_.file(), directoryPage.first(), id_),
                       std::memory_order_release);
    segmentPage.keep();
    directoryPage_ = directoryPage.keep();
}

std::vector<Directory::Extent> StatusStore::extents() const {
    std::vector<Directory::Extent> all{
        {directoryPage_, PageAllocator::runLength(directory_.pages())}};
    for (const OpenSegment& segment : segments_)
        all.push_back(segment.extent);
    return all;
}

// --- memberships --------------------------------------------------------------------------------

std::optional<FilterMode> StatusStore::filterMode(const RouteIntfKey& key) const {
    const KeyWords words = keyWords(key);
    const std::uint64_t hash = hashOf(words, table_.hashSeed());
    const SearchResult found = search(words, hash);
    if (found.kind == SearchResult::Kind::live) return found.state.mode();
    if (found.kind == SearchResult::Kind::none) return std::nullopt;
    throw Rix::CorruptionError(placeText(segmentOf(hash), found.place) + " is damaged");
}

SearchResult StatusStore::soundSearch(const KeyWords& key, std::uint64_t hash) {
    SearchResult found = search(key, hash);
    while (found.kind == SearchResult::Kind::damaged) {
        repairGroup(segmentOf(hash), found.place / groupPlaces);
        found = search(key, hash);
    }
    return found;
}

void StatusStore::membershipIs(const Membership& membership) {
    if (membership.key().intf.kind() != Ondel::IntfId::Kind::vlan) {
        throw Rix::RangeError("Routing::Gmp::Tessel::Membership::intf '" +
                              membership.key().intf.shortName() +
                              "' is no VLAN interface, not allowed");
    }
    const KeyWords key = keyWords(membership.key());
    const std::uint64_t hash = hashOf(key, table_.hashSeed());
    const FilterMode mode = membership.filterMode();
    const SearchResult found = soundSearch(key, hash);
    if (found.kind == SearchResult::Kind::live) {
        if (found.state.mode() == mode) return;
        const RecordState after = RecordState::live(key, mode, found.state, checksum_);
        segmentOf(hash)
            .view.record(found.place)
            .state.store(after.word(), std::memory_order_release);
        announce(ChangeKind::overwritten, key, found.state.mode(), mode);
        return;
    }
    const OpenSegment& segment = counted(segmentOf(hash));
    if (segment.used >= eighthsOf(segment.view.places(), fullEighths)) makeRoom(hash);
    insert(segmentOf(hash), key, hash, mode);
}

void StatusStore::insert(OpenSegment& segment, const KeyWords& key, std::uint64_t hash,
                         FilterMode mode) {
    const std::uint32_t place = freePlace(segment.view, hash);
    Record& record = segment.view.record(place);
    RecordState before(record.state.load(std::memory_order_relaxed));
    if (before.kind() == RecordState::Kind::live) {
        // A writer was killed right before it marked the record, or right before it tagged it.
        before = RecordState::removed(before, checksum_);
        record.state.store(before.word(), std::memory_order_relaxed);
    }
    storeKey(record, key);
    record.state.store(RecordState::live(key, mode, before, checksum_).word(),
                       std::memory_order_release);
    if (segment.view.tag(place) == emptyTag) ++segment.used;
    segment.view.tagIs(place, tagOf(hash));
    ++segment.live;
    announce(ChangeKind::inserted, key, FilterMode::exclude, mode);
}

void StatusStore::membershipDel(const RouteIntfKey& key) {
    const KeyWords words = keyWords(key);
    const std::uint64_t hash = hashOf(words, table_.hashSeed());
    const SearchResult found = soundSearch(words, hash);
    if (found.kind != SearchResult::Kind::live) return;
    clear(counted(segmentOf(hash)), found.place, found.state);
    announce(ChangeKind::removed, words, found.state.mode(), FilterMode::exclude);
}

void StatusStore::clear(OpenSegment& segment, std::uint32_t place, RecordState state) {
    // No search goes on behind a group that has an empty tag, so one more may be empty.
    const bool last = segment.view.tags(place / groupPlaces).empty().any();
    segment.view.tagIs(place, last ? emptyTag : removedTag);
    segment.view.record(place).state.store(RecordState::removed(state, checksum_).word(),
                                           std::memory_order_release);
    if (last) --segment.used;
    --segment.live;
}

void StatusStore::announce(ChangeKind kind, const KeyWords& key, FilterMode before,
                           FilterMode after) {
    table_.changed({kind, id_, place_, key, before, after});
    if (!table_.isObserved()) return;
    MembershipChange change{key_, keyFromWords(key), before, after};
    if (kind == ChangeKind::inserted) change.before.reset();
    if (kind == ChangeKind::removed) change.after.reset();
    table_.observe(change);
}

std::size_t StatusStore::count() {
    std::size_t all = 0;
    for (OpenSegment& segment : segments_)
        all += counted(segment).live;
    return all;
}

void StatusStore::memberships(std::vector<Membership>& into) {
    into.reserve(into.size() + count());
    std::uint64_t hash = 0;
    do {
        hash = segmentMemberships(hash, into);
    } while (hash != 0);
}

std::uint64_t StatusStore::segmentMemberships(std::uint64_t firstHash,
                                              std::vector<Membership>& into) {
    const std::uint32_t index = directory_.index(firstHash);
    OpenSegment& segment = segments_[index_[index]];
    into.reserve(into.size() + counted(segment).live);
    for (std::uint32_t group = 0; group < segment.view.groups(); ++group) {
        if (segment.view.tags(group).damaged().any()) repairGroup(segment, group);
        auto places = segment.view.tags(group).used();
        for (; places.any(); places.dropFirst()) {
            const std::uint32_t place = group * groupPlaces + places.first();
            const FoundRecord found = readRecord(segment.view, place, checksum_);
            if (found.kind == FoundRecord::Kind::live) {
                append(into, found.key, found.state.mode());
            } else if (found.kind == FoundRecord::Kind::damaged) {
                lose(segment, place);
            }
        }
    }
    return directory_.firstHash(directory_.run(index).end);
}

// --- damage -------------------------------------------------------------------------------------

std::string StatusStore::placeText(const OpenSegment& segment, std::uint32_t place) const {
    return table_.file().path() + ": status '" + key_.name() + "': slot " + std::to_string(place) +
           " of the segment at page " + std::to_string(segment.extent.page);
}

void StatusStore::repairGroup(OpenSegment& segment, std::uint32_t group) {
    for (auto bad = segment.view.tags(group).damaged(); bad.any(); bad.dropFirst()) {
        repairTag(segment, group * groupPlaces + bad.first());
    }
    for (auto used = segment.view.tags(group).used(); used.any(); used.dropFirst()) {
        const std::uint32_t place = group * groupPlaces + used.first();
        if (readRecord(segment.view, place, checksum_).kind == FoundRecord::Kind::damaged) {
            lose(segment, place);
        }
    }
}

void StatusStore::repairTag(OpenSegment& segment, std::uint32_t place) {
    const Record& record = segment.view.record(place);
    const KeyWords key = loadKey(record);
    const RecordState state(record.state.load(std::memory_order_relaxed));
    if (state.isLiveOf(key, checksum_)) {
        segment.view.tagIs(place, tagOf(hashOf(key, table_.hashSeed())));
    } else if (state.isFree(checksum_)) {
        segment.view.tagIs(place, removedTag);
    } else {
        return lose(segment, place);
    }
    recount(segment);
    table_.reportCorruption(placeText(segment, place) + " had a damaged tag");
}

void StatusStore::lose(OpenSegment& segment, std::uint32_t place) {
    Record& record = segment.view.record(place);
    segment.view.tagIs(place, removedTag);
    record.state.store(RecordState::removed(RecordState(0), checksum_).word(),
                       std::memory_order_release);
    recount(segment);
    table_.changed({ChangeKind::lost, id_, place_, {}, {}, {}});
    table_.reportCorruption(placeText(segment, place) + " is damaged; its membership is lost");
}

void StatusStore::recount(OpenSegment& segment) const {
    segment.isCounted = true;
    segment.live = 0;
    segment.used = 0;
    for (std::uint32_t group = 0; group < segment.view.groups(); ++group) {
        const GroupTags tags = segment.view.tags(group);
        segment.live += tags.used().count();
        segment.used += groupPlaces - tags.empty().count();
        for (auto damaged = tags.damaged(); damaged.any(); damaged.dropFirst()) {
            const Record& record = segment.view.record(group * groupPlaces + damaged.first());
            const RecordState state(record.state.load(std::memory_order_relaxed));
            if (state.isFree(checksum_)) --segment.live;
        }
    }
}

// --- growth -------------------------------------------------------------------------------------

StatusStore::OpenSegment StatusStore::openSegment(Directory::Extent extent) const {
    return {extent, Segment(table_.file().page(extent.page), segmentGroups(extent.pages))};
}

/// How a full segment gets room: the segments that take its place, and the directory with them.
struct StatusStore::Plan {
    std::uint32_t old;       ///< the full segment, as a place in segments_
    std::uint64_t boundary;  ///< the first hash that goes to the higher segment; 0 if there is none
    PageNumber pages;        ///< the length of each new segment
    Directory directory;
    Directory::Run low;
    Directory::Run high;  ///< empty if there is one new segment only
    std::vector<std::uint32_t> index;
};

StatusStore::Plan StatusStore::plan(std::uint64_t hash) const {
    const std::uint32_t at = directory_.index(hash);
    const OpenSegment& full = segments_[index_[at]];
    const Directory::Run run = directory_.run(at);
    Plan plan{index_[at], 0, full.extent.pages, directory_, run, {run.end, run.end}, index_};
    if (full.live < eighthsOf(full.view.places(), sparseEighths)) return plan;
    if (full.extent.pages < maxSegmentPages) {
        plan.pages *= 2;
        return plan;
    }
    while (plan.low.end - plan.low.first < leastSplitRun) {
        if (plan.directory.depth() == maxDirectoryDepth) {
            throw std::system_error(
                std::make_error_code(std::errc::value_too_large),
                table_.file().path() + ": status '" + key_.name() + "' holds too many memberships");
        }
        plan.directory.doubled();
        std::vector<std::uint32_t> twice;
        twice.reserve(plan.index.size() * 2);
        for (const std::uint32_t segment : plan.index)
            twice.insert(twice.end(), 2, segment);
        plan.index = std::move(twice);
        plan.low = {plan.low.first * 2, plan.low.end * 2};
    }
    const std::uint32_t boundary = cut(plan.low);
    plan.high = {boundary, plan.low.end};
    plan.low.end = boundary;
    plan.boundary = plan.directory.firstHash(boundary);
    return plan;
}

void StatusStore::makeRoom(std::uint64_t hash) {
    try {
        Plan room = plan(hash);
        carryOut(room);
    } catch (const std::system_error&) {
        // While there is any free place left, a table that cannot grow still works.
        const OpenSegment& segment = segmentOf(hash);
        if (segment.live == segment.view.places()) throw;
    }
}

void StatusStore::carryOut(Plan& plan) {
    const bool splits = plan.boundary != 0;
    TakenPages lowPages(table_, plan.pages);
    TakenPages highPages(table_, splits ? plan.pages : 0);
    TakenPages directoryPages(table_, PageAllocator::runLength(plan.directory.pages()));
    segments_.reserve(segments_.size() + 1);
    OpenSegment low = openSegment({lowPages.first(), plan.pages});
    OpenSegment high = splits ? openSegment({highPages.first(), plan.pages}) : low;

    clearSegment(low.view);
    if (splits) clearSegment(high.view);
    move(segments_[plan.old], plan.boundary, low.view, high.view);
    plan.directory.runIs(plan.low, low.extent);
    plan.directory.runIs(plan.high, high.extent);
    entry().root.store(plan.directory.store(table_.file(), directoryPages.first(), id_),
                       std::memory_order_release);

    // Readers that are still at the old pages find out by the root, before they trust what they
    // read there.
    OpenSegment& old = segments_[plan.old];
    table_.pagesGive(old.extent.page, old.extent.pages);
    table_.pagesGive(directoryPage_, PageAllocator::runLength(directory_.pages()));
    directoryPage_ = directoryPages.keep();
    directory_ = std::move(plan.directory);
    index_ = std::move(plan.index);
    lowPages.keep();
    recount(low);
    old = low;
    if (!splits) return;
    highPages.keep();
    recount(high);
    std::fill(index_.begin() + plan.high.first, index_.begin() + plan.high.end,
              static_cast<std::uint32_t>(segments_.size()));
    segments_.push_back(high);
}

void StatusStore::move(OpenSegment& from, std::uint64_t boundary, const Segment& low,
                       const Segment& high) {
    for (std::uint32_t group = 0; group < from.view.groups(); ++group) {
        if (from.view.tags(group).damaged().any()) repairGroup(from, group);
        for (auto used = from.view.tags(group).used(); used.any(); used.dropFirst()) {
            const std::uint32_t place = group * groupPlaces + used.first();
            const FoundRecord found = readRecord(from.view, place, checksum_);
            if (found.kind == FoundRecord::Kind::live) {
                const std::uint64_t hash = hashOf(found.key, table_.hashSeed());
                const bool isHigh = boundary != 0 && hash >= boundary;
                put(isHigh ? high : low, found.key, hash, found.state.word());
            } else if (found.kind == FoundRecord::Kind::damaged) {
                lose(from, place);
            }
        }
    }
}

}  // namespace Routing::Gmp::Tessel::Storage
