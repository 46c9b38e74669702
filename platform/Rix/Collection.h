#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "Lumo/Ptr.h"

namespace Rix {

namespace Detail {

/// What a reader of a collection gets for a value: objects become objects that may only be read.
template <class Value>
struct ReadOnly {
    using Type = Value;
};
template <class Object>
struct ReadOnly<Lumo::Ptr<Object>> {
    using Type = Lumo::Ptr<const Object>;
};

}  // namespace Detail

/// A keyed collection: constant-time look-up, iteration in the order of insertion.
///
/// It may change in any way while it is walked, the current entry included: entries that leave are
/// no longer met, entries that come are met last. An entry that is replaced keeps its place; one
/// that left and came back is last. An entry is handed out as a copy, so that it outlives its
/// removal. Part of the object whose attribute it is; belongs to that object's thread, and must
/// outlive every walk over it.
///
/// @tparam Key   hashable with std::hash, comparable
/// @tparam Value default-constructible: the default stands for "no entry" in get and del
template <class Key, class Value>
class Collection {
  public:
    template <class Yield>
    struct Entry {
        Key key;
        Yield value;
    };
    template <class Yield>
    class Cursor;
    struct End {};
    using ReadOnlyValue = typename Detail::ReadOnly<Value>::Type;

    Collection() = default;
    Collection(const Collection&) = delete;
    Collection& operator=(const Collection&) = delete;

    std::size_t size() const { return live_; }
    bool empty() const { return live_ == 0; }

    /// The entry's value, or null; valid until the collection changes.
    const Value* find(const Key& key) const {
        const std::size_t place = placeOf(key);
        return place == none ? nullptr : &slots_[place].value;
    }
    bool contains(const Key& key) const { return placeOf(key) != none; }
    /// The entry's value, or the default value if there is none.
    Value get(const Key& key) {
        const Value* value = find(key);
        return value ? *value : Value();
    }
    ReadOnlyValue get(const Key& key) const {
        const Value* value = find(key);
        return value ? ReadOnlyValue(*value) : ReadOnlyValue();
    }

    /// Inserts an entry, or replaces its value.
    void valueIs(const Key& key, Value value) {
        const std::size_t place = placeOf(key);
        if (place != none) {
            // What the old value's destruction leads to finds the new value in place.
            std::swap(slots_[place].value, value);
            return;
        }
        slots_.push_back({key, std::move(value), true});
        ++live_;
        try {
            indexLast();
        } catch (...) {
            slots_.pop_back();
            --live_;
            throw;
        }
    }

    /// Removes an entry and returns its value; the default value if there is none.
    Value del(const Key& key) {
        const std::size_t place = placeOf(key);
        if (place == none) return Value();
        Value removed = std::exchange(slots_[place].value, Value());
        slots_[place].live = false;
        --live_;
        sweep();
        return removed;
    }

    /// Walks the entries as Entry{key, value}.
    Cursor<Value> begin() { return Cursor<Value>(*this); }
    Cursor<ReadOnlyValue> begin() const { return Cursor<ReadOnlyValue>(*this); }
    End end() const { return {}; }

  private:
    struct Slot {
        Key key;
        Value value;
        bool live;
    };

    static constexpr std::size_t none = ~std::size_t{0};
    /// Up to so many slots are searched one by one, without an index.
    static constexpr std::size_t unindexed = 8;

    std::size_t placeOf(const Key& key) const {
        if (index_.empty()) {
            for (std::size_t place = 0; place < slots_.size(); ++place) {
                if (slots_[place].live && slots_[place].key == key) return place;
            }
            return none;
        }
        const std::size_t mask = index_.size() - 1;
        for (std::size_t i = std::hash<Key>()(key) & mask; index_[i] != 0; i = (i + 1) & mask) {
            const Slot& slot = slots_[index_[i] - 1];
            if (slot.live && slot.key == key) return index_[i] - 1;
        }
        return none;
    }

    /// Enters the slot just appended into the index, which grows with the slots: a power of two,
    /// at least twice their number.
    void indexLast() {
        if (slots_.size() <= unindexed) return;
        if (slots_.size() * 2 > index_.size()) return rebuildIndex();
        enter(slots_.size() - 1);
    }

    void rebuildIndex() {
        std::size_t size = 4 * unindexed;
        while (size < slots_.size() * 4)
            size *= 2;
        index_ = std::vector<std::uint32_t>(size);
        for (std::size_t place = 0; place < slots_.size(); ++place)
            enter(place);
    }

    void enter(std::size_t place) {
        const std::size_t mask = index_.size() - 1;
        std::size_t i = std::hash<Key>()(slots_[place].key) & mask;
        while (index_[i] != 0)
            i = (i + 1) & mask;
        index_[i] = static_cast<std::uint32_t>(place + 1);
    }

    /// Drops the slots of entries that left, once they outnumber the rest and nobody walks. Only
    /// ever gives memory back: an allocation that fails leaves the dead slots for the next time.
    void sweep() noexcept {
        if (walks_ != 0 || slots_.size() - live_ <= live_) return;
        std::erase_if(slots_, [](const Slot& slot) { return !slot.live; });
        try {
            if (slots_.capacity() > 4 * slots_.size()) slots_.shrink_to_fit();
            if (slots_.size() > unindexed) return rebuildIndex();
        } catch (const std::bad_alloc&) {
            std::fill(index_.begin(), index_.end(), 0);
            for (std::size_t place = 0; place < slots_.size(); ++place)
                enter(place);
            return;
        }
        index_ = {};
    }

    std::vector<Slot> slots_;
    /// Open addressing: slot number + 1, or 0. Empty while there are few slots.
    std::vector<std::uint32_t> index_;
    std::uint32_t live_ = 0;
    mutable std::uint32_t walks_ = 0;
};

/// A walk over a collection; lives on the stack of the one who walks.
template <class Key, class Value>
template <class Yield>
class Collection<Key, Value>::Cursor {
  public:
    explicit Cursor(const Collection& collection) : collection_(collection) {
        ++collection_.walks_;
        skipDead();
    }
    ~Cursor() { --collection_.walks_; }
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    Entry<Yield> operator*() const {
        const Slot& slot = collection_.slots_[place_];
        return {slot.key, slot.value};
    }
    Cursor& operator++() {
        ++place_;
        skipDead();
        return *this;
    }
    bool operator!=(End) const { return place_ < collection_.slots_.size(); }

  private:
    void skipDead() {
        while (place_ < collection_.slots_.size() && !collection_.slots_[place_].live)
            ++place_;
    }

    const Collection& collection_;
    std::size_t place_ = 0;
};

}  // namespace Rix
