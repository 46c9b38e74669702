#include <set>

#include "Fixture.h"

namespace Tessel::Test {

namespace {

const std::vector<std::string>& hostileNames() {
    static const std::vector<std::string> names = {
        "",
        "/",
        "..",
        "../../etc/passwd",
        "a/b",
        "with blanks ",
        "new\nline",
        std::string("nul\0inside", 10),
        "red",
        "Red",
        "RED",
        "red.irb",
        std::string(100, 'x'),
        // 100 bytes: 33 letters of three bytes and one of one.
        [] {
            std::string text;
            for (int i = 0; i < 33; ++i)
                text += "\xe7\xb6\xb2";
            return text + "n";
        }(),
        std::string(100, '\xff'),
        "table",
        "writer",
        "*?[]{}$(reboot)`%s%n",
    };
    return names;
}

TEST(HostileVrfNames, HaveAStatusOfTheirOwnEachAndOutliveTheWriter) {
    const TempDirectory directory;
    {
        const auto coll = StatusColl::open(directory.path());
        for (std::uint32_t i = 0; i < hostileNames().size(); ++i) {
            statusOf(*coll, vrf(hostileNames()[i]))->membershipIs(include(numberedKey(i)));
        }
        EXPECT_EQ(coll->gmpStatuses(), hostileNames().size());
    }
    const auto coll = StatusColl::open(directory.path());
    TableReader reader(directory.path());
    for (std::uint32_t i = 0; i < hostileNames().size(); ++i) {
        const VrfApp key = vrf(hostileNames()[i]);
        const std::vector<Membership> expected = {include(numberedKey(i))};
        ASSERT_TRUE(coll->gmpStatus(key)) << key;
        EXPECT_EQ(coll->gmpStatus(key)->name(), hostileNames()[i] + ".irb");
        EXPECT_EQ(sorted(*coll->gmpStatus(key)), expected);
        EXPECT_EQ(sorted(*reader.status(key)), expected);
    }
}

TEST(HostileVrfNames, NeverLeaveTheDirectory) {
    const TempDirectory directory;
    const auto inner = directory.path() / "inner";
    const auto coll = StatusColl::open(inner);
    for (const std::string& name : hostileNames())
        statusOf(*coll, vrf(name));
    std::set<std::string> files;
    for (const auto& file : std::filesystem::recursive_directory_iterator(directory.path())) {
        files.insert(std::filesystem::relative(file.path(), directory.path()));
    }
    EXPECT_EQ(files,
              (std::set<std::string>{"inner", "inner/table", "inner/writer", "inner/sleepers"}));
}

}  // namespace

}  // namespace Tessel::Test
