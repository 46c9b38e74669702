#pragma once

#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/Tracker.h"
#include "Routing/Gmp/Tessel/FilterMode.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Irb::Multicast::Ingress::Detail {

/// Follows the joins of one VLAN, and holds what the VLAN's memberships depend on as a whole.
///
/// Made by vlanMembershipIs for each VLAN of the join status, keyed by VLAN id; removed by
/// vlanMembershipDel when the VLAN goes, which withdraws every membership of the VLAN first. The
/// machine owns it; it points back at the machine until it is removed. It owns one tracker for each
/// group of its joins.
class MembershipJoinStatusSm::RixVlanMembership final
    : public Lumo::Object<RixVlanMembership,
                          Tracker<Gmp::VlanMembershipJoin, MembershipJoinStatusSm>> {
  public:
    class NestedSm_GroupMembership;

    /// Resolves the VLAN's VRF, and makes the trackers of the groups that there are.
    RixVlanMembership(const Lumo::Ptr<const Gmp::VlanMembershipJoin>& join,
                      MembershipJoinStatusSm* parent);
    ~RixVlanMembership() override;
    static const Lumo::TypeData& type();

    void onAttribute(Lumo::FieldId attribute, const void* key) override;
    /// Withdraws every membership of the VLAN, whichever way the state changes.
    void rixDoZombieReactors(bool zombie) override;

    /// Points it at another record: groups that this one lacks go. With none, the groups are kept.
    void notifierIs(const Lumo::Ptr<const Lumo::Node>& join);
    void hasNotificationActiveIs(bool active);
    /// Removes every group's tracker, and points at no machine any more: the machine itself goes.
    /// Never throws; what could not be withdrawn stays for the next start.
    void abandonedByParent() noexcept;

    /// The key; VLAN 1 while no record is followed.
    Bridging::VlanId vlanId() const {
        return notifier() ? notifier()->vlanId() : Bridging::VlanId();
    }
    /// The VRF of the VLAN's interface; empty while there is none.
    const L3::VrfName& vrfName() const { return vrfName_; }
    /// Whether this router is PEG DR for the SBD VLAN of that VRF.
    bool isDrForSbdVlan() const { return isDrForSbdVlan_; }
    void isDrForSbdVlanIs(bool isDr) { isDrForSbdVlan_ = isDr; }
    /// The key of the status into which the VLAN's memberships go.
    const Routing::Gmp::Tessel::VrfApp& gmpVrfApp() const { return gmpVrfApp_; }

    /// The tracker of a group, or null.
    Lumo::Ptr<NestedSm_GroupMembership> groupMembership(const Ondel::IpGenAddr& groupAddr);
    /// @throws Rix::NullArgumentError if there is no record
    Lumo::Ptr<NestedSm_GroupMembership> groupMembershipIs(
        const Lumo::Ptr<const Gmp::GroupMembershipJoin>& join);
    /// The record that the removed tracker followed; null if there was no tracker.
    Lumo::Ptr<const Gmp::GroupMembershipJoin> groupMembershipDel(const Ondel::IpGenAddr& groupAddr);
    void groupMembershipDelAll();

    /// Takes another VRF, with what follows from it. The caller republishes the memberships.
    /// @throws Rix::RangeError if the VRF's SBD VLAN is none that can be; nothing is changed then
    void updateVrfName(const L3::VrfName& vrfName);
    /// Whether the VLAN is the SBD VLAN of its VRF.
    bool isSbdVlan() const;

    /// Resolves the VLAN's VRF from the status of its interface.
    void handleVlanMembership();
    /// Resolves the VRF and the role anew, follows every group there is and no other, and writes
    /// their memberships again.
    void reconcile();
    enum class Update { asWanted, deleteVlan };
    /// Writes or deletes every membership of the VLAN, as its rules say; deletes all of them where
    /// the VLAN goes.
    void updateGmpStatus(Update update);
    /// Writes a membership of the VLAN, or deletes it. There must be a VRF name.
    void membershipIs(const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& groupAddr,
                      Routing::Gmp::Tessel::FilterMode mode, bool isWanted);
    void membershipDel(const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& groupAddr,
                       Routing::Gmp::Tessel::FilterMode mode);
    /// Deletes the (*,G) entry that the table may still hold for a group that goes.
    void delStarG(const Ondel::IpGenAddr& groupAddr);
    /// Whether a source's include membership must exist; false for a source that is absent.
    bool updateVlanInclude(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& source) const;
    /// Whether a source's exclude membership must exist; false for a source that is absent.
    bool updateVlanExclude(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& source) const;

  private:
    /// Follows every group of the record and no other; with no record, those that there are.
    void followGroups();
    /// The number of a VRF's SBD VLAN; of no VLAN where there is none.
    std::uint16_t sbdVlanOf(const L3::VrfName& vrfName) const;
    /// Whether this router is PEG DR for the SBD VLAN of a VRF.
    bool isDrForSbdVlanOf(const L3::VrfName& vrfName) const;
    /// Whether everything joined on the VLAN is wanted, local receiver or not.
    bool isWantedWithoutLocalReceiver() const;
    void updateSources(NestedSm_GroupMembership& group, const Ondel::IpGenAddr& groupAddr,
                       Update update);

    L3::VrfName vrfName_;
    bool isDrForSbdVlan_ = false;
    Routing::Gmp::Tessel::VrfApp gmpVrfApp_;
    Rix::Collection<Ondel::IpGenAddr, Lumo::Ptr<NestedSm_GroupMembership>> groupMembership_;
};

}  // namespace Irb::Multicast::Ingress::Detail
