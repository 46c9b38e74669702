#include "L3/Intf/StatusDir.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace L3::Intf {

namespace {

const StatusDir& self(const Lumo::Node& object) {
    return static_cast<const StatusDir&>(object);
}

}  // namespace

const Lumo::TypeData& StatusDir::type() {
    static const Lumo::TypeData data("L3::Intf::StatusDir",
                                     {{"intfStatus", [](const Lumo::Node& o) {
                                           return std::to_string(self(o).intfStatus().size());
                                       }}});
    return data;
}

void StatusDir::intfStatusIs(const Lumo::Ptr<Status>& intfStatus) {
    if (!intfStatus) Rix::refuseNull(type(), intfStatusField);
    Rix::publishedEntryIs(*this, intfStatusField, intfStatus_, intfStatus->intfId(), intfStatus);
}

void StatusDir::intfStatusDel(Ondel::IntfId intfId) {
    Rix::publishedEntryDel(*this, intfStatusField, intfStatus_, intfId);
}

}  // namespace L3::Intf
