#include <gtest/gtest.h>

#include "Ondel/IpGenAddr.h"

namespace Ondel {
namespace {

IpGenAddr address(const char* text) {
    return IpGenAddr::parse(text).value();
}

TEST(IpGenAddr, PrintsAsItsStandardsSay) {
    for (const char* text :
         {"239.1.1.1", "0.0.0.0", "255.255.255.255", "::", "::1", "ff3e::1", "2001:db8::1:0:0:1",
          "2001:db8:0:1:1:1:1:1", "1::", "::ffff:10.0.0.1", "1:2:3:4:5:6:7:8", "2001:0:0:1::1"}) {
        EXPECT_EQ(address(text).text(), text);
    }
    EXPECT_EQ(address("2001:DB8:0:0:1:0:0:1").text(), "2001:db8::1:0:0:1");
    EXPECT_EQ(address("0:0:0:0:0:0:a00:1").text(), "::a00:1");
    EXPECT_EQ(IpGenAddr().text(), "none");
}

TEST(IpGenAddr, RefusesWhatIsNoAddress) {
    for (const char* text : {"", "10.0.0", "10.0.0.256", "010.0.0.1", ":::", "ff3e::1%eth0", "x"}) {
        EXPECT_FALSE(IpGenAddr::parse(text)) << text;
    }
    EXPECT_FALSE(IpGenAddr::parse(std::string_view("10.0.0.1\0", 9)));
}

TEST(IpGenAddr, TheZeroAddressOfEitherFamilyIsAnySource) {
    EXPECT_TRUE(address("0.0.0.0").isUnspecified());
    EXPECT_TRUE(address("::").isUnspecified());
    EXPECT_FALSE(address("0.0.0.0").isSpecificSource());
    EXPECT_FALSE(address("::").isSpecificSource());
    EXPECT_EQ(address("::"), IpGenAddr::zero(IpGenAddr::Family::ipv6));
    EXPECT_TRUE(address("::1").isSpecificSource());
    EXPECT_FALSE(address("::1").isUnspecified());
}

TEST(IpGenAddr, AnAddressOfNoFamilyIsNeitherUnspecifiedNorASourceAndEqualsNoOther) {
    EXPECT_FALSE(IpGenAddr().isUnspecified());
    EXPECT_FALSE(IpGenAddr().isSpecificSource());
    EXPECT_NE(IpGenAddr(), address("0.0.0.0"));
    EXPECT_NE(address("0.0.0.0"), address("::"));
}

}  // namespace
}  // namespace Ondel
