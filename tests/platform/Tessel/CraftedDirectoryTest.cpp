#include "Crafted.h"

namespace Tessel::Test {

namespace {

/// The status red with a directory that is sealed and makes no sense. Its memberships are lost, and
/// nothing else.
class CraftedDirectory : public CraftedTable {
  protected:
    void expectLost(const std::string& why) const {
        EXPECT_EQ(faults(), Texts{"status 'red.irb': " + why});
        EXPECT_TRUE(sorted(TableReader(directory.path()).status(vrf("red")).value()).empty());
        EXPECT_EQ(reportsOfStart(),
                  Texts{"status 'red.irb': " + why + "; its memberships are lost"});
    }
};

TEST_F(CraftedDirectory, WithASegmentOutsideItsFile) {
    const std::uint64_t pages = craft().pages();
    craft().directoryIs(0, {extent(pages - 1, 2)}, 1);
    expectLost("a segment lies outside the file");
}

TEST_F(CraftedDirectory, WithASegmentInsideTheChangeLog) {
    craft().directoryIs(0, {extent(Storage::logPage + 5, 1)}, 1);
    expectLost("a segment lies outside the file");
}

TEST_F(CraftedDirectory, WithASegmentOfAnImpossibleLength) {
    craft().directoryIs(0, {extent(craft().segmentPage(0), 3)}, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithASegmentAtTwoPlaces) {
    const std::uint64_t a = craft().segmentPage(0);
    const std::uint64_t b = craft().pages() - 1;
    craft().directoryIs(0, {extent(a, 1), extent(b, 1, 1), extent(a, 1), extent(b, 1, 1)}, 2);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithTwoSegmentsOfOneNumber) {
    const std::uint64_t a = craft().segmentPage(0);
    craft().directoryIs(0, {extent(a, 1), extent(craft().pages() - 1, 1)}, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithANodeThatNamesItself) {
    craft().directoryIs(0, {Storage::nodeEntryBit}, 0);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithANodeThatNobodyNames) {
    const std::uint64_t a = craft().segmentPage(0);
    craft().nodesAre(0, {0, 0, 0, extent(a, 1), 0, 7, 7, extent(craft().pages() - 1, 1, 1)}, 2, 2);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithMoreNodesThanItHasRoomFor) {
    craft().nodesAre(0, {0, 0, 0, extent(craft().segmentPage(0), 1)}, 3, 1);
    expectLost("its directory is damaged");
}

TEST_F(CraftedDirectory, WithMoreWordsThanItsNodesTake) {
    craft().nodesAre(0, {0, 0, 0, extent(craft().segmentPage(0), 1), 7}, 1, 1);
    expectLost("its directory is damaged");
}

TEST_F(CraftedDirectory, WithANodeDeeperThanAny) {
    craft().nodesAre(0, {Storage::maxDirectoryDepth + 1, 0, 0, extent(craft().segmentPage(0), 1)},
                     1, 1);
    expectLost("its directory is damaged");
}

TEST_F(CraftedDirectory, WithANodeThatEndsBehindIt) {
    craft().nodesAre(0, {3, 0, 0, extent(craft().segmentPage(0), 1)}, 1, 1);
    expectLost("its directory is damaged");
}

TEST_F(CraftedDirectory, WithANodeThatIsNotThere) {
    craft().directoryIs(0, {Storage::nodeEntryBit | 5}, 0);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithANodeThatIsNamedAndMore) {
    const std::uint64_t a = craft().segmentPage(0);
    const std::uint64_t more = std::uint64_t{1} << 40;
    craft().nodesAre(0, {0, 0, 0, Storage::nodeEntryBit | more | 1, 0, 7, 7, extent(a, 1)}, 2, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithANodeAtTwoPlaces) {
    const std::uint64_t node = Storage::nodeEntryBit | 1;
    const std::uint64_t a = extent(craft().segmentPage(0), 1);
    const std::uint64_t b = extent(craft().pages() - 1, 1, 1);
    craft().nodesAre(0, {2, 0, 0, node, a, node, a, 0, 7, 7, b}, 2, 2);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithMoreLevelsThanThereAre) {
    std::vector<std::uint64_t> nodes;
    for (std::uint64_t below = 1; below <= Storage::maxDirectoryLevels; ++below)
        nodes.insert(nodes.end(), {0, below, below, Storage::nodeEntryBit | below});
    nodes.insert(nodes.end(), {0, 7, 7, extent(craft().segmentPage(0), 1)});
    craft().nodesAre(0, nodes, Storage::maxDirectoryLevels + 1, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithASegmentLongerThanAny) {
    std::filesystem::resize_file(directory.table(),
                                 std::filesystem::file_size(directory.table()) + (1 << 20));
    craft().directoryIs(0, {extent(craft().pages() - 128, 128)}, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithASegmentOfANumberThatIsNotThere) {
    craft().directoryIs(0, {extent(craft().segmentPage(0), 1, 3)}, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithFewerSegmentsThanItSays) {
    craft().directoryIs(0, {extent(craft().segmentPage(0), 1)}, 2);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithSegmentsThatShareAPage) {
    const std::uint64_t end = craft().pages();
    craft().directoryIs(0, {extent(end - 2, 2), extent(end - 1, 1, 1)}, 2);
    expectLost("its directory makes no sense");
}

}  // namespace

}  // namespace Tessel::Test
