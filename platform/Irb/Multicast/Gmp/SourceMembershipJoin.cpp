#include "Irb/Multicast/Gmp/SourceMembershipJoin.h"

#include <string>
#include <utility>

#include "Lumo/publish.h"

namespace Irb::Multicast::Gmp {

namespace {

std::string names(const Ondel::IntfIdSet& intfs) {
    std::string text;
    for (const Ondel::IntfId intf : intfs)
        text += (text.empty() ? "" : " ") + intf.shortName();
    return text;
}

const SourceMembershipJoin& join(const Lumo::Node& object) {
    return static_cast<const SourceMembershipJoin&>(object);
}

}  // namespace

const Lumo::TypeData& SourceMembershipJoin::type() {
    static const Lumo::TypeData data(
        "Irb::Multicast::Gmp::SourceMembershipJoin",
        {{"source", [](const Lumo::Node& o) { return join(o).source().text(); }},
         {"includeIntfs", [](const Lumo::Node& o) { return names(join(o).includeIntfs()); }},
         {"excludeIntfs", [](const Lumo::Node& o) { return names(join(o).excludeIntfs()); }}});
    return data;
}

void SourceMembershipJoin::includeIntfIs(Ondel::IntfId intf) {
    if (includeIntfs_.add(intf)) Lumo::publish(*this, includeIntfsField, intf);
}

void SourceMembershipJoin::includeIntfDel(Ondel::IntfId intf) {
    if (includeIntfs_.del(intf)) Lumo::publish(*this, includeIntfsField, intf);
}

void SourceMembershipJoin::excludeIntfIs(Ondel::IntfId intf) {
    if (excludeIntfs_.add(intf)) Lumo::publish(*this, excludeIntfsField, intf);
}

void SourceMembershipJoin::excludeIntfDel(Ondel::IntfId intf) {
    if (excludeIntfs_.del(intf)) Lumo::publish(*this, excludeIntfsField, intf);
}

void SourceMembershipJoin::includeIntfsCorruptionIs(std::string message) {
    includeIntfs_.corruptionIs(std::move(message));
}

void SourceMembershipJoin::excludeIntfsCorruptionIs(std::string message) {
    excludeIntfs_.corruptionIs(std::move(message));
}

}  // namespace Irb::Multicast::Gmp
