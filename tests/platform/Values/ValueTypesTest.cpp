#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Bridging/VlanId.h"
#include "Irb/Multicast/App/ClientInstance.h"
#include "Irb/Multicast/Domain.h"
#include "L3/VrfName.h"
#include "Multicast/Tunnel/McastTunnelIntfId.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/Collection.h"
#include "Rix/RangeError.h"
#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/MembershipChange.h"
#include "Routing/Gmp/Tessel/TableChange.h"
#include "Routing/Gmp/Tessel/VrfApp.h"
#include "Routing/Multicast/PegDrRole.h"

namespace {

template <class Function>
std::string rangeErrorOf(Function function) {
    try {
        function();
    } catch (const Rix::RangeError& error) {
        return error.what();
    }
    return "no range error";
}

TEST(VlanId, TakesOneTo4094AndNothingElse) {
    EXPECT_EQ(Bridging::VlanId(1).value(), 1);
    EXPECT_EQ(Bridging::VlanId(4094).value(), 4094);
    for (const std::uint32_t number : {0u, 4095u, 5000u, 65537u, 4294967295u}) {
        EXPECT_EQ(rangeErrorOf([&] { Bridging::VlanId{number}; }),
                  "Bridging::VlanId::value < 1 or > 4094 not allowed");
    }
}

TEST(VlanId, IsVlan1ByDefault) {
    EXPECT_EQ(Bridging::VlanId(), Bridging::VlanId(1));
}

TEST(VlanId, AnAbsentOneIsCarriedAsZero) {
    const Bridging::VlanId::Optional none;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.value(), 0);
    const Bridging::VlanId::Optional ten = Bridging::VlanId(10);
    EXPECT_TRUE(ten);
    EXPECT_EQ(*ten, Bridging::VlanId(10));
}

TEST(VrfName, Takes100BytesAndRefuses101) {
    EXPECT_EQ(L3::VrfName(std::string(100, 'v')).text().size(), 100u);
    EXPECT_EQ(rangeErrorOf([] { L3::VrfName{std::string(101, 'v')}; }),
              "Rix::String::bytes > maxLength() not allowed");
    EXPECT_EQ(L3::VrfName::maxLength(), 100u);
}

TEST(VrfName, TheEmptyNameMeansNoVrf) {
    EXPECT_TRUE(L3::VrfName().empty());
    EXPECT_FALSE(L3::VrfName());
    EXPECT_TRUE(L3::VrfName("red"));
}

TEST(IntfId, AVlanInterfaceIsNamedAfterItsVlanNumber) {
    for (const char* name : {"vlan0", "vlan10", "vlan4095", "vlan65535"}) {
        const Ondel::IntfId intf{name};
        EXPECT_TRUE(Ondel::VlanIntfId::isVlanIntfId(intf)) << name;
        EXPECT_EQ(intf.shortName(), name);
    }
    EXPECT_EQ(Ondel::VlanIntfId::vlanId(Ondel::IntfId("vlan65535")), 65535);
    EXPECT_EQ(Ondel::VlanIntfId::vlanIdToIntfId(10), Ondel::IntfId("vlan10"));
}

TEST(IntfId, EveryOtherNameIsALocalPort) {
    for (const char* name : {"swp1", "vlan", "vlan010", "vlan70000", "mtunnel01", "mtunnel",
                             "vlan-1", "vlan1x", "Vlan1", "mtunnel1073741824"}) {
        const Ondel::IntfId intf{name};
        EXPECT_EQ(intf.kind(), Ondel::IntfId::Kind::port) << name;
        EXPECT_EQ(intf.shortName(), name);
        EXPECT_EQ(intf, Ondel::IntfId{name});
    }
    EXPECT_NE(Ondel::IntfId("swp1"), Ondel::IntfId("swp2"));
}

TEST(IntfId, AMulticastTunnelInterfaceIsKnownByItsName) {
    EXPECT_TRUE(
        Multicast::Tunnel::McastTunnelIntfId::isMcastTunnelIntfId(Ondel::IntfId("mtunnel3")));
    EXPECT_FALSE(Multicast::Tunnel::McastTunnelIntfId::isMcastTunnelIntfId(Ondel::IntfId("swp3")));
    EXPECT_EQ(Ondel::IntfId("mtunnel1073741823").shortName(), "mtunnel1073741823");
}

TEST(IntfId, IsOfFourBytes) {
    EXPECT_EQ(sizeof(Ondel::IntfId), 4u);
}

TEST(IntfId, TheDefaultOneHasTheEmptyName) {
    EXPECT_EQ(Ondel::IntfId(), Ondel::IntfId(""));
    EXPECT_EQ(Ondel::IntfId().shortName(), "");
    EXPECT_FALSE(Ondel::VlanIntfId::isVlanIntfId(Ondel::IntfId()));
}

TEST(IntfId, ANameOver32BytesIsRefused) {
    EXPECT_EQ(Ondel::IntfId(std::string(32, 'x')).shortName().size(), 32u);
    EXPECT_THROW(Ondel::IntfId(std::string(33, 'x')), Rix::RangeError);
}

TEST(ClientInstance, IsDerivedFromTheName) {
    using Irb::Multicast::App::ClientInstance;
    EXPECT_EQ(ClientInstance("default").value(), 1);
    EXPECT_EQ(ClientInstance("vxlan").value(), 2);
    EXPECT_EQ(ClientInstance("mpls").value(), 3);
    EXPECT_EQ(ClientInstance("vxlanMpls").value(), 4);
    EXPECT_EQ(ClientInstance("proxy").value(), 5);
    EXPECT_EQ(ClientInstance("standalone").value(), 6);
    EXPECT_EQ(ClientInstance("").value(), 0);
    EXPECT_EQ(ClientInstance("Standalone").value(), 0);
}

/// The numbers that recordings, the table and other agents write.
TEST(Enumerations, HaveTheNumbersThatOthersWrite) {
    using Irb::Multicast::Domain;
    using Routing::Gmp::Tessel::App;
    using Routing::Gmp::Tessel::FilterMode;
    using Routing::Multicast::PegDrRole;
    const auto numbers = [](auto... values) { return std::vector{static_cast<int>(values)...}; };
    EXPECT_EQ(numbers(Domain::unknown, Domain::vxlan, Domain::mpls), (std::vector{0, 1, 2}));
    EXPECT_EQ(numbers(PegDrRole::none, PegDrRole::dr, PegDrRole::nonDr), (std::vector{0, 1, 2}));
    EXPECT_EQ(numbers(App::none, App::irb, App::gmp, App::staticJoin), (std::vector{0, 1, 2, 3}));
    EXPECT_EQ(numbers(FilterMode::exclude, FilterMode::include), (std::vector{0, 1}));
    EXPECT_EQ(sizeof(Domain) + sizeof(PegDrRole) + sizeof(App) + sizeof(FilterMode), 4u);
}

TEST(App, HasATextThatNamesStatuses) {
    using namespace Routing::Gmp::Tessel;
    EXPECT_EQ(stringValue(App::none), "none");
    EXPECT_EQ(stringValue(App::irb), "irb");
    EXPECT_EQ(stringValue(App::gmp), "gmp");
    EXPECT_EQ(stringValue(App::staticJoin), "static");
    EXPECT_EQ(stringValue(App{77}), "app77");
    EXPECT_EQ((VrfApp{L3::VrfName("red"), App::irb}.name()), "red.irb");
}

TEST(VrfApp, IsHashedWithItsSeedAndComparedFieldByField) {
    using namespace Routing::Gmp::Tessel;
    const VrfApp red{L3::VrfName("red"), App::irb};
    EXPECT_EQ(red.hash(1), (VrfApp{L3::VrfName("red"), App::irb}.hash(1)));
    EXPECT_NE(red.hash(1), red.hash(2));
    EXPECT_NE(red, (VrfApp{L3::VrfName("red"), App::gmp}));
    EXPECT_NE(red, (VrfApp{L3::VrfName("blue"), App::irb}));
}

TEST(VlanId, IsPrintedAsANumberAlsoWhereItIsAbsent) {
    std::ostringstream text;
    text << Bridging::VlanId(10) << ' ' << Bridging::VlanId::Optional() << ' '
         << Bridging::VlanId::Optional(Bridging::VlanId(20));
    EXPECT_EQ(text.str(), "10 0 20");
}

TEST(VrfApp, IsPrintedAsTheNameOfItsStatus) {
    using namespace Routing::Gmp::Tessel;
    std::ostringstream text;
    text << VrfApp{L3::VrfName("red"), App::gmp} << ' ' << L3::VrfName("blue") << ' ' << App{9};
    EXPECT_EQ(text.str(), "red.gmp blue app9");
}

TEST(IntfId, IsOrderedByKindAndNumber) {
    EXPECT_LT(Ondel::IntfId("vlan9"), Ondel::IntfId("vlan10"));
    EXPECT_GT(Ondel::IntfId("vlan10"), Ondel::IntfId("vlan9"));
}

TEST(IntfId, OnlyALocalPortHasANameOfItsOwn) {
    EXPECT_EQ(Ondel::IntfId("swp1").portName(), "swp1");
    EXPECT_EQ(Ondel::IntfId("vlan10").portName(), "");
}

TEST(Values, OfManyKeysAreFoundInACollection) {
    Rix::Collection<Bridging::VlanId, int> vlans;
    Rix::Collection<Ondel::IntfId, int> intfs;
    Rix::Collection<Ondel::IpGenAddr, int> addresses;
    Rix::Collection<L3::VrfName, int> vrfs;
    for (int i = 1; i <= 100; ++i) {
        const std::string number = std::to_string(i);
        vlans.valueIs(Bridging::VlanId(static_cast<std::uint32_t>(i)), i);
        intfs.valueIs(Ondel::IntfId("swp" + number), i);
        addresses.valueIs(*Ondel::IpGenAddr::parse("10.0.0." + number), i);
        vrfs.valueIs(L3::VrfName("vrf" + number), i);
    }
    EXPECT_EQ(vlans.get(Bridging::VlanId(77)), 77);
    EXPECT_EQ(intfs.get(Ondel::IntfId("swp77")), 77);
    EXPECT_EQ(addresses.get(*Ondel::IpGenAddr::parse("10.0.0.77")), 77);
    EXPECT_EQ(vrfs.get(L3::VrfName("vrf77")), 77);
    EXPECT_EQ(vrfs.get(L3::VrfName("vrf101")), 0);
}

TEST(Changes, AreEqualWhereEveryPartOfThemIs) {
    using namespace Routing::Gmp::Tessel;
    const MembershipChange change{{L3::VrfName("red"), App::irb}, {}, FilterMode::include, {}};
    MembershipChange other = change;
    EXPECT_EQ(other, change);
    other.before = FilterMode::exclude;
    EXPECT_NE(other, change);
    other = change;
    other.status.app = App::gmp;
    EXPECT_NE(other, change);
    EXPECT_NE((TableChange{TableChange::Kind::statusAdded, change}),
              (TableChange{TableChange::Kind::membership, change}));
    EXPECT_EQ((TableChange{TableChange::Kind::membership, change}),
              (TableChange{TableChange::Kind::membership, change}));
}

TEST(Membership, TheDefaultRecordHasFilterModeZero) {
    using namespace Routing::Gmp::Tessel;
    EXPECT_EQ(static_cast<int>(Membership().filterMode()), 0);
    EXPECT_EQ(Membership().key(), RouteIntfKey());
}

}  // namespace
