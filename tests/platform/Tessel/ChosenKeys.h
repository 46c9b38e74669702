// Keys that a host chose so that the table's hash, whose seeds everybody may read, is the same for
// all of them or begins or ends alike, or that collide in a node that was made for such keys.
#pragma once

#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "Fixture.h"
#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/Segment.h"

namespace Tessel::Test {

namespace Storage = Routing::Gmp::Tessel::Storage;

/// The directory of the first status of a table, as a reader sees it, and where keys are in it.
class SeenDirectory {
  public:
    explicit SeenDirectory(const std::filesystem::path& table)
        : file_(Rix::FileDescriptor(::open(table.c_str(), O_RDONLY | O_CLOEXEC)), table.string(),
                Storage::TableFile::Access::read, Storage::TableFile::Size::growing),
          header_(Storage::checkedHeader(file_)) {
        const auto& entry = file_.at<const Storage::StatusEntry>(header_.dimensions.statusPage());
        id_ = entry.id.load();
        const std::string problem = nodes_.load(file_, header_.dimensions.firstPages(),
                                                file_.pages(), entry.root.load(), id_);
        if (!problem.empty()) throw std::runtime_error(problem);
    }

    std::uint32_t nodes() const { return static_cast<std::uint32_t>(nodes_.nodes().size()); }
    std::uint32_t segments() const { return nodes_.segments(); }
    unsigned levels() const {
        unsigned most = 0;
        for (std::uint32_t node = 0; node < nodes(); ++node)
            most = std::max(most, nodes_.levelOf(node));
        return most;
    }
    /// Whether a key is one of a few whose search begins at the first group of a segment of a node
    /// below the root. In the root, those that were chosen are alike anyway.
    bool isCrowding(const RouteIntfKey& key) const {
        constexpr std::uint64_t few = (std::uint64_t{1} << 32) / 400;
        const Storage::KeyWords words = Storage::keyWords(key);
        const auto spot = nodes_.locate(words, Storage::hashOf(words, header_.hashSeed));
        return spot.node == 0 || (spot.hash & 0xffffffff) < few;
    }
    /// How many groups are looked at until a key is found that is there.
    std::uint32_t distance(const RouteIntfKey& key) const {
        const Storage::KeyWords words = Storage::keyWords(key);
        const auto spot = nodes_.locate(words, Storage::hashOf(words, header_.hashSeed));
        const Storage::ConstSegment view = segment(spot);
        const auto found =
            Storage::searchSegment(view, words, spot.hash, Storage::statusChecksum(id_));
        if (found.kind != Storage::SearchResult::Kind::live) throw std::runtime_error("not there");
        const std::uint32_t from = view.homePlace(spot.hash) / Storage::groupPlaces;
        const std::uint32_t to = found.place / Storage::groupPlaces;
        return (to + view.groups() - from) % view.groups() + 1;
    }

  private:
    Storage::ConstSegment segment(const Storage::Directory::Spot& spot) const {
        const auto extent = spot.entry.extent();
        return {file_.page(extent.page), Storage::segmentGroups(extent.pages),
                Storage::segmentSalt(Storage::statusChecksum(id_), extent.page)};
    }

    const Storage::TableFile file_;
    const Storage::CheckedHeader header_;
    std::uint64_t id_ = 0;
    Storage::Directory nodes_;
};

class ChosenKeys : public ::testing::Test {
  protected:
    ChosenKeys() {
        Storage::Header header{};
        std::ifstream(directory.table(), std::ios::binary)
            .read(reinterpret_cast<char*>(&header), sizeof header);
        std::memcpy(seeds.data(), header.hashSeed, sizeof header.hashSeed);
    }

    static RouteIntfKey ofWords(std::uint64_t first, std::uint64_t second, std::uint64_t group) {
        Ondel::IpGenAddr::Bytes source{};
        Ondel::IpGenAddr::Bytes groupBytes{0xff, 0x0e};
        std::memcpy(source.data(), &first, 8);
        std::memcpy(source.data() + 8, &second, 8);
        std::memcpy(groupBytes.data() + 8, &group, 8);
        const auto ipv6 = Ondel::IpGenAddr::Family::ipv6;
        return {Ondel::VlanIntfId::vlanIdToIntfId(10), {ipv6, source}, {ipv6, groupBytes}};
    }
    std::uint64_t hashOf(const RouteIntfKey& key) const {
        return Storage::hashOf(Storage::keyWords(key), seeds);
    }
    /// One of many sources that all give the same hash, another one for each group: half of it
    /// cancels the other half.
    RouteIntfKey ofOneHash(std::uint32_t number, std::uint64_t group = 1) const {
        return ofWords(seeds[0], 0x1000 + number, group);
    }
    SeenDirectory seen() const { return SeenDirectory(directory.table()); }
    /// Inserts keys of one hash that all collide once more where they come to, until the directory
    /// has another node.
    void deepen(std::uint64_t group = 1) {
        const std::uint32_t before = seen().nodes();
        for (int rounds = 0; seen().nodes() == before; ++rounds) {
            if (rounds == 1000) throw std::runtime_error("no deeper");
            crowd(group, 30);
        }
    }
    /// Inserts so many of them.
    void crowd(std::uint64_t group, int count) {
        for (const SeenDirectory now = seen(); count > 0; ++next) {
            const RouteIntfKey key = ofOneHash(next, group);
            if (!now.isCrowding(key)) continue;
            red->membershipIs(include(key));
            inserted.push_back(include(key));
            --count;
        }
    }
    /// Whether writer, reader, check and the next writer find what was inserted so.
    void expectInserted() {
        std::sort(inserted.begin(), inserted.end());
        auto status = TableReader(directory.path()).status(vrf("red")).value();
        for (const Membership& membership : inserted)
            ASSERT_TRUE(status.membership(membership.key()).isPresent);
        EXPECT_EQ(sorted(status), inserted);
        EXPECT_EQ(sorted(*red), inserted);
        EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
        red = nullptr;
        coll = nullptr;
        coll = StatusColl::open(directory.path());
        red = coll->gmpStatus(vrf("red"));
        EXPECT_EQ(sorted(*red), inserted);
    }

    const TempDirectory directory;
    Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    Storage::HashSeed seeds{};
    std::uint32_t next = 0;
    std::vector<Membership> inserted;
};

}  // namespace Tessel::Test
