#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Routing/Gmp/Tessel/Storage/SipHash.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// A private copy of a status's directory: which segment holds which keys. Damage to the shared one
/// after the copy was made does not reach it. A plain value.
///
/// It is a tree of nodes that nearly always has the root only. A node divides the range of a hash
/// between segments. Where too many keys have neighbouring hashes, which only those have that
/// somebody chose so, their place is taken by a node below with a hash of its own.
class Directory {
  public:
    /// The pages of one segment.
    struct Extent {
        PageNumber page = 0;
        PageNumber pages = 0;

        friend bool operator==(const Extent&, const Extent&) = default;
    };
    using Seeds = std::array<std::uint64_t, 2>;

    /// What a node says about a part of its hashes: a segment or a later node.
    class Entry {
      public:
        Entry() = default;
        explicit Entry(std::uint64_t word) : word_(word) {}
        Entry(Extent extent, std::uint32_t segment)
            : word_(std::uint64_t{segment} << 40 | std::uint64_t{extent.pages} << 32 |
                    extent.page) {}
        static Entry ofNode(std::uint32_t node) { return Entry(nodeEntryBit | node); }

        std::uint64_t word() const { return word_; }
        bool isNode() const { return (word_ & nodeEntryBit) != 0; }
        std::uint32_t node() const { return static_cast<std::uint32_t>(word_); }
        std::uint32_t segment() const { return static_cast<std::uint32_t>(word_ >> 40); }
        Extent extent() const {
            return {static_cast<PageNumber>(word_), static_cast<PageNumber>(word_ >> 32 & 0xff)};
        }
        friend bool operator==(Entry, Entry) = default;

      private:
        std::uint64_t word_ = 0;
    };

    /// Entries of a node that are equal: from `first` to before `end`.
    struct Run {
        std::uint32_t first;
        std::uint32_t end;
    };
    struct Node {
        unsigned depth = 0;
        Seeds seeds{};
        std::vector<Entry> entries;

        std::uint32_t size() const { return static_cast<std::uint32_t>(entries.size()); }
        std::uint32_t index(std::uint64_t hash) const {
            return depth == 0 ? 0 : static_cast<std::uint32_t>(hash >> (64 - depth));
        }
        /// The first hash that belongs to the entry; 0 for the one behind the last.
        std::uint64_t firstHash(std::uint32_t index) const {
            return index == size() ? 0 : std::uint64_t{index} << (64 - depth) % 64;
        }
        Run run(std::uint32_t index) const;
        void doubled();
        void runIs(Run run, Entry entry);
    };

    /// Where a key belongs: an entry for a segment, its node, and the key's hash in that node.
    struct Spot {
        Entry entry;
        std::uint32_t node;
        std::uint64_t hash;
    };
    /// Where a walk is: a hash in the root, then, where its entry is a node, one in that, and so
    /// on. None at all is the end.
    using Position = std::vector<std::uint64_t>;
    /// A segment that a walk came to.
    struct Step {
        Spot spot;
        Run run;  ///< of its entries in its node
        Position next;
    };

    Directory() = default;
    /// A directory of one segment, whose number is 0.
    explicit Directory(Extent only);

    /// Reads the directory that the word `root` of a status names.
    /// @param leastPage the first page that may hold one
    /// @param filePages how long the file is: nothing behind that is touched
    /// @returns what is wrong with it, or the empty text
    std::string load(const TableFile& file, PageNumber leastPage, PageNumber filePages,
                     std::uint64_t root, std::uint64_t statusId);
    /// Writes it to pages of its own as a new generation, without guards.
    /// @returns the word that publishes it
    std::uint64_t store(const TableFile& file, PageNumber page, std::uint64_t statusId);
    /// Whether what is stored there is this directory.
    bool isStoredAt(const TableFile& file, PageNumber page, std::uint64_t statusId) const;
    /// Writes it again to where it was stored.
    void restore(const TableFile& file, PageNumber page, std::uint64_t statusId) const;

    std::uint32_t generation() const { return generation_; }
    /// The number of pages that the shared directory takes.
    PageNumber pages() const;
    /// Where its guards begin, in bytes from its first page.
    std::size_t guardsOffset() const;

    std::uint32_t segments() const { return segments_; }
    std::vector<Node>& nodes() { return nodes_; }
    const std::vector<Node>& nodes() const { return nodes_; }

    /// @param hash the key's hash in the root
    Spot locate(const KeyWords& key, std::uint64_t hash) const {
        const Node* node = nodes_.data();
        Entry entry = node->entries[node->index(hash)];
        if (!entry.isNode()) [[likely]]
            return {entry, 0, hash};
        return locateBelow(key, entry.node());
    }
    /// The hash of a key in a node.
    std::uint64_t hashIn(std::uint32_t node, const KeyWords& key, const HashSeed& seed) const {
        return node == 0 ? hashOf(key, seed) : sipHash(nodes_[node].seeds, key);
    }
    /// How many nodes there are from the root to that one, both counted.
    unsigned levelOf(std::uint32_t node) const;
    /// The segment that a position names, and what comes behind it.
    Step step(const Position& position) const;

    /// Makes a segment number of its own for a new segment.
    std::uint32_t segmentAdd() { return segments_++; }
    /// Adds a node of one segment.
    std::uint32_t nodeAdd(const Seeds& seeds, Entry only);

  private:
    using Words = std::vector<std::uint64_t>;

    Spot locateBelow(const KeyWords& key, std::uint32_t node) const;
    Words words(std::uint64_t statusId) const;
    bool parse(const Words& words);
    std::string check(PageNumber leastPage, PageNumber filePages) const;

    std::uint32_t generation_ = 0;
    std::uint32_t segments_ = 0;
    std::vector<Node> nodes_;
};

}  // namespace Routing::Gmp::Tessel::Storage
