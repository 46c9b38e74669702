#include "Vxlan/EnabledStatus.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace Vxlan {

namespace {

const EnabledStatus& self(const Lumo::Node& object) {
    return static_cast<const EnabledStatus&>(object);
}

}  // namespace

const Lumo::TypeData& EnabledStatus::type() {
    static const Lumo::TypeData data(
        "Vxlan::EnabledStatus",
        {{"vrfToSBDVlan",
          [](const Lumo::Node& o) { return std::to_string(self(o).vrfToSBDVlan().size()); }},
         {"sbdVlanToVrf",
          [](const Lumo::Node& o) { return std::to_string(self(o).sbdVlanToVrf().size()); }}});
    return data;
}

void EnabledStatus::vrfToSBDVlanIs(const L3::VrfName& vrf, std::uint16_t vlan) {
    Rix::publishedValueIs(*this, vrfToSBDVlanField, vrfToSBDVlan_, vrf, vlan);
}

void EnabledStatus::vrfToSBDVlanDel(const L3::VrfName& vrf) {
    Rix::publishedValueDel(*this, vrfToSBDVlanField, vrfToSBDVlan_, vrf);
}

void EnabledStatus::sbdVlanToVrfIs(std::uint32_t vlan, const L3::VrfName& vrf) {
    Rix::publishedValueIs(*this, sbdVlanToVrfField, sbdVlanToVrf_, vlan, vrf);
}

void EnabledStatus::sbdVlanToVrfDel(std::uint32_t vlan) {
    Rix::publishedValueDel(*this, sbdVlanToVrfField, sbdVlanToVrf_, vlan);
}

}  // namespace Vxlan
