#include "Routing/Pim/Status.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace Routing::Pim {

namespace {

const Status& self(const Lumo::Node& object) {
    return static_cast<const Status&>(object);
}

}  // namespace

const Lumo::TypeData& Status::type() {
    static const Lumo::TypeData data(
        "Routing::Pim::Status",
        {{"vrfName", [](const Lumo::Node& o) { return std::string(self(o).vrfName().text()); }},
         {"intf", [](const Lumo::Node& o) { return std::to_string(self(o).intf().size()); }}});
    return data;
}

void Status::intfIs(const Lumo::Ptr<Intf>& intf) {
    if (!intf) Rix::refuseNull(type(), intfField);
    Rix::publishedEntryIs(*this, intfField, intf_, intf->intfId(), intf);
}

void Status::intfDel(Ondel::IntfId intfId) {
    Rix::publishedEntryDel(*this, intfField, intf_, intfId);
}

}  // namespace Routing::Pim
