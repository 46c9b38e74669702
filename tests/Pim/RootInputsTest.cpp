// A machine that lacks one of its inputs, and what the toggles choose among the others.
#include "Pim/TwoJoins.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// In the VRF red, a host on VLAN 10, and one behind a tunnel on the SBD VLAN 100, where this
/// router is DR; in the VRF blue, one behind a tunnel on the SBD VLAN 200, where PIM runs.
class RootWithoutAnInput : public TwoJoins {
  protected:
    enum Input { joins, pegDrs, interfaces, vxlanMaps, pims, mplsMaps, statusTable };

    void startWithout(Input missing) {
        const auto unless = [&](Input input, const auto& reference) {
            return input == missing ? nullptr : reference;
        };
        machine = inside(MembershipJoinStatusSm::MembershipJoinStatusSmIs(
            domain, unless(joins, membershipJoinStatus), unless(pegDrs, pegDrStatus),
            unless(interfaces, l3IntfStatusDir), unless(vxlanMaps, enabledStatus),
            unless(pims, pimStatusColl), unless(statusTable, gmpStatusLocalColl),
            unless(mplsMaps, gmpProxyStatus), app));
    }

    void happen() {
        redWithTwoJoins();
        bind("vlan200", "blue");
        sbd("blue", 200);
        pim("blue", {"vlan200"});
        join(200, "239.1.1.1", "10.0.0.1", "mtunnel1");
    }

    /// The same whether all of it happened before the start or happens after it.
    Texts tableWithout(Input missing, bool beforeTheStart) {
        if (beforeTheStart) happen();
        startWithout(missing);
        if (!beforeTheStart) happen();
        return table();
    }

    const std::string host200 = "blue.irb vlan200 (10.0.0.1, 239.1.1.1) include";
};

class RootWithoutAnInputSoonerOrLater : public RootWithoutAnInput,
                                        public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(, RootWithoutAnInputSoonerOrLater, testing::Bool(),
                         [](const auto& setting) {
                             return setting.param ? "WhatWasThereBefore" : "WhatComesLater";
                         });

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutAJoinStatusNothingIsJoined) {
    EXPECT_THAT(tableWithout(joins, GetParam()), IsEmpty());
}

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutPegDrStatusTheRouterIsNoDr) {
    EXPECT_THAT(tableWithout(pegDrs, GetParam()), ElementsAre(host200, host10));
}

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutInterfaceStatusNoVlanHasAVrf) {
    EXPECT_THAT(tableWithout(interfaces, GetParam()), IsEmpty());
}

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutThePimStatusPimRunsNowhere) {
    EXPECT_THAT(tableWithout(pims, GetParam()), ElementsAre(host10, host100));
}

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutTheMapsOfItsDomainThereIsNoSbdVlan) {
    EXPECT_THAT(tableWithout(mplsMaps, GetParam()), ElementsAre(host10));
}

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutTheVxlanMapsInTheirDomainThereIsNoSbdVlan) {
    toggles({.oismMplsTunnel = false});
    EXPECT_THAT(tableWithout(vxlanMaps, GetParam()), ElementsAre(host10));
}

TEST_P(RootWithoutAnInputSoonerOrLater, TheMapsOfTheOtherDomainAreNotMissed) {
    EXPECT_THAT(tableWithout(vxlanMaps, GetParam()), ElementsAre(host200, host10, host100));
}

TEST_P(RootWithoutAnInputSoonerOrLater, WithoutATableWritesEndInTheTrace) {
    EXPECT_THAT(tableWithout(statusTable, GetParam()), IsEmpty());
    EXPECT_TRUE(
        traced("7 addMembership | addMembership: Add gmpStatus: red- ( 10.0.0.1, "
               "239.1.1.1, vlan10 , include ) irb"));
    EXPECT_FALSE(
        traced("7 delMembership | delMembership: Del gmpStatus: red- ( 0.0.0.0, "
               "239.1.1.1, vlan10 , include ) irb"));
}

TEST_F(RootWithoutAnInput, WithoutInterfaceStatusPimRefreshesNoVlan) {
    happen();
    startWithout(interfaces);
    forget();
    delPimIntf("blue", "vlan200");
    EXPECT_THAT(trace(9), ElementsAre("handlePimTransitIntf( blue, vlan200 )",
                                      "handlePimTransitIntf, No IntfStatus for vlan200"));
}

/// The settings of the two toggles, and on which of four SBD VLANs a join behind a tunnel is
/// published then.
struct ToggleSettings {
    bool oismMplsTunnel;
    bool oismGateway;
    unsigned published;
};

class RootToggles : public Fabric, public testing::WithParamInterface<ToggleSettings> {};

INSTANTIATE_TEST_SUITE_P(, RootToggles,
                         testing::Values(ToggleSettings{true, true, 101},
                                         ToggleSettings{true, false, 201},
                                         ToggleSettings{false, true, 100},
                                         ToggleSettings{false, false, 200}),
                         [](const auto& setting) {
                             return std::string(setting.param.oismMplsTunnel ? "Mpls" : "Vxlan") +
                                    (setting.param.oismGateway ? "Gateway" : "NoGateway");
                         });

TEST_P(RootToggles, ChooseTheSbdVlanAndTheRole) {
    toggles({GetParam().oismMplsTunnel, GetParam().oismGateway});
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 100);
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(101));
    enabledStatus->vrfToSBDVlanIs(vrf("blue"), 200);
    gmpProxyStatus->vrfToSbdVlanIs(vrf("blue"), VlanId(201));
    for (const unsigned number : {100u, 101u, 200u, 201u}) {
        const auto* name = number < 200 ? "red" : "blue";
        enabledStatus->sbdVlanToVrfIs(number, vrf(name));
        gmpProxyStatus->sbdVlanToVrfIs(VlanId(number), vrf(name));
        bind(("vlan" + std::to_string(number)).c_str(), name);
        join(number, "239.1.1.1", "10.0.0.1", "mtunnel1");
        pegDr(number, number < 200 ? 1 : 0, 0, number < 200 ? 0 : 1);
    }
    start();
    const std::string name = GetParam().published < 200 ? "red" : "blue";
    EXPECT_THAT(table(), ElementsAre(name + ".irb vlan" + std::to_string(GetParam().published) +
                                     " (10.0.0.1, 239.1.1.1) include"));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
