#include "Routing/Pim/StatusColl.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace Routing::Pim {

namespace {

const StatusColl& self(const Lumo::Node& object) {
    return static_cast<const StatusColl&>(object);
}

}  // namespace

const Lumo::TypeData& StatusColl::type() {
    static const Lumo::TypeData data("Routing::Pim::StatusColl",
                                     {{"vrfStatus", [](const Lumo::Node& o) {
                                           return std::to_string(self(o).vrfStatus().size());
                                       }}});
    return data;
}

void StatusColl::vrfStatusIs(const Lumo::Ptr<Status>& vrfStatus) {
    if (!vrfStatus) Rix::refuseNull(type(), vrfStatusField);
    Rix::publishedEntryIs(*this, vrfStatusField, vrfStatus_, vrfStatus->vrfName(), vrfStatus);
}

void StatusColl::vrfStatusDel(const L3::VrfName& vrfName) {
    Rix::publishedEntryDel(*this, vrfStatusField, vrfStatus_, vrfName);
}

}  // namespace Routing::Pim
