#include "Routing/Gmp/Tessel/Storage/Directory.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <set>

#include "Routing/Gmp/Tessel/Storage/Checksum.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

PageNumber pagesOf(unsigned depth) {
    const std::size_t bytes = sizeof(DirectoryHeader) + (sizeof(Word) << depth);
    return static_cast<PageNumber>((bytes + pageBytes - 1) / pageBytes);
}

std::uint64_t packed(Directory::Extent extent) {
    return std::uint64_t{extent.pages} << 32 | extent.page;
}

}  // namespace

PageNumber Directory::pages() const {
    return pagesOf(depth_);
}

std::string Directory::load(const TableFile& file, PageNumber filePages, std::uint64_t root,
                            std::uint64_t statusId) {
    const auto page = static_cast<PageNumber>(root);
    if (page <= statusListPage || page >= filePages) return "its directory lies outside the file";
    const auto& header = file.at<const DirectoryHeader>(page);
    const std::uint64_t generation = header.generation.load(std::memory_order_acquire);
    const std::uint64_t depth = generation >> 32;
    if (header.magic.load(std::memory_order_acquire) != directoryMagic ||
        header.statusId.load(std::memory_order_acquire) != statusId ||
        static_cast<std::uint32_t>(generation) != root >> 32 || depth > maxDirectoryDepth ||
        pagesOf(static_cast<unsigned>(depth)) > filePages - page) {
        return "its directory is damaged";
    }
    std::vector<std::uint64_t> words{directoryMagic, statusId, generation};
    words.resize(words.size() + (std::size_t{1} << depth));
    const Word* const shared = &header.checksum + 1;
    for (std::size_t i = 3; i < words.size(); ++i) {
        words[i] = shared[i - 3].load(std::memory_order_acquire);
    }
    if (checksum(0xffffffff, words.data(), words.size()) !=
        header.checksum.load(std::memory_order_acquire)) {
        return "its directory is damaged";
    }
    depth_ = static_cast<unsigned>(depth);
    generation_ = static_cast<std::uint32_t>(generation);
    extents_.clear();
    for (std::size_t i = 3; i < words.size(); ++i) {
        extents_.push_back(
            {static_cast<PageNumber>(words[i]), static_cast<PageNumber>(words[i] >> 32)});
    }
    return check(filePages);
}

std::string Directory::check(PageNumber filePages) const {
    std::set<PageNumber> seen;
    for (std::uint32_t i = 0; i < size(); i = run(i).end) {
        const Extent extent = at(i);
        if (extent.page <= statusListPage || extent.page >= filePages ||
            extent.pages > filePages - extent.page) {
            return "a segment lies outside the file";
        }
        if (!std::has_single_bit(extent.pages) || extent.pages > maxSegmentPages ||
            !seen.insert(extent.page).second) {
            return "its directory makes no sense";
        }
    }
    return {};
}

std::uint64_t Directory::store(const TableFile& file, PageNumber page, std::uint64_t statusId) {
    ++generation_;
    const std::uint64_t generation = std::uint64_t{depth_} << 32 | generation_;
    std::vector<std::uint64_t> words{directoryMagic, statusId, generation};
    for (const Extent extent : extents_)
        words.push_back(packed(extent));
    auto& header = file.at<DirectoryHeader>(page);
    header.magic.store(words[0], std::memory_order_release);
    header.statusId.store(words[1], std::memory_order_release);
    header.generation.store(words[2], std::memory_order_release);
    header.checksum.store(checksum(0xffffffff, words.data(), words.size()),
                          std::memory_order_release);
    Word* const shared = &header.checksum + 1;
    for (std::size_t i = 3; i < words.size(); ++i) {
        shared[i - 3].store(words[i], std::memory_order_release);
    }
    return std::uint64_t{generation_} << 32 | page;
}

Directory::Run Directory::run(std::uint32_t index) const {
    Run run{index, index + 1};
    while (run.first > 0 && at(run.first - 1) == at(index))
        --run.first;
    while (run.end < size() && at(run.end) == at(index))
        ++run.end;
    return run;
}

void Directory::doubled() {
    std::vector<Extent> twice;
    twice.reserve(extents_.size() * 2);
    for (const Extent extent : extents_)
        twice.insert(twice.end(), 2, extent);
    extents_ = std::move(twice);
    ++depth_;
}

void Directory::runIs(Run run, Extent extent) {
    std::fill(extents_.begin() + run.first, extents_.begin() + run.end, extent);
}

}  // namespace Routing::Gmp::Tessel::Storage
