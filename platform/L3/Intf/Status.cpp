#include "L3/Intf/Status.h"

#include <string>
#include <utility>

#include "Lumo/publish.h"

namespace L3::Intf {

namespace {

const Status& self(const Lumo::Node& object) {
    return static_cast<const Status&>(object);
}

}  // namespace

const Lumo::TypeData& Status::type() {
    static const Lumo::TypeData data(
        "L3::Intf::Status",
        {{"intfId", [](const Lumo::Node& o) { return self(o).intfId().shortName(); }},
         {"vrf", [](const Lumo::Node& o) { return std::string(self(o).vrf().text()); }}});
    return data;
}

void Status::vrfIs(const VrfName& vrf) {
    if (vrf == vrf_) return;
    const VrfName previous = std::exchange(vrf_, vrf);
    Lumo::publishValue(*this, vrfField, previous);
}

}  // namespace L3::Intf
