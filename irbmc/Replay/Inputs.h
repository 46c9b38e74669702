#pragma once

#include <variant>
#include <vector>

#include "Irb/Multicast/Gmp/MembershipJoinStatus.h"
#include "Irb/Multicast/GmpProxyStatus.h"
#include "L3/Intf/StatusDir.h"
#include "Lumo/Ptr.h"
#include "Replay/Event.h"
#include "Rix/CorruptionHandler.h"
#include "Routing/Multicast/PegDrStatus.h"
#include "Routing/Pim/StatusColl.h"
#include "Vxlan/EnabledStatus.h"

namespace Irbmc::Replay {

/// The state machine's inputs as the other agents would publish them, and the events that change
/// them. A change is delivered to whoever follows the records before the operation returns. Owned
/// by the engine, made before any state machine and outliving all of them; one thread.
///
/// Every operation raises FormatError, before it changes anything, where a record that it needs is
/// not there, and passes on what the records and those who follow them raise.
class Inputs {
  public:
    /// @param handler who is told of damaged records; outlives the inputs
    explicit Inputs(Rix::CorruptionHandler& handler);

    Lumo::Ptr<Irb::Multicast::Gmp::MembershipJoinStatus> membershipJoinStatus;
    Lumo::Ptr<Routing::Multicast::PegDrStatus> pegDrStatus;
    Lumo::Ptr<L3::Intf::StatusDir> l3IntfStatusDir;
    Lumo::Ptr<Vxlan::EnabledStatus> enabledStatus;
    Lumo::Ptr<Routing::Pim::StatusColl> pimStatusColl;
    Lumo::Ptr<Irb::Multicast::GmpProxyStatus> gmpProxyStatus;

    void apply(const VlanSet& event);
    void apply(const VlanDel& event);
    void apply(const GroupSet& event);
    void apply(const GroupDel& event);
    void apply(const SourceSet& event);
    void apply(const SourceDel& event);
    void apply(const IntfChange& event);
    void apply(const Join& event);
    void apply(const Leave& event);
    void apply(const L3Set& event);
    void apply(const L3Vrf& event);
    void apply(const L3Del& event);
    void apply(const PimSet& event);
    void apply(const PimDel& event);
    void apply(const PimIntfChange& event);
    void apply(const PegDrSet& event);
    void apply(const PegDrDel& event);
    void apply(const VrfToSbdSet& event);
    void apply(const VrfToSbdDel& event);
    void apply(const SbdToVrfSet& event);
    void apply(const SbdToVrfDel& event);
    /// Puts a new object in place of an input; telling a state machine of it is the caller's.
    void apply(const SbdReplace& event);
    void apply(const PegDrCorrupt& event);
    void apply(const SetCorrupt& event);

    /// An event that makes the next reading of one record report corruption.
    using Arming = std::variant<PegDrCorrupt, SetCorrupt>;
    /// Lets no record report corruption any more, and reports none. Returns the events that are
    /// undone so.
    std::vector<Arming> disarm();

  private:
    using VlanJoins = Irb::Multicast::Gmp::VlanMembershipJoin;
    using GroupJoins = Irb::Multicast::Gmp::GroupMembershipJoin;
    using SourceJoins = Irb::Multicast::Gmp::SourceMembershipJoin;

    Lumo::Ptr<SourceJoins> made(const SourceJoin& join);
    Lumo::Ptr<GroupJoins> made(const GroupJoin& join);

    Lumo::Ptr<VlanJoins> vlanAt(VlanNumber vlan);
    Lumo::Ptr<GroupJoins> groupAt(const GroupPlace& place);
    Lumo::Ptr<SourceJoins> sourceAt(const SourcePlace& place);
    Lumo::Ptr<Routing::Pim::Status> pimStatusOf(const VrfText& vrf);
    /// The source's record, made empty with the group and the VLAN around it where they are
    /// missing.
    Lumo::Ptr<SourceJoins> sourceMadeAt(const SourcePlace& place);

    Rix::CorruptionHandler& handler_;
};

}  // namespace Irbmc::Replay
