#include "Routing/Multicast/PegDrStatus.h"

#include <string>
#include <utility>

#include "Rix/CorruptionError.h"
#include "Rix/publishedEntries.h"

namespace Routing::Multicast {

const Lumo::TypeData& PegDrStatus::type() {
    static const Lumo::TypeData data(
        "Routing::Multicast::PegDrStatus",
        {{"pegDrVlan", [](const Lumo::Node& o) {
              return std::to_string(static_cast<const PegDrStatus&>(o).pegDrVlan().size());
          }}});
    return data;
}

PegDrVlan PegDrStatus::pegDrVlan(Bridging::VlanId vlanId) const {
    if (corruptions_.contains(vlanId)) throw Rix::CorruptionError(corruptions_.del(vlanId));
    return pegDrVlan_.get(vlanId);
}

void PegDrStatus::pegDrVlanIs(const PegDrVlan& record) {
    Rix::publishedValueIs(*this, pegDrVlanField, pegDrVlan_, record.vlanId, record);
}

void PegDrStatus::pegDrVlanDel(Bridging::VlanId vlanId) {
    Rix::publishedValueDel(*this, pegDrVlanField, pegDrVlan_, vlanId);
}

void PegDrStatus::corruptionIs(Bridging::VlanId vlanId, std::string message) {
    corruptions_.valueIs(vlanId, std::move(message));
}

}  // namespace Routing::Multicast
