#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace model {

/// A map that is walked in the order of insertion: an entry that is replaced keeps its place, one
/// that left and came back is last. A plain value, meant for a handful of entries.
template <class Key, class Value>
class Ordered {
  public:
    using Entry = std::pair<Key, Value>;

    /// The value under a key, null if there is none; valid until an entry is added or removed.
    Value* find(const Key& key) {
        const auto at = place(entries_, key);
        return at == entries_.end() ? nullptr : &at->second;
    }
    const Value* find(const Key& key) const {
        const auto at = place(entries_, key);
        return at == entries_.end() ? nullptr : &at->second;
    }

    Value& put(const Key& key, Value value) {
        const auto at = place(entries_, key);
        if (at == entries_.end()) return entries_.emplace_back(key, std::move(value)).second;
        return at->second = std::move(value);
    }

    /// Whether there was an entry to remove.
    bool erase(const Key& key) {
        const auto at = place(entries_, key);
        if (at == entries_.end()) return false;
        entries_.erase(at);
        return true;
    }

    bool empty() const { return entries_.empty(); }
    std::size_t size() const { return entries_.size(); }
    auto begin() { return entries_.begin(); }
    auto end() { return entries_.end(); }
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

    friend bool operator==(const Ordered&, const Ordered&) = default;

  private:
    static auto place(auto& entries, const Key& key) {
        return std::find_if(entries.begin(), entries.end(),
                            [&](const Entry& entry) { return entry.first == key; });
    }

    std::vector<Entry> entries_;
};

}  // namespace model
