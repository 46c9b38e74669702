// What the writer does about damage in the segments of a status.
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/StatusStore.h"

namespace Routing::Gmp::Tessel::Storage {

/// What an audit of a segment finds.
struct StatusStore::Audit {
    /// A sound record whose tag does not show it: the tag is damaged, or it is from another time,
    /// or the record is what a killed writer left.
    struct Candidate {
        std::uint32_t place;
        std::uint32_t share;
        std::uint8_t tag;
        bool isMembership = true;
    };

    const bool wasKnown;
    const GuardReading expected;
    std::uint32_t live = 0;
    std::uint32_t sum;
    std::vector<std::uint32_t> damagedWords;
    std::vector<Candidate> candidates;
    bool isLossy = false;  ///< whether something damaged was cleared away
    std::vector<std::string> reports;
};

void StatusStore::audit(OpenSegment& segment) {
    Audit audit{segment.isKnown, segment.guard, 0, segment.view.salt(), {}, {}, false, {}};
    for (std::uint32_t number = 0; number < segment.view.words(); ++number)
        auditWord(segment, number, audit);
    settle(segment, audit);
    restore(segment, audit);
    segment.isKnown = true;
    segment.live = audit.live;
    segment.used = 0;
    for (std::uint32_t group = 0; group < segment.view.groups(); ++group)
        segment.used += groupPlaces - segment.view.tags(group).empty().count();
    change(segment, segment.guard.current.sum(), audit.sum, [] {});
    if (audit.isLossy) table_.changed({ChangeKind::lost, identity_.id, place_, {}, {}, {}});
    // Last: whoever is told may throw.
    for (const std::string& report : audit.reports)
        table_.reportCorruption(report);
}

void StatusStore::auditWord(OpenSegment& segment, std::uint32_t number, Audit& audit) const {
    const bool isSound = segment.view.isSoundWord(number);
    const std::uint32_t first = number * wordPlaces;
    if (!isSound) {
        audit.damagedWords.push_back(number);
        audit.reports.push_back(placeText(segment, first) + " had a damaged tag");
    }
    for (std::uint32_t place = first; place < first + wordPlaces; ++place)
        auditPlace(segment, place, isSound, audit);
}

void StatusStore::auditPlace(OpenSegment& segment, std::uint32_t place, bool isTagSound,
                             Audit& audit) const {
    Record& record = segment.view.record(place);
    const RecordState state(record.state.load(std::memory_order_relaxed));
    const std::uint8_t tag = isTagSound ? segment.view.tag(place) : removedTag;
    const bool isUsed = tag != emptyTag && tag != removedTag;
    if (!isUsed && state.kind() != RecordState::Kind::live && state.isFree(checksum_)) return;
    const KeyWords key = loadKey(record);
    if (state.isLiveOf(key, checksum_)) {
        const std::uint8_t own = tagOf(directory_.hashIn(segment.node, key, table_.hashSeed()));
        if (tag != own) {
            audit.candidates.push_back({place, Guard::shareOf(state, own), own});
            return;
        }
        audit.sum += Guard::shareOf(state, own);
        ++audit.live;
        return;
    }
    if (isUsed) segment.view.tagIs(place, removedTag);
    record.state.store(RecordState::removed(state, checksum_).word(), std::memory_order_release);
    if (!isUsed && isTagSound) return;
    audit.isLossy = true;
    audit.reports.push_back(placeText(segment, place) + " is damaged; its membership is lost");
}

/// Decides which candidates are memberships: those with which the segment is as its guard says.
/// None, all, or all but the one that a killed writer left. None first: where an operation was
/// under way, readers have met the segment without what it left.
void StatusStore::settle(OpenSegment& segment, Audit& audit) const {
    if (audit.expected.allows(audit.sum)) {
        for (Audit::Candidate& candidate : audit.candidates)
            candidate.isMembership = false;
        return;
    }
    std::uint32_t all = audit.sum;
    for (const Audit::Candidate& candidate : audit.candidates)
        all += candidate.share;
    if (audit.expected.allows(all)) return;
    for (Audit::Candidate& candidate : audit.candidates) {
        if (!audit.expected.allows(all - candidate.share)) continue;
        candidate.isMembership = false;
        return;
    }
    if (!audit.isLossy) {
        audit.reports.push_back(segmentText(segment) +
                                " is not as it was written; memberships may be missing or old");
    }
    audit.isLossy = true;
    // A running writer leaves no record behind, so each is a membership. Of another writer's,
    // nobody can tell.
    if (audit.wasKnown) return;
    for (Audit::Candidate& candidate : audit.candidates) {
        candidate.isMembership = false;
        audit.reports.push_back(placeText(segment, candidate.place) +
                                " cannot be told from a removed one; its membership is lost");
    }
}

/// Makes tags and records agree.
void StatusStore::restore(OpenSegment& segment, Audit& audit) const {
    for (const std::uint32_t number : audit.damagedWords)
        segment.view.tagWordIs(number, everyTag(removedTag));
    for (const Audit::Candidate& candidate : audit.candidates) {
        if (candidate.isMembership) {
            segment.view.tagIs(candidate.place, candidate.tag);
            audit.sum += candidate.share;
            ++audit.live;
            continue;
        }
        Word& state = segment.view.record(candidate.place).state;
        const RecordState before(state.load(std::memory_order_relaxed));
        const std::uint8_t tag = segment.view.tag(candidate.place);
        segment.view.tagIs(candidate.place, tag == emptyTag ? emptyTag : removedTag);
        state.store(RecordState::removed(before, checksum_).word(), std::memory_order_release);
    }
}

// --- the directory ------------------------------------------------------------------------------

void StatusStore::mendDirectory() {
    bool isDamaged = !directory_.isStoredAt(table_.file(), directoryPage(), identity_.id);
    if (isDamaged) directory_.restore(table_.file(), directoryPage(), identity_.id);
    for (const OpenSegment& segment : segments_) {
        if (!segment.isKnown) continue;
        GuardPair& pair = guardPair(segment);
        if (GuardReading::of(pair) == segment.guard) continue;
        guarded(pair, segment.guard.current, [] {});
        isDamaged = true;
    }
    isDamaged |= table_.mendEntry(*this);
    if (isDamaged) table_.reportCorruption(statusText() + " had a damaged directory or entry");
}

std::string StatusStore::statusText() const {
    return table_.file().path() + ": status '" + identity_.key.name() + "'";
}

std::string StatusStore::segmentText(const OpenSegment& segment) const {
    return statusText() + ": the segment at page " + std::to_string(segment.extent.page);
}

std::string StatusStore::placeText(const OpenSegment& segment, std::uint32_t place) const {
    return statusText() + ": slot " + std::to_string(place) + " of the segment at page " +
           std::to_string(segment.extent.page);
}

}  // namespace Routing::Gmp::Tessel::Storage
