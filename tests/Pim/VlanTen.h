#pragma once

#include <string>

#include "MembershipJoinStatusSm/GroupMembership.h"
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress::Detail {

/// A fabric in which one group, 239.1.1.1, is joined on VLAN 10, bound to VRF red; and the writes
/// that its memberships lead to.
class VlanTen : public Fabric {
  protected:
    using GroupTracker = RixVlanMembership::NestedSm_GroupMembership;
    using SourceTracker = GroupTracker::NestedSm_SourceMembership;

    static constexpr const char* G = "239.1.1.1";
    static constexpr const char* S1 = "10.0.0.1";
    static constexpr const char* S2 = "10.0.0.2";
    static constexpr const char* S3 = "10.0.0.3";
    static constexpr const char* any = "0.0.0.0";

    VlanTen() { bind("vlan10", "red"); }

    void include(const char* source, const char* intf = "swp1") { join(10, G, source, intf); }
    void exclude(const char* source, const char* intf = "swp1") {
        join(10, G, source, intf, Mode::exclude);
    }
    /// Makes VLAN 10 the SBD VLAN of red in both domains.
    void sbdVlanTen() { sbd("red", 10); }

    /// A record of a source with a local include join, for a group's record.
    static Lumo::Ptr<Gmp::SourceMembershipJoin> sourceRecord(const char* sourceAddr) {
        const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(sourceAddr));
        record->includeIntfIs(IntfId("swp1"));
        return record;
    }
    /// A record of the group with a local include join of each source.
    static Lumo::Ptr<Gmp::GroupMembershipJoin> groupRecord(
        const std::vector<const char*>& sourceAddrs) {
        const auto record = Lumo::make<Gmp::GroupMembershipJoin>(address(G));
        for (const char* sourceAddr : sourceAddrs)
            record->sourceIs(sourceRecord(sourceAddr));
        return record;
    }

    /// The tracker of the group, and of one of its sources; null where there is none.
    Lumo::Ptr<GroupTracker> group(const char* groupAddr = G) {
        return vlan(10)->groupMembership(address(groupAddr));
    }
    Lumo::Ptr<SourceTracker> source(const char* sourceAddr) {
        return group()->sourceMembership().get(address(sourceAddr));
    }
    /// The sources that have a tracker, in the order of the collection.
    Texts sources() {
        Texts texts;
        for (const auto [key, tracker] : group()->sourceMembership())
            texts.push_back(key.text());
        return texts;
    }

    /// Every membership that was written or deleted since the last call of forget, as traced, in
    /// order.
    Texts writes() const {
        Texts texts;
        for (const std::string& text : trace(7)) {
            if (text.find(" gmpStatus: ") != std::string::npos) texts.push_back(text);
        }
        return texts;
    }
    static std::string add(const char* source, Mode mode = Mode::include, const char* group = G) {
        return "addMembership: Add gmpStatus: " + entry(source, mode, group);
    }
    static std::string del(const char* source, Mode mode = Mode::include, const char* group = G) {
        return "delMembership: Del gmpStatus: " + entry(source, mode, group);
    }
    /// What the table holds of VLAN 10: "(10.0.0.1, 239.1.1.1) include".
    Texts memberships() const {
        const std::string prefix = "red.irb vlan10 ";
        Texts texts;
        for (const std::string& line : table()) {
            if (line.starts_with(prefix)) texts.push_back(line.substr(prefix.size()));
        }
        return texts;
    }

  private:
    static std::string entry(const char* source, Mode mode, const char* group) {
        return std::string("red- ( ") + source + ", " + group + ", vlan10 , " +
               (mode == Mode::include ? "include" : "exclude") + " ) irb";
    }
};

}  // namespace Irb::Multicast::Ingress::Detail
