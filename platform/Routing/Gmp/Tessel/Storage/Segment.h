#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/GroupTags.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"

namespace Routing::Gmp::Tessel::Storage {

/// A view of a segment's memory: tags and records, without knowledge of which hashes it is for.
/// A plain value; the memory belongs to the table's file. `Memory` is std::byte for the writer and
/// const std::byte for readers.
template <class Memory>
class SegmentView {
    template <class Type>
    using Like = std::conditional_t<std::is_const_v<Memory>, const Type, Type>;

  public:
    SegmentView() = default;
    /// @param salt where the checksums of its tag words start
    SegmentView(Memory* memory, std::uint32_t groups, std::uint32_t salt)
        : memory_(memory), groups_(groups), salt_(salt) {}

    std::uint32_t groups() const { return groups_; }
    std::uint32_t words() const { return groups_ * 2; }
    /// Where the checksums of its tag words start, and its guard.
    std::uint32_t salt() const { return salt_; }
    std::uint32_t places() const { return groups_ * groupPlaces; }
    /// The place that a record of that hash gets if it is free.
    std::uint32_t homePlace(std::uint64_t hash) const {
        return static_cast<std::uint32_t>((hash & 0xffffffff) * places() >> 32);
    }
    /// Its group, where searches start.
    std::uint32_t homeGroup(std::uint64_t hash) const {
        return static_cast<std::uint32_t>((hash & 0xffffffff) * groups_ >> 32);
    }
    std::uint32_t nextGroup(std::uint32_t group) const {
        return group + 1 == groups_ ? 0 : group + 1;
    }

    GroupTags tags(std::uint32_t group) const {
        const auto* const words = tagWords() + std::size_t{group} * 2;
        return {words[0].load(std::memory_order_acquire), words[1].load(std::memory_order_acquire),
                salt_ + group * 2};
    }
    std::uint8_t tag(std::uint32_t place) const {
        const std::uint64_t word =
            tagWords()[place / wordPlaces].load(std::memory_order_acquire) & tagBits;
        return static_cast<std::uint8_t>(word >> (place % wordPlaces * 8));
    }
    /// For the writer, the only one to change tags. The word must be sound.
    void tagIs(std::uint32_t place, std::uint8_t tag) const {
        const std::uint32_t number = place / wordPlaces;
        const unsigned shift = place % wordPlaces * 8;
        const std::uint64_t others = tagWords()[number].load(std::memory_order_relaxed) & tagBits &
                                     ~(std::uint64_t{0xff} << shift);
        tagWordIs(number, others | std::uint64_t{tag} << shift);
    }
    /// For the writer: all tags of a word.
    void tagWordIs(std::uint32_t number, std::uint64_t tags) const {
        tagWords()[number].store(sealedTags(tags, salt_ + number), std::memory_order_release);
    }
    bool isSoundWord(std::uint32_t number) const {
        const std::uint64_t word = tagWords()[number].load(std::memory_order_acquire);
        return unsoundBits(word, salt_ + number) == 0;
    }

    Like<Record>& record(std::uint32_t place) const {
        return reinterpret_cast<Like<Record>*>(memory_ + recordsOffset(groups_))[place];
    }

  private:
    Like<Word>* tagWords() const { return reinterpret_cast<Like<Word>*>(memory_); }

    Memory* memory_ = nullptr;
    std::uint32_t groups_ = 0;
    std::uint32_t salt_ = 0;
};

using Segment = SegmentView<std::byte>;
using ConstSegment = SegmentView<const std::byte>;

/// Where the checksums of the tag words of a status's segment start.
inline std::uint32_t segmentSalt(std::uint32_t statusChecksum, PageNumber page) {
    return checksum(statusChecksum, page);
}

/// What was found at a place.
struct FoundRecord {
    enum class Kind : std::uint8_t { none, live, damaged };

    Kind kind = Kind::none;
    RecordState state;
    KeyWords key{};
};

inline KeyWords loadKey(const Record& record) {
    return {record.source[0].load(std::memory_order_acquire),
            record.source[1].load(std::memory_order_acquire),
            record.group[0].load(std::memory_order_acquire),
            record.group[1].load(std::memory_order_acquire),
            record.intf.load(std::memory_order_acquire)};
}

/// Whether a record's key is that one. Word by word: comparing them as a block of bytes would wait
/// for words that were just stored one by one.
inline bool hasKey(const Record& record, const KeyWords& key) {
    return ((record.source[0].load(std::memory_order_acquire) ^ key[0]) |
            (record.source[1].load(std::memory_order_acquire) ^ key[1]) |
            (record.group[0].load(std::memory_order_acquire) ^ key[2]) |
            (record.group[1].load(std::memory_order_acquire) ^ key[3]) |
            (record.intf.load(std::memory_order_acquire) ^ key[4])) == 0;
}

inline void storeKey(Record& record, const KeyWords& key) {
    record.source[0].store(key[0], std::memory_order_release);
    record.source[1].store(key[1], std::memory_order_release);
    record.group[0].store(key[2], std::memory_order_release);
    record.group[1].store(key[3], std::memory_order_release);
    record.intf.store(key[4], std::memory_order_release);
}

/// Makes all places of a segment that nobody refers to yet empty, whatever its pages held before.
inline void clearSegment(const Segment& segment) {
    for (std::uint32_t number = 0; number < segment.words(); ++number)
        segment.tagWordIs(number, everyTag(emptyTag));
    for (std::uint32_t place = 0; place < segment.places(); ++place) {
        segment.record(place).state.store(0, std::memory_order_release);
    }
}

/// Reads a place again that did not look live at once. Damage is what two readings agree on: one
/// alone may have met a record on its way in or out.
template <class Memory>
[[gnu::noinline]] FoundRecord rereadRecord(const SegmentView<Memory>& segment, std::uint32_t place,
                                           std::uint32_t statusChecksum) {
    const Record& record = segment.record(place);
    RecordState suspect;
    std::uint8_t suspectTag = emptyTag;
    // No writer overwrites one record so fast that this many readings in a row are in vain.
    for (int tries = 0; tries < 1000; ++tries) {
        const RecordState state(record.state.load(std::memory_order_acquire));
        const KeyWords key = loadKey(record);
        if (RecordState(record.state.load(std::memory_order_acquire)) != state) continue;
        if (state.isLiveOf(key, statusChecksum)) return {FoundRecord::Kind::live, state, key};
        // Not live: it was removed under our eyes, or its tag went before; or it is damaged.
        const std::uint8_t tag = segment.tag(place);
        if (tag == emptyTag || tag == removedTag) return {};
        if (state.kind() == RecordState::Kind::removed && state.isFree(statusChecksum)) return {};
        if (suspectTag == tag && suspect == state) {
            return {FoundRecord::Kind::damaged, state, key};
        }
        suspect = state;
        suspectTag = tag;
    }
    return {FoundRecord::Kind::damaged, suspect, {}};
}

/// Reads a place whose tag says that it is used, while the writer may be changing it.
template <class Memory>
[[gnu::always_inline]] inline FoundRecord readRecord(const SegmentView<Memory>& segment,
                                                     std::uint32_t place,
                                                     std::uint32_t statusChecksum) {
    const Record& record = segment.record(place);
    const RecordState state(record.state.load(std::memory_order_acquire));
    FoundRecord found{FoundRecord::Kind::live, state, loadKey(record)};
    if (RecordState(record.state.load(std::memory_order_acquire)) != state ||
        !state.isLiveOf(found.key, statusChecksum)) {
        found = rereadRecord(segment, place, statusChecksum);
    }
    return found;
}

/// What a search for a key came to.
struct SearchResult {
    /// `damaged`: it was not found, but something on its way was damaged and may have been it.
    enum class Kind : std::uint8_t { none, live, damaged };

    Kind kind = Kind::none;
    std::uint32_t place = 0;  ///< where it is, or the last damaged place met
    RecordState state;
};

/// Whether a record that was in that state is live and of that key, and still is in that state.
inline bool isLiveRecordOf(const Record& record, RecordState state, const KeyWords& key,
                           std::uint32_t statusChecksum) {
    return hasKey(record, key) && state.isLiveOf(key, statusChecksum) &&
           RecordState(record.state.load(std::memory_order_acquire)) == state;
}

/// searchSegment, from its beginning, whatever is on the way.
template <class Memory>
[[gnu::noinline]] SearchResult searchGroups(SegmentView<Memory> segment, const KeyWords& key,
                                            std::uint64_t hash, std::uint32_t statusChecksum) {
    const std::uint8_t wanted = tagOf(hash);
    SearchResult result;
    std::uint32_t group = segment.homeGroup(hash);
    for (std::uint32_t visited = 0; visited < segment.groups(); ++visited) {
        const GroupTags tags = segment.tags(group);
        for (auto places = tags.equal(wanted); places.any(); places.dropFirst()) {
            const std::uint32_t place = group * groupPlaces + places.first();
            // Another key may have this tag; or it is being written, or damaged.
            const FoundRecord found = readRecord(segment, place, statusChecksum);
            if (found.kind == FoundRecord::Kind::live && found.key == key) {
                return {SearchResult::Kind::live, place, found.state};
            }
            if (found.kind == FoundRecord::Kind::damaged) {
                result = {SearchResult::Kind::damaged, place, {}};
            }
        }
        if (!tags.isSound()) {
            result = {SearchResult::Kind::damaged, group * groupPlaces, {}};
        }
        if (tags.empty().any()) break;
        group = segment.nextGroup(group);
    }
    return result;
}

/// Searches a segment for a key. A miss is answered from the tags alone.
template <class Memory>
SearchResult searchSegment(SegmentView<Memory> segment, const KeyWords& key, std::uint64_t hash,
                           std::uint32_t statusChecksum) {
    // So that this function calls no other and keeps all it has in registers.
    if (!hasChecksumInstruction) return searchGroups(segment, key, hash, statusChecksum);
    // Most records are at their home: they arrive together with the tags.
    const Record& likely = segment.record(segment.homePlace(hash));
    __builtin_prefetch(&likely.source);
    __builtin_prefetch(&likely.state);
    // Nearly every search ends with the first record of its tag, or without one, in this group.
    const std::uint32_t group = segment.homeGroup(hash);
    const GroupTags tags = segment.tags(group);
    if (const auto places = tags.equal(tagOf(hash)); places.any()) {
        const std::uint32_t place = group * groupPlaces + places.first();
        const Record& record = segment.record(place);
        const RecordState state(record.state.load(std::memory_order_acquire));
        if (isLiveRecordOf(record, state, key, statusChecksum)) {
            return {SearchResult::Kind::live, place, state};
        }
    } else if (tags.empty().any() && tags.isSound()) {
        return {};
    }
    return searchGroups(segment, key, hash, statusChecksum);
}

}  // namespace Routing::Gmp::Tessel::Storage
