// A routing agent in small: it publishes one interface and one host's join, lets the state machine
// react, and prints what PIM must pull.
#include <MembershipJoinStatusSmFactory.h>
#include <Ondel/VlanIntfId.h>

#include <iostream>

using namespace Irb::Multicast;
namespace Tessel = Routing::Gmp::Tessel;

int main() {
    // What other agents publish: VLAN 10 is in VRF red; nobody has joined anything yet.
    const auto vlan10 = Ondel::VlanIntfId::vlanIdToIntfId(10);
    const auto interfaces = Lumo::make<L3::Intf::StatusDir>();
    interfaces->intfStatusIs(Lumo::make<L3::Intf::Status>(vlan10, L3::VrfName("red")));
    const auto joins = Lumo::make<Gmp::MembershipJoinStatus>("default");

    // The table, private here; StatusColl::open(directory) shares it with other processes.
    const auto table = Tessel::StatusColl::anonymous();

    // The machine lives as long as this reference. Inputs that the agent does not have are null.
    const auto machine =
        Ingress::membershipJoinStatusSmFactory(Domain::vxlan, joins, nullptr, interfaces, nullptr,
                                               nullptr, table, nullptr, Tessel::App::irb);

    // A host behind port swp1 of VLAN 10 joins group 232.1.1.1 from source 10.0.0.1.
    const auto vlan = Lumo::make<Gmp::VlanMembershipJoin>(Bridging::VlanId(10));
    const auto group = Lumo::make<Gmp::GroupMembershipJoin>(*Ondel::IpGenAddr::parse("232.1.1.1"));
    const auto source = Lumo::make<Gmp::SourceMembershipJoin>(*Ondel::IpGenAddr::parse("10.0.0.1"));
    joins->vlanIs(vlan);
    vlan->groupIs(group);
    group->sourceIs(source);
    source->includeIntfIs(Ondel::IntfId("swp1"));

    for (const auto& [key, status] : *table) {
        for (const Tessel::Membership& membership : *status) {
            std::cout << status->name() << ": (" << membership.key().source << ", "
                      << membership.key().group << ") on " << membership.key().intf << ", "
                      << membership.filterMode() << '\n';
        }
    }
    // It leaves, and the status goes with its last membership.
    source->includeIntfDel(Ondel::IntfId("swp1"));
    std::cout << "statuses left: " << table->gmpStatuses() << '\n';
}
