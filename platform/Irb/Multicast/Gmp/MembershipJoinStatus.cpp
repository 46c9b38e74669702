#include "Irb/Multicast/Gmp/MembershipJoinStatus.h"

#include <string>
#include <utility>

#include "Rix/publishedEntries.h"

namespace Irb::Multicast::Gmp {

namespace {

const MembershipJoinStatus& self(const Lumo::Node& object) {
    return static_cast<const MembershipJoinStatus&>(object);
}

}  // namespace

const Lumo::TypeData& MembershipJoinStatus::type() {
    static const Lumo::TypeData data(
        "Irb::Multicast::Gmp::MembershipJoinStatus",
        {{"name", [](const Lumo::Node& o) { return self(o).name(); }},
         {"vlan", [](const Lumo::Node& o) { return std::to_string(self(o).vlan().size()); }}});
    return data;
}

void MembershipJoinStatus::nameIs(std::string name) {
    if (name == name_) return;
    const std::string previous = std::exchange(name_, std::move(name));
    Lumo::publishValue(*this, nameField, previous);
}

void MembershipJoinStatus::vlanIs(const Lumo::Ptr<VlanMembershipJoin>& vlan) {
    if (!vlan) Rix::refuseNull(type(), vlanField);
    Rix::publishedEntryIs(*this, vlanField, vlan_, vlan->vlanId(), vlan);
}

void MembershipJoinStatus::vlanDel(Bridging::VlanId vlanId) {
    Rix::publishedEntryDel(*this, vlanField, vlan_, vlanId);
}

}  // namespace Irb::Multicast::Gmp
