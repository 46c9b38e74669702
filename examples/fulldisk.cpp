// What an agent does when its table finds no room: it goes on, and has the machine bring the table
// back into line once there is room again. The disk is full here for as long as the process may not
// write longer files.
#include <MembershipJoinStatusSmFactory.h>
#include <Ondel/VlanIntfId.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

using namespace Irb::Multicast;
namespace Tessel = Routing::Gmp::Tessel;

namespace {

/// Publishes a change of an input. What the machine could not write is no reason to end: the change
/// itself is made. Whether the machine must reconcile when there is room again.
template <class Change>
bool publish(const Change& change) {
    try {
        change();
        return false;
    } catch (const std::system_error& error) {
        return true;  // An agent logs error.what(), which names the file.
    }
}

void longestFileIs(rlim_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

std::size_t memberships(const Tessel::StatusColl& table) {
    std::size_t count = 0;
    for (const auto& [key, status] : table)
        count += status->memberships();
    return count;
}

}  // namespace

int main() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::string directory = std::filesystem::temp_directory_path() / "fulldisk-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) return 1;
    const auto interfaces = Lumo::make<L3::Intf::StatusDir>();
    interfaces->intfStatusIs(
        Lumo::make<L3::Intf::Status>(Ondel::VlanIntfId::vlanIdToIntfId(10), L3::VrfName("red")));
    const auto joins = Lumo::make<Gmp::MembershipJoinStatus>("default");
    const auto vlan = Lumo::make<Gmp::VlanMembershipJoin>(Bridging::VlanId(10));
    joins->vlanIs(vlan);
    const auto table = Tessel::StatusColl::open(directory);
    const auto machine =
        Ingress::membershipJoinStatusSmFactory(Domain::vxlan, joins, nullptr, interfaces, nullptr,
                                               nullptr, table, nullptr, Tessel::App::irb);

    longestFileIs(1);  // The disk is full.
    bool isReconciliationDue = false;
    constexpr int hosts = 40000;
    for (int host = 0; host < hosts; ++host) {
        const auto group = Lumo::make<Gmp::GroupMembershipJoin>(*Ondel::IpGenAddr::parse(
            "239.1." + std::to_string(host / 250) + "." + std::to_string(host % 250 + 1)));
        const auto source =
            Lumo::make<Gmp::SourceMembershipJoin>(*Ondel::IpGenAddr::parse("10.0.0.1"));
        source->includeIntfIs(Ondel::IntfId("swp1"));
        group->sourceIs(source);
        if (publish([&] { vlan->groupIs(group); })) isReconciliationDue = true;
    }
    std::cout << "joins missing in the table: " << (memberships(*table) < hosts ? "some" : "none")
              << '\n';

    longestFileIs(RLIM_INFINITY);  // Somebody made room. An agent tries from time to time.
    if (isReconciliationDue) {
        const Lumo::Ptr<Lumo::Node> node = machine;
        node->typeData().call(*node, "reconcile", {});
    }
    std::cout << "memberships in the table: " << memberships(*table) << '\n';
    std::filesystem::remove_all(directory);
}
