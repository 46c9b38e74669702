#pragma once

#include "MembershipJoinStatusSm/RixVlanMembership.h"

namespace Irb::Multicast::Ingress::Detail {

/// Follows the joins of one group in one VLAN, and decides whether the group needs a (*,G)
/// membership.
///
/// Made by groupMembershipIs for each group of the VLAN's joins, keyed by group address; removed by
/// groupMembershipDel when the group goes, or with the VLAN's tracker, which withdraws every
/// membership of the group first. The VLAN's tracker owns it; it points back at that tracker until
/// it is removed. It owns one tracker for each source of its joins.
class MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership final
    : public Lumo::Object<NestedSm_GroupMembership,
                          Tracker<Gmp::GroupMembershipJoin, RixVlanMembership>> {
  public:
    class NestedSm_SourceMembership;

    /// Makes the trackers of the sources that there are.
    NestedSm_GroupMembership(const Lumo::Ptr<const Gmp::GroupMembershipJoin>& join,
                             RixVlanMembership* parent);
    ~NestedSm_GroupMembership() override;
    static const Lumo::TypeData& type();

    /// Unlike a source's tracker, reacts while it is a zombie, too.
    void onAttribute(Lumo::FieldId attribute, const void* key) override;
    /// Withdraws every membership of the group, whichever way the state changes.
    void rixDoZombieReactors(bool zombie) override;

    /// Points it at another record: sources that this one lacks go. With none, the sources are
    /// kept.
    void notifierIs(const Lumo::Ptr<const Lumo::Node>& join);
    void hasNotificationActiveIs(bool active);

    /// The key; the default address while no record is followed.
    Ondel::IpGenAddr groupAddr() const {
        return notifier() ? notifier()->groupAddr() : Ondel::IpGenAddr();
    }

    /// The trackers of the sources, keyed by source address.
    auto& sourceMembership() { return sourceMembership_; }
    /// @throws Rix::NullArgumentError if there is no record
    Lumo::Ptr<NestedSm_SourceMembership> sourceMembershipIs(
        const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join);
    /// The record that the removed tracker followed; null if there was no tracker.
    Lumo::Ptr<const Gmp::SourceMembershipJoin> sourceMembershipDel(const Ondel::IpGenAddr& source);
    void sourceMembershipDelAll();

    /// Whether the group needs a (*,G) membership.
    /// @param skipSource a source that does not count: the one that is going away
    bool requireStarG(const Ondel::IpGenAddr& skipSource) const;
    /// Writes or deletes the (*,G) membership, as requireStarG says.
    void updateStarG(const Ondel::IpGenAddr& skipSource);
    /// Follows every source there is and no other, and writes their memberships again.
    void reconcile();
    /// Deletes every membership that the group may have written.
    void handleGroupDel();

  private:
    /// Follows every source of the record and no other; with no record, those that there are.
    void followSources();

    Rix::Collection<Ondel::IpGenAddr, Lumo::Ptr<NestedSm_SourceMembership>> sourceMembership_;
};

}  // namespace Irb::Multicast::Ingress::Detail
