// What a join costs, and what a joined (S,G) takes: the state machine over its inputs and a table,
// beside the floor, the same inputs with nobody listening.
//
//   joinBench [JOINS]     (a million; 200 VLANs in 50 VRFs, ten sources a group)
#include <malloc.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "Irb/Multicast/Gmp/MembershipJoinStatus.h"
#include "L3/Intf/StatusDir.h"
#include "MembershipJoinStatusSmFactory.h"
#include "Ondel/VlanIntfId.h"

namespace {

using Bridging::VlanId;
using Irb::Multicast::Gmp::GroupMembershipJoin;
using Irb::Multicast::Gmp::MembershipJoinStatus;
using Irb::Multicast::Gmp::SourceMembershipJoin;
using Irb::Multicast::Gmp::VlanMembershipJoin;
using Lumo::Ptr;
using Ondel::IpGenAddr;
using Routing::Gmp::Tessel::StatusColl;
using StateMachine = Irb::Multicast::Ingress::MembershipJoinStatusSm;

constexpr std::uint32_t vlans = 200;
constexpr std::uint32_t vrfs = 50;
constexpr std::uint32_t sourcesOfGroup = 10;

IpGenAddr ipv4(std::uint32_t address) {
    const auto byte = [address](unsigned shift) {
        return static_cast<std::uint8_t>(address >> shift);
    };
    return {IpGenAddr::Family::ipv4, {byte(24), byte(16), byte(8), byte(0)}};
}

/// One local port joins the n-th of all (S,G) in include mode.
void join(MembershipJoinStatus& status, std::uint32_t n, Ondel::IntfId port) {
    const VlanId vlanId(1 + n % vlans);
    const IpGenAddr group = ipv4(0xe8000000u + n / vlans / sourcesOfGroup);
    const IpGenAddr source = ipv4(0x0a000001u + n / vlans % sourcesOfGroup);
    if (!status.vlan(vlanId)) status.vlanIs(Lumo::make<VlanMembershipJoin>(vlanId));
    const auto vlan = status.vlan(vlanId);
    if (!vlan->group(group)) vlan->groupIs(Lumo::make<GroupMembershipJoin>(group));
    const auto groupJoin = vlan->group(group);
    groupJoin->sourceIs(Lumo::make<SourceMembershipJoin>(source));
    groupJoin->source(source)->includeIntfIs(port);
}

Ptr<L3::Intf::StatusDir> interfaces() {
    auto directory = Lumo::make<L3::Intf::StatusDir>();
    for (std::uint32_t n = 0; n < vlans; ++n) {
        const auto intf = Ondel::VlanIntfId::vlanIdToIntfId(static_cast<std::uint16_t>(1 + n));
        const L3::VrfName vrf("vrf" + std::to_string(n % vrfs));
        directory->intfStatusIs(Lumo::make<L3::Intf::Status>(intf, vrf));
    }
    return directory;
}

std::size_t heapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

struct Cost {
    double nanosecondsOfJoin;
    double bytesOfJoin;
};

/// Makes `joins` joins with a machine over them, or with nobody listening.
Cost measure(std::uint32_t joins, const Ptr<StatusColl>& table, bool isListening) {
    const std::size_t before = heapBytes();
    const auto status = Lumo::make<MembershipJoinStatus>("default");
    const auto directory = interfaces();
    Ptr<StateMachine> machine;
    if (isListening) {
        machine = Irb::Multicast::Ingress::membershipJoinStatusSmFactory(
            Irb::Multicast::Domain::vxlan, status, nullptr, directory, nullptr, nullptr, table,
            nullptr, Routing::Gmp::Tessel::App::irb);
    }
    const Ondel::IntfId port("swp1");
    const std::clock_t start = std::clock();
    for (std::uint32_t n = 0; n < joins; ++n)
        join(*status, n, port);
    const double nanoseconds = 1e9 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    return {nanoseconds / joins, static_cast<double>(heapBytes() - before) / joins};
}

void print(const char* what, const Cost& cost, const Cost& floor) {
    std::printf("%-40s %6.0f ns of processor a join  %5.1f x  %7.0f heap bytes a joined (S,G)\n",
                what, cost.nanosecondsOfJoin, cost.nanosecondsOfJoin / floor.nanosecondsOfJoin,
                cost.bytesOfJoin);
}

}  // namespace

int main(int argc, char** argv) {
    const auto joins =
        static_cast<std::uint32_t>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1'000'000);
    const Cost inputs = measure(joins, nullptr, false);
    print("the inputs, nobody listening (floor)", inputs, inputs);
    const Cost machine = measure(joins, nullptr, true);
    print("the machine over no table", machine, inputs);
    const Cost whole = measure(joins, StatusColl::anonymous(), true);
    print("the machine over a table", whole, inputs);
    std::printf("trackers alone: %.0f heap bytes a joined (S,G)\n",
                machine.bytesOfJoin - inputs.bytesOfJoin);
    return 0;
}
