#include "Pim/Life.h"

#include <algorithm>
#include <utility>

#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Routing/Gmp/Tessel/TableReader.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::App;

namespace {

constexpr const char* G = "239.1.1.1";
constexpr const char* G2 = "239.77.66.55";
constexpr const char* S1 = "10.0.0.1";
constexpr const char* S2 = "10.0.0.2";
constexpr const char* any = "0.0.0.0";

}  // namespace

Life::Life() {
    prepare();
}

Life::Life(const std::filesystem::path& directory) {
    gmpStatusLocalColl = Routing::Gmp::Tessel::StatusColl::open(directory);
    prepare();
}

void Life::prepare() {
    for (const char* intf : {"vlan10", "vlan30", "vlan100"})
        bind(intf, "red");
    bind("vlan200", "blue");
    sbd("red", 100);
    sbd("blue", 200);
    pegDr(100, 1);
    pim("blue", {"vlan200"});
    join(10, G, S1, "swp1");
    join(10, G, S2, "swp2", Mode::exclude);
    join(10, G2, any, "swp1");
    join(100, G, S1, "mtunnel1");
    join(100, G, S2, "mtunnel1", Mode::exclude);
    join(200, "ff3e::1", "2001:db8::1", "mtunnel1");
    stale("red", "vlan10", S1, "239.9.9.9");
    stale("red", "vlan20", S1, G);
    stale("green", "vlan10", S1, G);
    stale("red", "vlan10", S1, G, Mode::include, App::gmp);
}

void Life::make(const Change& change) {
    for (int tries = 0; tries < 3; ++tries) {
        try {
            before();
            change();
            after();
            return;
        } catch (const std::exception&) {
            after();
        }
    }
    ADD_FAILURE() << "a change goes on failing";
}

void Life::make(const std::vector<Change>& changes) {
    for (const Change& change : changes)
        make(change);
}

std::vector<Life::Change> Life::joins() {
    return {
        [this] { join(10, G, "10.0.0.3", "swp3"); },
        [this] { join(10, G, S1, "swp4", Mode::exclude); },
        [this] { leave(10, G, S1, "swp1"); },
        [this] { join(10, G, any, "swp1", Mode::exclude); },
        [this] { join(30, G, S1, "swp1", Mode::exclude); },
        [this] { join(30, G2, S1, "swp1"); },
        [this] { delSource(10, G, S2); },
        [this] { delGroup(30, G2); },
        [this] { join(30, G2, S2, "swp1"); },
        [this] {
            const auto group = Lumo::make<Gmp::GroupMembershipJoin>(address(G));
            group->sourceIs(Lumo::make<Gmp::SourceMembershipJoin>(address(S2)));
            vlanJoin(30)->groupIs(group);
        },
        [this] { join(30, G, S2, "swp1"); },
    };
}

std::vector<Life::Change> Life::moves() {
    return {
        [this] { rebind("vlan10", "blue"); },
        [this] { bind("vlan10", "red"); },
        [this] { unbind("vlan30"); },
        [this] { bind("vlan30", "red"); },
        [this] { bind("swp9", "red"); },
        [this] { delVlan(200); },
        [this] { join(200, "ff3e::1", "2001:db8::2", "mtunnel1"); },
    };
}

std::vector<Life::Change> Life::roles() {
    return {
        [this] { pegDr(100, 2); },
        [this] { pegDr(100, 1); },
        [this] { delPimIntf("blue", "vlan200"); },
        [this] { pimIntf("blue", "vlan200"); },
        [this] { delPim("blue"); },
        [this] {
            pim("blue", {"vlan200", "swp1"});
        },
        [this] { notSbd("red", 100); },
        [this] { sbd("red", 30); },
        [this] { notSbd("red", 30); },
        [this] { sbd("red", 100); },
    };
}

std::vector<Life::Change> Life::replacements() {
    const auto proxies = Lumo::make<GmpProxyStatus>();
    proxies->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    proxies->sbdVlanToVrfIs(VlanId(100), vrf("red"));
    proxies->vrfToSbdVlanIs(vrf("blue"), VlanId(10));
    proxies->sbdVlanToVrfIs(VlanId(200), vrf("blue"));
    return {
        [this, proxies] {
            gmpProxyStatus = proxies;
            machine->gmpProxyStatusIs(proxies);
        },
        [this] { machine->hasNotificationActiveIs(false); },
        [this] { machine->hasNotificationActiveIs(true); },
        [this] {
            const auto vlan = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
            const auto group = Lumo::make<Gmp::GroupMembershipJoin>(address(G));
            const auto source = Lumo::make<Gmp::SourceMembershipJoin>(address(S2));
            source->excludeIntfIs(IntfId("swp1"));
            group->sourceIs(source);
            vlan->groupIs(group);
            membershipJoinStatus->vlanIs(vlan);
        },
    };
}

void Life::begin() {
    make([this] { start(); });
}

void Life::day() {
    make(joins());
    make(moves());
    make(roles());
    make(replacements());
}

void Life::evening() {
    make({
        [this] { machine->rixDoZombieReactors(true); },
        [this] { delVlan(10); },
        // What comes now lives, and goes with the machine.
        [this] { join(10, G, S1, "swp1", Mode::exclude); },
        [this] { join(10, G2, S1, "swp1"); },
        [this] { join(10, G2, S2, "swp1", Mode::exclude); },
    });
}

void Life::end() {
    make([this] { stop(); });
}

void Life::refresh() {
    for (const auto [intfId, status] : std::as_const(*l3IntfStatusDir).intfStatus()) {
        const VrfName kept = status->vrf();
        l3IntfStatusDir->intfStatus(intfId)->vrfIs(VrfName());
        l3IntfStatusDir->intfStatus(intfId)->vrfIs(kept);
    }
}

template <class Visit>
void Life::everySource(const Visit& visit) {
    for (const auto [vlanId, vlanOfIt] : std::as_const(*membershipJoinStatus).vlan()) {
        for (const auto [groupAddr, groupOfIt] : vlanOfIt->group()) {
            for (const auto [source, join] : groupOfIt->source())
                visit(*membershipJoinStatus->vlan(vlanId)->group(groupAddr)->source(source));
        }
    }
}

void Life::damageInputs(Rix::CorruptionHandler& handler) {
    everySource([&](Gmp::SourceMembershipJoin& join) {
        join.includeIntfsCorruptionIs("a damaged include set");
        join.excludeIntfsCorruptionIs("a damaged exclude set");
        join.corruptionHandlerIs(&handler);
    });
    for (const auto [vlanId, record] : pegDrStatus->pegDrVlan())
        pegDrStatus->corruptionIs(vlanId, "a damaged role");
    pegDrStatus->corruptionHandlerIs(&handler);
}

void Life::clearDamage() {
    everySource([](Gmp::SourceMembershipJoin& join) {
        errorOf([&] { static_cast<void>(join.includeIntfs().size()); });
        errorOf([&] { static_cast<void>(join.excludeIntfs().size()); });
    });
    for (const auto [vlanId, record] : pegDrStatus->pegDrVlan())
        errorOf([&, vlan = vlanId] { static_cast<void>(pegDrStatus->pegDrVlan(vlan)); });
}

Fabric::Texts Life::wanted() {
    const auto kept =
        std::exchange(gmpStatusLocalColl, Routing::Gmp::Tessel::StatusColl::anonymous());
    const auto living = std::exchange(machine, nullptr);
    start();
    const Texts texts = held();
    stop();
    gmpStatusLocalColl = kept;
    machine = living;
    return texts;
}

Fabric::Texts Life::held() const {
    Texts texts = table();
    std::erase_if(texts,
                  [](const std::string& line) { return line.find(".irb ") == std::string::npos; });
    return texts;
}

void Life::expectRecovery() {
    EXPECT_FALSE(machine);
    expectInputsUnreferenced();
    EXPECT_EQ(MembershipJoinStatusSm::type().allocations().live, 0u);
    EXPECT_EQ(RixVlanMembership::type().allocations().live, 0u);
    EXPECT_THAT(Routing::Gmp::Tessel::TableReader(*gmpStatusLocalColl).faults(),
                testing::IsEmpty());
    start();
    EXPECT_EQ(held(), wanted());
    stop();
    expectInputsUnreferenced();
}

}  // namespace Irb::Multicast::Ingress::Detail
