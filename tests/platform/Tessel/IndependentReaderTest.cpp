#include <array>
#include <cstdio>
#include <memory>
#include <sstream>

#include "ChosenKeys.h"

namespace Tessel::Test {

namespace {

/// What a program prints; its failure is one of the test.
std::string outputOf(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
    std::string output;
    std::array<char, 4096> some{};
    for (std::size_t got = 0; (got = fread(some.data(), 1, some.size(), pipe)) != 0;) {
        output.append(some.data(), got);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

std::string hex(const void* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        std::array<char, 3> two{};
        std::snprintf(two.data(), two.size(), "%02x", static_cast<const unsigned char*>(bytes)[i]);
        text += two.data();
    }
    return text;
}

std::string text(const Ondel::IpGenAddr& address) {
    return std::to_string(static_cast<int>(address.family())) + ":" +
           hex(address.bytes().data(), address.bytes().size());
}

/// The table as our own reader sees it, in the words of the independent one.
std::vector<std::string> linesOf(const TableReader& reader) {
    std::vector<std::string> lines;
    for (StatusReader& status : reader.statuses().readers) {
        const auto name = status.key().vrfName.text();
        for (const Membership& one : status) {
            std::ostringstream line;
            line << hex(name.data(), name.size()) << " " << static_cast<int>(status.key().app)
                 << " " << Ondel::VlanIntfId::vlanId(one.key().intf) << " "
                 << text(one.key().source) << " " << text(one.key().group) << " "
                 << static_cast<int>(one.filterMode());
            lines.push_back(line.str());
        }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

/// The table as the independent reader sees it.
std::vector<std::string> independentLinesOf(const std::filesystem::path& directory) {
    std::istringstream output(
        outputOf("python3 '" TESSEL_TESTS_DIR "/read_table.py' " + directory.string()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);)
        lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST(IndependentReader, WrittenFromTheFormatsPageAloneReadsTheSame) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    for (std::uint32_t i = 0; i < 7000; ++i) {
        red->membershipIs({numberedKey(i), static_cast<FilterMode>(i % 2)});
    }
    for (std::uint32_t i = 0; i < 7000; i += 3)
        red->membershipDel(numberedKey(i));
    const auto blue = statusOf(*coll, vrf("b\n/\xff", App::gmp));
    blue->membershipIs(include(key(4094, "2001:db8::1", "ff3e::1")));
    blue->membershipIs(exclude(key(1, "::", "ff3e::1")));
    blue->membershipIs(include({numberedKey(1).intf, {}, {}}));
    statusOf(*coll, vrf("empty"));

    const auto lines = independentLinesOf(directory.path());
    EXPECT_EQ(lines.size(), 7000u - 2334u + 3u);
    EXPECT_EQ(lines, linesOf(TableReader(directory.path())));
}

using IndependentReaderOfChosenKeys = ChosenKeys;

TEST_F(IndependentReaderOfChosenKeys, ReadsTheSameBelowTwoNodes) {
    deepen();
    deepen();
    ASSERT_EQ(seen().levels(), 3u);
    const auto lines = independentLinesOf(directory.path());
    EXPECT_EQ(lines.size(), inserted.size());
    EXPECT_EQ(lines, linesOf(TableReader(directory.path())));
}

}  // namespace

}  // namespace Tessel::Test
