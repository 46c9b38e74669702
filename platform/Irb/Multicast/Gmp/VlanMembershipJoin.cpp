#include "Irb/Multicast/Gmp/VlanMembershipJoin.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace Irb::Multicast::Gmp {

namespace {

const VlanMembershipJoin& self(const Lumo::Node& object) {
    return static_cast<const VlanMembershipJoin&>(object);
}

}  // namespace

const Lumo::TypeData& VlanMembershipJoin::type() {
    static const Lumo::TypeData data(
        "Irb::Multicast::Gmp::VlanMembershipJoin",
        {{"vlanId", [](const Lumo::Node& o) { return std::to_string(self(o).vlanId().value()); }},
         {"group", [](const Lumo::Node& o) { return std::to_string(self(o).group().size()); }}});
    return data;
}

void VlanMembershipJoin::groupIs(const Lumo::Ptr<GroupMembershipJoin>& group) {
    if (!group) Rix::refuseNull(type(), groupField);
    Rix::publishedEntryIs(*this, groupField, group_, group->groupAddr(), group);
}

void VlanMembershipJoin::groupDel(const Ondel::IpGenAddr& groupAddr) {
    Rix::publishedEntryDel(*this, groupField, group_, groupAddr);
}

}  // namespace Irb::Multicast::Gmp
