#include "Irb/Multicast/GmpProxyStatus.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace Irb::Multicast {

namespace {

const GmpProxyStatus& self(const Lumo::Node& object) {
    return static_cast<const GmpProxyStatus&>(object);
}

}  // namespace

const Lumo::TypeData& GmpProxyStatus::type() {
    static const Lumo::TypeData data(
        "Irb::Multicast::GmpProxyStatus",
        {{"vrfToSbdVlan",
          [](const Lumo::Node& o) { return std::to_string(self(o).vrfToSbdVlan().size()); }},
         {"sbdVlanToVrf",
          [](const Lumo::Node& o) { return std::to_string(self(o).sbdVlanToVrf().size()); }}});
    return data;
}

void GmpProxyStatus::vrfToSbdVlanIs(const L3::VrfName& vrf, Bridging::VlanId vlan) {
    Rix::publishedValueIs(*this, vrfToSbdVlanField, vrfToSbdVlan_, vrf, vlan);
}

void GmpProxyStatus::vrfToSbdVlanDel(const L3::VrfName& vrf) {
    Rix::publishedValueDel(*this, vrfToSbdVlanField, vrfToSbdVlan_, vrf);
}

void GmpProxyStatus::sbdVlanToVrfIs(Bridging::VlanId vlan, const L3::VrfName& vrf) {
    Rix::publishedValueIs(*this, sbdVlanToVrfField, sbdVlanToVrf_, vlan, vrf);
}

void GmpProxyStatus::sbdVlanToVrfDel(Bridging::VlanId vlan) {
    Rix::publishedValueDel(*this, sbdVlanToVrfField, sbdVlanToVrf_, vlan);
}

}  // namespace Irb::Multicast
