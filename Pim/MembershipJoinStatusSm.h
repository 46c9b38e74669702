#pragma once

#include "Irb/Multicast/Domain.h"
#include "Irb/Multicast/Gmp/MembershipJoinStatus.h"
#include "Irb/Multicast/GmpProxyStatus.h"
#include "L3/Intf/StatusDir.h"
#include "Lumo/FieldId.h"
#include "Lumo/Observable.h"
#include "Lumo/TypeData.h"
#include "Rix/Export.h"
#include "Routing/Gmp/Tessel/App.h"
#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Multicast/PegDrStatus.h"
#include "Routing/Pim/StatusColl.h"
#include "Vxlan/EnabledStatus.h"

namespace Irb::Multicast::Ingress {

/// The state machine that turns the joins of hosts, and of other switches, into memberships of the
/// GMP status table, so that PIM pulls exactly the traffic that is wanted.
///
/// An agent makes one for each IRB multicast domain and GMP application, on its event loop, and
/// holds the reference that keeps it alive. From then on it only reacts to changes of its inputs,
/// on the same thread. It holds references to its inputs, and never changes them. Its destruction
/// withdraws what it wrote for every VLAN that has a VRF; what a process that died had written is
/// reconciled by the next machine over the same table.
///
/// What it holds, and what can be done to it, are known by name, as typeData().attributes() and
/// typeData().operations() list them:
///
///     machine->typeData().attributeText(*machine, "initialized")  // "true"
///     machine->typeData().call(*machine, "reconcile", {})
///
/// - "enabledStatusIs" and "gmpProxyStatusIs" take a reference, or a null one, that replaces this
///   input: the maps of both objects are replayed. The same reference again does nothing.
/// - "reconcile" brings the table back into line with the inputs, as a start over it would: for
///   after a change of an input that raised an error, because the table found no room for example.
///   What is right is not touched. It raises the first error that it meets, after it did all else
///   that can be done; nothing is deleted while the wishes of some VLAN are not known. May be
///   called at any time, and again.
/// - "hasNotificationActiveIs" (a flag) lets the machine follow its inputs, or stops that.
/// - "rixDoZombieReactors" (a flag) reaps it, which withdraws what it wrote as the destruction
///   does, or takes the mark of a reaped machine back; what was withdrawn stays so until it is
///   joined again.
///
/// Subscribers of publisher() are told, at once, of changes of `initialized` and of the three
/// collections of trackers.
class MembershipJoinStatusSm : public Lumo::Observable {
  public:
    /// @name The attributes whose changes are published.
    /// The trackers are keyed by Ondel::IntfId, L3::VrfName and Bridging::VlanId; their previous
    /// values are not told. `initialized` is not keyed, and its previous value is a bool. @{
    static constexpr Lumo::FieldId l3IntfStatusField{9};
    static constexpr Lumo::FieldId pimVrfStatusField{10};
    static constexpr Lumo::FieldId rixVlanMembershipField{11};
    static constexpr Lumo::FieldId initializedField{12};
    /// @}

    /// The description of every machine's type; also what typeData() of one gives.
    RIX_EXPORT static const Lumo::TypeData& type();

    /// Makes a machine over its inputs, brings the table into line with them, and starts to react.
    /// The arguments are those of membershipJoinStatusSmFactory.
    /// @throws Rix::RangeError if an input names a VLAN that cannot be one. Nothing stays behind
    /// but
    ///         the table as it was when that was met: what an earlier machine wrote is not
    ///         withdrawn, and the next start reconciles it.
    RIX_EXPORT static Lumo::Ptr<MembershipJoinStatusSm> MembershipJoinStatusSmIs(
        Domain domain, const Lumo::Ptr<const Gmp::MembershipJoinStatus>& membershipJoinStatus,
        const Lumo::Ptr<const Routing::Multicast::PegDrStatus>& pegDrStatus,
        const Lumo::Ptr<const L3::Intf::StatusDir>& l3IntfStatusDir,
        const Lumo::Ptr<const Vxlan::EnabledStatus>& enabledStatus,
        const Lumo::Ptr<const Routing::Pim::StatusColl>& pimStatusColl,
        const Lumo::Ptr<Routing::Gmp::Tessel::StatusColl>& gmpStatusLocalColl,
        const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus,
        Routing::Gmp::Tessel::App gmpStatusApp);

  protected:
    MembershipJoinStatusSm() = default;
};

}  // namespace Irb::Multicast::Ingress
