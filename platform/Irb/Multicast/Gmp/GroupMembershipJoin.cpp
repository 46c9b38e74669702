#include "Irb/Multicast/Gmp/GroupMembershipJoin.h"

#include <string>

#include "Rix/publishedEntries.h"

namespace Irb::Multicast::Gmp {

namespace {

const GroupMembershipJoin& self(const Lumo::Node& object) {
    return static_cast<const GroupMembershipJoin&>(object);
}

}  // namespace

const Lumo::TypeData& GroupMembershipJoin::type() {
    static const Lumo::TypeData data(
        "Irb::Multicast::Gmp::GroupMembershipJoin",
        {{"groupAddr", [](const Lumo::Node& o) { return self(o).groupAddr().text(); }},
         {"source", [](const Lumo::Node& o) { return std::to_string(self(o).source().size()); }}});
    return data;
}

void GroupMembershipJoin::sourceIs(const Lumo::Ptr<SourceMembershipJoin>& source) {
    if (!source) Rix::refuseNull(type(), sourceField);
    Rix::publishedEntryIs(*this, sourceField, source_, source->source(), source);
}

void GroupMembershipJoin::sourceDel(const Ondel::IpGenAddr& source) {
    Rix::publishedEntryDel(*this, sourceField, source_, source);
}

}  // namespace Irb::Multicast::Gmp
