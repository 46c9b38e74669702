#pragma once

#include <cstdint>

#include "Bridging/VlanId.h"
#include "L3/VrfName.h"
#include "Lumo/Object.h"
#include "MembershipJoinStatusSm.h"
#include "MembershipJoinStatusSm/InputReactions.h"
#include "MembershipJoinStatusSm/Inputs.h"
#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "Rix/Collection.h"
#include "Rix/Optional.h"
#include "Routing/Gmp/Tessel/FilterMode.h"

namespace Irb::Multicast::Ingress::Detail {

/// The machine as its own parts see it: the root of the tree of trackers.
///
/// It owns one tracker for each VLAN with joins, each VRF with a PIM status and each L3 interface
/// status; a VLAN's tracker owns those of its groups, and they those of their sources. Life, thread
/// and what observers are told: see Ingress::MembershipJoinStatusSm, as which it is handed out.
class MembershipJoinStatusSm final
    : public Lumo::Object<MembershipJoinStatusSm, Ingress::MembershipJoinStatusSm> {
  public:
    class RixVlanMembership;
    class NestedSm_PimVrfStatus;
    class NestedSm_L3IntfStatus;

    static const Lumo::TypeData& type();

    /// Takes its inputs, of which any may be null, and brings the table into line with them. Reacts
    /// once its notifications are active. Failures are those of MembershipJoinStatusSmIs.
    explicit MembershipJoinStatusSm(Inputs inputs);
    ~MembershipJoinStatusSm() override;

    /// @name The inputs, as given; null where none was given. @{
    Domain domain() const { return inputs_.domain; }
    const auto& membershipJoinStatus() const { return inputs_.membershipJoinStatus; }
    const auto& pegDrStatus() const { return inputs_.pegDrStatus; }
    const auto& l3IntfStatusDir() const { return inputs_.l3IntfStatusDir; }
    const auto& enabledStatus() const { return inputs_.enabledStatus; }
    const auto& pimStatusColl() const { return inputs_.pimStatusColl; }
    const auto& gmpProxyStatus() const { return inputs_.gmpProxyStatus; }
    const auto& gmpStatusLocalColl() const { return inputs_.gmpStatusLocalColl; }
    Routing::Gmp::Tessel::App gmpStatusApp() const { return inputs_.gmpStatusApp; }
    /// @}

    /// @name Replacing an input: the maps of both objects are replayed. The same reference again
    /// does nothing. @{
    void enabledStatusIs(const Lumo::Ptr<const Vxlan::EnabledStatus>& enabledStatus);
    void gmpProxyStatusIs(const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus);
    /// @}

    /// Whether the constructor is done. A tracker that goes before goes because the start failed,
    /// and withdraws nothing: one bad number must not black out what was right.
    bool isStarted() const { return started_; }
    /// Whether the table was brought into line with the inputs.
    bool initialized() const { return initialized_; }
    void initializedIs(bool initialized);
    void hasNotificationActiveIs(bool active);
    /// Reaps every tracker, or takes that back. What a tracker raises is raised again once all are
    /// reaped.
    void rixDoZombieReactors(bool zombie);

    /// @name The trackers; null where there is none under a key. @{
    const auto& l3IntfStatus() const { return l3IntfStatus_; }
    const auto& pimVrfStatus() const { return pimVrfStatus_; }
    const auto& rixVlanMembership() const { return rixVlanMembership_; }
    Lumo::Ptr<NestedSm_L3IntfStatus> l3IntfStatus(Ondel::IntfId intfId);
    Lumo::Ptr<NestedSm_PimVrfStatus> pimVrfStatus(const L3::VrfName& vrfName);
    Lumo::Ptr<RixVlanMembership> rixVlanMembership(Bridging::VlanId vlanId);
    /// @}

    /// @name Creating or re-pointing a tracker, and removing it. A null record raises
    /// Rix::NullArgumentError; the record that the tracker follows already, and removing what is
    /// not there, do nothing. Every other change is published, but for a PIM or an interface
    /// tracker that is re-pointed. @{
    Lumo::Ptr<RixVlanMembership> vlanMembershipIs(
        const Lumo::Ptr<const Gmp::VlanMembershipJoin>& join);
    /// The record that the removed tracker followed.
    Lumo::Ptr<const Gmp::VlanMembershipJoin> vlanMembershipDel(Bridging::VlanId vlanId);
    void vlanMembershipDelAll();
    Lumo::Ptr<NestedSm_PimVrfStatus> pimVrfStatusIs(
        const Lumo::Ptr<const Routing::Pim::Status>& status);
    void pimVrfStatusDel(const L3::VrfName& vrfName);
    void pimVrfStatusDelAll();
    Lumo::Ptr<NestedSm_L3IntfStatus> l3IntfStatusIs(
        const Lumo::Ptr<const L3::Intf::Status>& status);
    /// The removed tracker.
    Lumo::Ptr<NestedSm_L3IntfStatus> l3IntfStatusDel(Ondel::IntfId intfId);
    void l3IntfStatusDelAll();
    /// @}

    /// @name Writing one membership of a VLAN. There must be a VRF name. @{
    void addMembership(const L3::VrfName& vrfName, const Routing::Gmp::Tessel::VrfApp& gmpVrfApp,
                       const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& groupAddr,
                       Bridging::VlanId vlanId, Routing::Gmp::Tessel::FilterMode mode);
    /// Leaves an entry of the other filter mode alone.
    void delMembership(const L3::VrfName& vrfName, const Routing::Gmp::Tessel::VrfApp& gmpVrfApp,
                       const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& groupAddr,
                       Bridging::VlanId vlanId, Routing::Gmp::Tessel::FilterMode mode);
    /// Deletes the entry that the table holds, if any, whatever its mode.
    void delMembershipOfAnyMode(const L3::VrfName& vrfName,
                                const Routing::Gmp::Tessel::VrfApp& gmpVrfApp,
                                const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& groupAddr,
                                Bridging::VlanId vlanId);
    /// @}

    /// Deletes what the inputs no longer justify from the table.
    void handleInitialized();
    /// Brings the table back into line with the inputs, as a start over it would, while the machine
    /// runs: for after a change that raised an error (the table found no room), whose reactions may
    /// be missing. Follows what is not followed yet, writes what is missing and deletes what is not
    /// wanted; what is right stays untouched for those who read the table. Does nothing once the
    /// machine was reaped. May be called at any time, and again.
    /// @throws the first error that it meets, after it did all else that can be done; nothing is
    ///         deleted while the wishes of some VLAN are not known
    void reconcile();

    /// @name The SBD VLAN of a VRF: VLAN 1, or 0 in the VXLAN domain, where there is none. @{
    Bridging::VlanId vrfNameToSbdVlan(const L3::VrfName& vrfName) const;
    std::uint16_t vrfToSbdVlan(const L3::VrfName& vrfName) const;
    /// @}
    /// The VRF that an SBD VLAN serves; the empty name where the VLAN is no SBD VLAN.
    L3::VrfName sbdVlanToVrf(Bridging::VlanId vlanId) const;
    void handleVxlanVrfToSbdVlan(const L3::VrfName& vrfName,
                                 Rix::Optional<std::uint16_t> oldSbdVlan,
                                 Rix::Optional<std::uint16_t> newSbdVlan);
    void handleMplsVrfToSbdVlan(const L3::VrfName& vrfName, Bridging::VlanId::Optional oldSbdVlan,
                                Bridging::VlanId::Optional newSbdVlan);
    void handleSbdVlanToVrf(std::uint32_t vlan);
    void updateSbdVlanMembership(Bridging::VlanId vlanId);

    /// Whether this router is PEG DR for a VLAN; never for VLAN 0.
    bool isDrForVlan(std::uint32_t vlan) const;
    /// Whether PIM runs on the interface of a VLAN in a VRF.
    bool isPimEnabled(const L3::VrfName& vrfName, Bridging::VlanId vlanId) const;
    void handlePegDrStatus(Bridging::VlanId vlanId);
    void handlePimVrf(const L3::VrfName& vrfName);

    void handleL3IntfStatus(Ondel::IntfId intfId);
    void handlePimTransitIntf(const L3::VrfName& vrfName, Ondel::IntfId intfId);

  private:
    void dispatchersAreSubscribedIs(bool subscribed);
    void followInterfaces();
    void followPim();
    void followJoins();
    bool isStale(const Routing::Gmp::Tessel::VrfApp& key,
                 const Routing::Gmp::Tessel::Membership& membership);
    bool isNotNeeded(RixVlanMembership& tracker, const Gmp::GroupMembershipJoin& group,
                     const Routing::Gmp::Tessel::Membership& membership);
    void reconcileStatus(const Routing::Gmp::Tessel::VrfApp& key,
                         Routing::Gmp::Tessel::Status& status);
    Lumo::Ptr<Routing::Gmp::Tessel::Status> gmpStatus(
        const Routing::Gmp::Tessel::VrfApp& gmpVrfApp) const;

    // Set once, by the constructor; enabledStatus and gmpProxyStatus may be replaced later.
    Inputs inputs_;

    // Changed by the ...Is and ...Del operations alone.
    Rix::Collection<Ondel::IntfId, Lumo::Ptr<NestedSm_L3IntfStatus>> l3IntfStatus_;
    Rix::Collection<L3::VrfName, Lumo::Ptr<NestedSm_PimVrfStatus>> pimVrfStatus_;
    Rix::Collection<Bridging::VlanId, Lumo::Ptr<RixVlanMembership>> rixVlanMembership_;
    bool initialized_ = false;
    bool started_ = false;

    // What hears of the inputs. Destroyed first, so that nothing is heard of half a machine.
    CollectionDispatch<Gmp::MembershipJoinStatus, Bridging::VlanId> membershipJoinStatusDispatch_;
    CollectionDispatch<Routing::Multicast::PegDrStatus, Bridging::VlanId> pegDrStatusDispatch_;
    CollectionDispatch<L3::Intf::StatusDir, Ondel::IntfId> l3IntfStatusDirDispatch_;
    CollectionDispatch<Routing::Pim::StatusColl, L3::VrfName> pimStatusCollDispatch_;
    SbdVlanMapReactor<VxlanSbdVlanMaps> on_enabledStatus_;
    SbdVlanMapReactor<MplsSbdVlanMaps> on_gmpProxyStatus_;
};

}  // namespace Irb::Multicast::Ingress::Detail
