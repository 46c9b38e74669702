#include "Routing/Gmp/Tessel/Storage/Directory.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>

#include "Routing/Gmp/Tessel/Storage/Checksum.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr std::size_t headerWords = sizeof(DirectoryHeader) / sizeof(Word);
/// How many of them the checksum covers.
constexpr std::size_t checkedHeaderWords = 4;
/// The words of all nodes that a directory may have at most.
constexpr std::uint32_t mostWords = std::uint32_t{1} << (maxDirectoryDepth + 1);

std::size_t guardsAt(std::size_t words) {
    return (headerWords + words + 1) / 2 * 2 * sizeof(Word);
}

PageNumber pagesOf(std::size_t words, std::uint32_t segments) {
    const std::size_t bytes = guardsAt(words) + segments * sizeof(GuardPair);
    return static_cast<PageNumber>((bytes + pageBytes - 1) / pageBytes);
}

std::uint64_t checksumOf(const std::vector<std::uint64_t>& words) {
    return paired(checksum(0xffffffff, words.data(), words.size()));
}

/// The header's words that the checksum covers.
std::vector<std::uint64_t> loadHeader(const DirectoryHeader& header) {
    return {header.magic.load(std::memory_order_acquire),
            header.statusId.load(std::memory_order_acquire),
            header.generation.load(std::memory_order_acquire),
            header.sizes.load(std::memory_order_acquire)};
}

}  // namespace

Directory::Directory(Extent only) : segments_(1) {
    nodeAdd({}, Entry(only, 0));
}

std::uint32_t Directory::nodeAdd(const Seeds& seeds, Entry only) {
    nodes_.push_back({0, seeds, {only}});
    return static_cast<std::uint32_t>(nodes_.size()) - 1;
}

// --- shared memory ------------------------------------------------------------------------------

std::size_t Directory::guardsOffset() const {
    std::size_t words = 0;
    for (const Node& node : nodes_)
        words += nodeHeaderWords + node.entries.size();
    return guardsAt(words);
}

PageNumber Directory::pages() const {
    const std::size_t bytes = guardsOffset() + segments_ * sizeof(GuardPair);
    return static_cast<PageNumber>((bytes + pageBytes - 1) / pageBytes);
}

std::string Directory::load(const TableFile& file, PageNumber leastPage, PageNumber filePages,
                            std::uint64_t root, std::uint64_t statusId) {
    const auto page = static_cast<PageNumber>(root);
    if (page < leastPage || page >= filePages) return "its directory lies outside the file";
    const auto& header = file.at<const DirectoryHeader>(page);
    Words words = loadHeader(header);
    const auto nodeWords = static_cast<std::uint32_t>(words[3]);
    segments_ = static_cast<std::uint32_t>(words[3] >> 32);
    if (words[0] != directoryMagic || words[1] != statusId ||
        static_cast<std::uint32_t>(words[2]) != root >> 32 || nodeWords > mostWords ||
        segments_ > maxSegments || pagesOf(nodeWords, segments_) > filePages - page) {
        return "its directory is damaged";
    }
    words.resize(words.size() + nodeWords);
    const Word* const shared = &file.at<const Word>(page) + headerWords;
    for (std::size_t i = 0; i < nodeWords; ++i) {
        words[checkedHeaderWords + i] = shared[i].load(std::memory_order_acquire);
    }
    if (checksumOf(words) != header.checksum.load(std::memory_order_acquire) || !parse(words)) {
        return "its directory is damaged";
    }
    generation_ = static_cast<std::uint32_t>(words[2]);
    return check(leastPage, filePages);
}

bool Directory::parse(const Words& words) {
    nodes_.clear();
    const std::uint64_t number = words[2] >> 32;
    std::size_t at = checkedHeaderWords;
    while (nodes_.size() < number) {
        if (words.size() - at < nodeHeaderWords || words[at] > maxDirectoryDepth) return false;
        Node node{static_cast<unsigned>(words[at]), {words[at + 1], words[at + 2]}, {}};
        at += nodeHeaderWords;
        const std::size_t size = std::size_t{1} << node.depth;
        if (words.size() - at < size) return false;
        for (std::size_t i = 0; i < size; ++i)
            node.entries.emplace_back(words[at + i]);
        at += size;
        nodes_.push_back(std::move(node));
    }
    return number > 0 && at == words.size();
}

std::string Directory::check(PageNumber leastPage, PageNumber filePages) const {
    std::vector<unsigned> levels(nodes_.size(), 0);
    std::vector<Extent> extents(segments_);
    levels[0] = 1;
    for (std::uint32_t n = 0; n < nodes_.size(); ++n) {
        const Node& node = nodes_[n];
        if (levels[n] == 0 || levels[n] > maxDirectoryLevels) return "its directory makes no sense";
        for (std::uint32_t i = 0; i < node.size(); i = node.run(i).end) {
            const Entry entry = node.entries[i];
            if (entry.isNode()) {
                if ((entry.word() & ~nodeEntryBit) != entry.node() || entry.node() <= n ||
                    entry.node() >= nodes_.size() || levels[entry.node()] != 0) {
                    return "its directory makes no sense";
                }
                levels[entry.node()] = levels[n] + 1;
                continue;
            }
            const Extent extent = entry.extent();
            if (extent.page < leastPage || extent.page >= filePages ||
                extent.pages > filePages - extent.page) {
                return "a segment lies outside the file";
            }
            if (!std::has_single_bit(extent.pages) || extent.pages > maxSegmentPages ||
                entry.segment() >= segments_ || extents[entry.segment()].pages != 0) {
                return "its directory makes no sense";
            }
            extents[entry.segment()] = extent;
        }
    }
    std::sort(extents.begin(), extents.end(),
              [](const Extent& a, const Extent& b) { return a.page < b.page; });
    PageNumber end = 0;
    for (const Extent& extent : extents) {
        if (extent.pages == 0 || extent.page < end) return "its directory makes no sense";
        end = extent.page + extent.pages;
    }
    return {};
}

Directory::Words Directory::words(std::uint64_t statusId) const {
    Words words{directoryMagic, statusId, std::uint64_t{nodes_.size()} << 32 | generation_, 0};
    for (const Node& node : nodes_) {
        words.insert(words.end(), {node.depth, node.seeds[0], node.seeds[1]});
        for (const Entry entry : node.entries)
            words.push_back(entry.word());
    }
    words[3] = std::uint64_t{segments_} << 32 | (words.size() - checkedHeaderWords);
    return words;
}

std::uint64_t Directory::store(const TableFile& file, PageNumber page, std::uint64_t statusId) {
    ++generation_;
    restore(file, page, statusId);
    return std::uint64_t{generation_} << 32 | page;
}

void Directory::restore(const TableFile& file, PageNumber page, std::uint64_t statusId) const {
    const Words words = this->words(statusId);
    auto& header = file.at<DirectoryHeader>(page);
    header.magic.store(words[0], std::memory_order_release);
    header.statusId.store(words[1], std::memory_order_release);
    header.generation.store(words[2], std::memory_order_release);
    header.sizes.store(words[3], std::memory_order_release);
    header.checksum.store(checksumOf(words), std::memory_order_release);
    Word* const shared = &file.at<Word>(page) + headerWords;
    for (std::size_t i = checkedHeaderWords; i < words.size(); ++i) {
        shared[i - checkedHeaderWords].store(words[i], std::memory_order_release);
    }
}

bool Directory::isStoredAt(const TableFile& file, PageNumber page, std::uint64_t statusId) const {
    const Words words = this->words(statusId);
    const auto& header = file.at<const DirectoryHeader>(page);
    const Words shared = loadHeader(header);
    const Word* const nodes = &file.at<const Word>(page) + headerWords;
    return std::equal(shared.begin(), shared.end(), words.begin()) &&
           header.checksum.load(std::memory_order_relaxed) == checksumOf(words) &&
           std::equal(words.begin() + checkedHeaderWords, words.end(), nodes,
                      [](std::uint64_t own, const Word& word) {
                          return word.load(std::memory_order_relaxed) == own;
                      });
}

// --- finding ------------------------------------------------------------------------------------

Directory::Spot Directory::locateBelow(const KeyWords& key, std::uint32_t node) const {
    for (;;) {  // ends, since each node comes behind the one that names it
        const std::uint64_t hash = sipHash(nodes_[node].seeds, key);
        const Entry entry = nodes_[node].entries[nodes_[node].index(hash)];
        if (!entry.isNode()) return {entry, node, hash};
        node = entry.node();
    }
}

unsigned Directory::levelOf(std::uint32_t node) const {
    unsigned level = 1;
    for (std::uint32_t above = node; above-- > 0;) {
        const auto& entries = nodes_[above].entries;
        if (std::find(entries.begin(), entries.end(), Entry::ofNode(node)) == entries.end())
            continue;
        node = above;
        ++level;
    }
    return level;
}

Directory::Step Directory::step(const Position& position) const {
    Position at;
    std::vector<std::uint32_t> path{0};
    Entry entry;
    for (;;) {
        const std::size_t level = path.size() - 1;
        at.push_back(level < position.size() ? position[level] : 0);
        const Node& node = nodes_[path.back()];
        entry = node.entries[node.index(at.back())];
        if (!entry.isNode()) break;
        path.push_back(entry.node());
    }
    const Node& last = nodes_[path.back()];
    Step step{{entry, path.back(), at.back()}, last.run(last.index(at.back())), {}};
    while (!path.empty()) {
        const Node& node = nodes_[path.back()];
        const std::uint32_t end = node.run(node.index(at.back())).end;
        at.back() = node.firstHash(end);
        if (end != node.size()) break;
        path.pop_back();
        at.pop_back();
    }
    step.next = std::move(at);
    return step;
}

Directory::Run Directory::Node::run(std::uint32_t index) const {
    Run run{index, index + 1};
    while (run.first > 0 && entries[run.first - 1] == entries[index])
        --run.first;
    while (run.end < size() && entries[run.end] == entries[index])
        ++run.end;
    return run;
}

void Directory::Node::doubled() {
    std::vector<Entry> twice;
    twice.reserve(entries.size() * 2);
    for (const Entry entry : entries)
        twice.insert(twice.end(), 2, entry);
    entries = std::move(twice);
    ++depth;
}

void Directory::Node::runIs(Run run, Entry entry) {
    std::fill(entries.begin() + run.first, entries.begin() + run.end, entry);
}

}  // namespace Routing::Gmp::Tessel::Storage
