// Tables whose every checksum is right and whose content makes no sense: what no flipped bit makes,
// but a faulty writer could.
#pragma once

#include <bit>
#include <cstddef>
#include <fstream>

#include "Fixture.h"
#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"
#include "Routing/Gmp/Tessel/Storage/Checksum.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Segment.h"

namespace Tessel::Test {

namespace Storage = Routing::Gmp::Tessel::Storage;

inline constexpr std::size_t wordsAPage = Storage::pageBytes / 8;
inline constexpr std::size_t wordsAnEntry = sizeof(Storage::StatusEntry) / 8;
inline constexpr std::size_t rootInEntry = offsetof(Storage::StatusEntry, root) / 8;
inline constexpr std::size_t nodesInDirectory = sizeof(Storage::DirectoryHeader) / 8;
inline constexpr std::size_t entriesInDirectory = nodesInDirectory + Storage::nodeHeaderWords;

// Words of the control page.
inline constexpr std::size_t changesWord = Storage::controlPage * wordsAPage;
inline constexpr std::size_t statusPagesWord =
    changesWord + offsetof(Storage::Control, statusPages) / 8;
inline constexpr std::size_t lastStatusWord =
    changesWord + offsetof(Storage::Control, lastStatus) / 8;

constexpr std::uint64_t extent(std::uint64_t page, std::uint64_t pages, std::uint64_t number = 0) {
    return number << 40 | pages << 32 | page;
}

/// The words of a table's file, to be changed and sealed again with their checksums.
class Crafted {
  public:
    explicit Crafted(std::filesystem::path path)
        : path_(std::move(path)), words_(std::filesystem::file_size(path_) / 8) {
        std::ifstream(path_, std::ios::binary)
            .read(reinterpret_cast<char*>(words_.data()), bytes());
    }
    Crafted(const Crafted&) = delete;
    Crafted& operator=(const Crafted&) = delete;
    /// Writes everything back, in place.
    ~Crafted() {
        std::fstream(path_, std::ios::in | std::ios::out | std::ios::binary)
            .write(reinterpret_cast<const char*>(words_.data()), bytes());
    }

    std::uint64_t& word(std::size_t place) { return words_.at(place); }
    std::uint8_t& byte(std::size_t place) {
        return reinterpret_cast<std::uint8_t*>(words_.data())[place];
    }
    std::uint64_t pages() const { return words_.size() / wordsAPage; }

    Storage::Dimensions dimensions() const { return {static_cast<std::uint32_t>(words_[2] >> 32)}; }
    /// The first word of the status in one of the places of the first page of entries.
    std::size_t entry(std::size_t place) const {
        return dimensions().statusPage() * wordsAPage + place * wordsAnEntry;
    }
    std::size_t directory(std::size_t place) const {
        return (words_[entry(place) + rootInEntry] & 0xffffffff) * wordsAPage;
    }
    /// The first page of its first segment.
    std::uint64_t segmentPage(std::size_t place) const {
        return words_[directory(place) + entriesInDirectory] & 0xffffffff;
    }

    void sealHeader() {
        words_[9] &= 0xffffffff;
        words_[9] |= std::uint64_t{checksumOf(0, 10)} << 32;
    }
    void sealIdentity(std::size_t place) {
        const std::size_t first = entry(place) + 1;
        words_[first + 1] &= 0xffffffff;
        words_[first + 1] |= std::uint64_t{checksumOf(first, 15)} << 32;
    }
    /// Gives a directory one node of these entries, whose number is a power of two.
    void directoryIs(std::size_t place, const std::vector<std::uint64_t>& entries,
                     std::uint64_t segments) {
        std::vector<std::uint64_t> nodes{
            static_cast<std::uint64_t>(std::countr_zero(entries.size())), 0, 0};
        nodes.insert(nodes.end(), entries.begin(), entries.end());
        nodesAre(place, nodes, 1, segments);
    }
    void nodesAre(std::size_t place, const std::vector<std::uint64_t>& nodes, std::uint64_t number,
                  std::uint64_t segments) {
        const std::size_t first = directory(place);
        words_[first + 2] = number << 32 | (words_[first + 2] & 0xffffffff);
        words_[first + 3] = segments << 32 | nodes.size();
        std::vector<std::uint64_t> checked(&words_[first], &words_[first + 4]);
        checked.insert(checked.end(), nodes.begin(), nodes.end());
        words_[first + 4] =
            Storage::paired(Storage::checksum(0xffffffff, checked.data(), checked.size()));
        std::copy(nodes.begin(), nodes.end(), &words_[first + nodesInDirectory]);
    }
    /// The first word of the latest change in the log.
    std::size_t latestChange() const {
        const std::uint64_t changes = words_[Storage::controlPage * wordsAPage];
        return Storage::logPage * wordsAPage + (changes - 1) % dimensions().logEntries * 8;
    }
    void sealChange(std::size_t first) {
        words_[first + 7] &= ~std::uint64_t{0xffffffff};
        words_[first + 7] |= checksumOf(first, 8);
    }

  private:
    std::streamsize bytes() const { return static_cast<std::streamsize>(words_.size() * 8); }
    std::uint32_t checksumOf(std::size_t first, std::size_t count) const {
        return Storage::checksum(0xffffffff, &words_[first], count);
    }

    const std::filesystem::path path_;
    std::vector<std::uint64_t> words_;
};

class CraftedTable : public ::testing::Test {
  protected:
    /// Closed, with a status red in place 0 and a status blue in place 1.
    CraftedTable() {
        const auto coll = StatusColl::open(directory.path(), {}, TableOptions{64});
        statusOf(*coll, vrf("red"))->membershipIs(include(numberedKey(1)));
        statusOf(*coll, vrf("blue"))->membershipIs(include(numberedKey(2)));
    }

    /// A report without the file's name, which it must start with.
    std::string withoutPath(const std::string& text) const {
        const std::string begin = directory.table().string() + ": ";
        EXPECT_TRUE(text.starts_with(begin)) << text;
        return text.starts_with(begin) ? text.substr(begin.size()) : text;
    }
    /// Why neither writer nor reader opens the table.
    std::string refusal() const {
        EXPECT_THROW(TableReader(directory.path()), Rix::CorruptionError);
        try {
            StatusColl::open(directory.path());
        } catch (const Rix::CorruptionError& error) {
            return withoutPath(error.what());
        }
        return "opened";
    }
    /// What the check finds.
    std::vector<std::string> faults() const {
        std::vector<std::string> all;
        for (const std::string& fault : TableReader(directory.path()).faults())
            all.push_back(withoutPath(fault));
        return all;
    }
    /// What a writer reports when it opens the table. The status blue is as it was, and the check
    /// finds nothing any more.
    std::vector<std::string> reportsOfStart() const {
        std::vector<std::string> reports;
        const auto coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view message) {
            reports.push_back(withoutPath(std::string(message)));
        });
        for (const auto& [key, status] : *coll)
            EXPECT_EQ(sorted(*status).size(), status->memberships());
        const auto blue = coll->gmpStatus(vrf("blue"));
        EXPECT_TRUE(blue);
        if (!blue) return reports;
        EXPECT_EQ(sorted(*blue), std::vector<Membership>{include(numberedKey(2))});
        EXPECT_EQ(faults(), Texts());
        return reports;
    }
    using Texts = std::vector<std::string>;
    Crafted craft() const { return Crafted(directory.table()); }

    const TempDirectory directory;
};

/// Places of a segment of one page: one that is live, one that was and one that never was.
struct Places {
    std::size_t live = 0;
    std::size_t removed = 0;
    std::size_t unused = 0;
};

inline constexpr std::uint32_t groups = Storage::segmentGroups(1);

/// The first byte of a record in a segment.
inline std::size_t record(std::size_t segment, std::size_t place) {
    return segment + Storage::recordsOffset(groups) + place * sizeof(Storage::Record);
}

/// The byte of a place's tag in a segment.
inline std::size_t tagByte(std::size_t segment, std::size_t place) {
    return segment + place / Storage::wordPlaces * 8 + place % Storage::wordPlaces;
}

inline std::uint8_t tagAt(Crafted& table, std::size_t segment, std::size_t place) {
    return table.byte(tagByte(segment, place)) & 0x7f;
}

/// Gives a place of the status in place 0 a tag, in a sound word.
inline void tagIs(Crafted& table, std::size_t place, std::uint8_t tag) {
    const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
    const std::size_t number = place / Storage::wordPlaces;
    std::uint8_t& byte = table.byte(tagByte(segment, place));
    byte = static_cast<std::uint8_t>((byte & 0x80) | tag);
    std::uint64_t& word = table.word(segment / 8 + number);
    const std::uint32_t salt =
        Storage::segmentSalt(Storage::statusChecksum(table.word(table.entry(0) + 1)),
                             static_cast<Storage::PageNumber>(table.segmentPage(0)));
    word = Storage::sealedTags(word & Storage::tagBits, salt + static_cast<std::uint32_t>(number));
}

inline Places placesOf(Crafted& table, std::size_t segment) {
    constexpr std::uint8_t removedKind = 2;
    Places places;
    for (std::size_t place = 0; place < std::size_t{groups} * Storage::groupPlaces; ++place) {
        const std::uint8_t tag = tagAt(table, segment, place);
        const std::uint8_t kind =
            table.byte(record(segment, place) + offsetof(Storage::Record, state) + 5);
        if (kind == removedKind) {
            places.removed = place;
        } else {
            (tag == Storage::emptyTag ? places.unused : places.live) = place;
        }
    }
    return places;
}

}  // namespace Tessel::Test
