#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/Answer.h"
#include "model/Inputs.h"
#include "model/Ordered.h"
#include "model/Table.h"
#include "model/Text.h"

namespace model {

/// Throws unless the number is that of a VLAN id.
void requireVlanId(std::uint32_t number);
/// Throws if the text is too long for the name of a VRF.
void requireVrfName(const std::string& text);

struct Toggles {
    bool oismGateway = true;
    bool oismMplsTunnel = true;
};

/// All that a machine reads and writes, and the answer to the event under way.
struct World {
    Toggles toggles;
    Inputs inputs;
    Table table;
    Answer answer;
};

/// What the machine remembers of a group: the join that it follows and the joins of its sources,
/// in the order in which it met them. A source's join stays the one that it was re-pointed at
/// last, whatever the group's own join lists by now.
struct GroupTracker {
    std::shared_ptr<GroupJoin> join;
    bool listening = true;
    bool reaped = false;
    Ordered<Addr, std::shared_ptr<SourceJoin>> sources;
};

/// What the machine remembers of a VLAN. `reaped` is never taken back, and a group of a reaped
/// VLAN is reaped as soon as it is there; a source is in the state of its group.
struct VlanTracker {
    std::shared_ptr<VlanJoin> join;
    std::string vrf;
    bool drForSbd = false;
    bool listening = false;
    bool reaped = false;
    Ordered<Addr, GroupTracker> groups;
};

struct IntfTracker {
    std::shared_ptr<IntfStatus> status;
    bool listening = false;
    bool reaped = false;
};

struct PimTracker {
    std::shared_ptr<PimStatus> status;
    bool reaped = false;
};

/// The state machine as a value and the rules as functions over it. It is told of each change of
/// an input after the change was made, and throws Refusal where the system raises an error.
///
/// Machine.cpp: its life. MachineChanges.cpp: what each change leads to. MachineRules.cpp: the
/// questions. MachineJoins.cpp: VLANs, groups and sources. MachineSync.cpp: the walk at the start.
class Machine {
  public:
    /// @param without bits of input: what this machine does not have
    Machine(World& world, std::uint8_t domain, std::uint8_t app, std::uint8_t without);

    // Its life. A start that throws leaves a machine of no use, which goes without a trace.
    void start();
    void stop();
    void reap();
    void notificationsAre(bool on);

    // Changes of the collections.
    void vlanChanged(std::uint16_t vlan);
    void groupChanged(const std::shared_ptr<VlanJoin>& join, const Addr& group);
    void sourceChanged(std::uint16_t vlan, const std::shared_ptr<GroupJoin>& join,
                       const Addr& source);
    void setChanged(std::uint16_t vlan, const Addr& group, const std::shared_ptr<SourceJoin>& join,
                    Mode set);
    void intfChanged(Intf intf);
    void intfVrfChanged(const std::shared_ptr<IntfStatus>& status);
    void pimChanged(const std::string& vrf);
    void pimIntfChanged(const std::shared_ptr<PimStatus>& status, Intf intf);
    void pegDrChanged(std::uint16_t vlan);

    // Changes of the SBD maps; a VLAN of 0 that is present is a number like any other in the
    // VXLAN map, whereas the MPLS map cannot hold one.
    void vxlanVrfChanged(const std::string& vrf, const std::uint16_t* before);
    void mplsVrfChanged(const std::string& vrf, const std::uint16_t* before);
    void vxlanSbdChanged(std::uint32_t vlan);
    void mplsSbdChanged(std::uint32_t vlan);
    void vxlanReplaced(const SbdMaps& before);
    void mplsReplaced(const SbdMaps& before);

    /// All that decides what it will do next, as text; two machines with the same inputs, table
    /// and text behave alike.
    std::string stateText() const;

  private:
    using Vlan = std::uint32_t;

    void dropTrackers();

    // Questions.
    bool has(std::uint8_t bit) const { return (without_ & bit) == 0; }
    std::string_view joinName() const;
    const SbdMaps* selectedMaps() const;
    Vlan sbdVlanOf(const std::string& vrf) const;
    std::string sbdVrfOf(Vlan vlan) const;
    bool isSbdVlan(const VlanTracker& vlan) const;
    bool isDrForVlan(Vlan vlan);
    bool isPimEnabled(const std::string& vrf, Vlan vlan) const;
    const IntfStatus* intfStatus(Intf intf) const;
    std::optional<std::size_t> sizeOf(IntfSet& set);
    bool wantsAsSbdVlan(const VlanTracker& vlan) const;
    bool updateVlanInclude(const VlanTracker& vlan, SourceJoin& join);
    bool updateVlanExclude(const VlanTracker& vlan, SourceJoin& join);
    bool requireStarG(const VlanTracker& vlan, const GroupTracker& group, const Addr& skip);

    // The table.
    Memberships* memberships(const VlanTracker& vlan);
    void addMembership(const VlanTracker& vlan, const Addr& source, const Addr& group, Mode mode);
    void delMembership(const VlanTracker& vlan, const Addr& source, const Addr& group, Mode mode);
    void sweepStarG(const VlanTracker& vlan, const Addr& group);

    // VLANs.
    void vlanIs(const std::shared_ptr<VlanJoin>& join);
    VlanTracker newVlan(const std::shared_ptr<VlanJoin>& join);
    void reapVlan(VlanTracker& vlan);
    void listeningIs(VlanTracker& vlan, bool on);
    void updateVrfName(VlanTracker& vlan, const std::string& vrf);
    enum class Update { asWanted, deleteVlan };
    void updateGmpStatus(VlanTracker& vlan, Update update);

    // Groups and sources.
    void groupIs(VlanTracker& vlan, const std::shared_ptr<GroupJoin>& join);
    void groupDel(VlanTracker& vlan, const Addr& group);
    void reapGroup(const VlanTracker& vlan, GroupTracker& group);
    void repoint(const VlanTracker& vlan, GroupTracker& group,
                 const std::shared_ptr<GroupJoin>& join);
    void sourceIs(const VlanTracker& vlan, GroupTracker& group,
                  const std::shared_ptr<SourceJoin>& join);
    void sourceDel(const VlanTracker& vlan, GroupTracker& group, const Addr& source);
    void updateStarG(const VlanTracker& vlan, const GroupTracker& group, const Addr& skip);
    void handleGroupDel(const VlanTracker& vlan, const GroupTracker& group);
    bool mayWrite(const VlanTracker& vlan, const char* handler);
    void handleInclude(const VlanTracker& vlan, const GroupTracker& group, SourceJoin& join);
    void handleExclude(const VlanTracker& vlan, const GroupTracker& group, SourceJoin& join);
    void handleSourceDel(const VlanTracker& vlan, const GroupTracker& group, SourceJoin& join);

    // What changes lead to.
    void intfStatusIs(const std::shared_ptr<IntfStatus>& status);
    void reapIntf(IntfTracker& intf);
    void handleL3IntfStatus(Intf intf);
    void handlePimTransitIntf(const std::string& vrf, Intf intf);
    void handlePegDrStatus(Vlan vlan);
    void handleVxlanVrf(const std::string& vrf, const std::uint16_t* before,
                        const std::uint16_t* after);
    void handleMplsVrf(const std::string& vrf, const std::uint16_t* before,
                       const std::uint16_t* after);
    void handleSbdVlanToVrf(Vlan vlan);
    void updateSbdVlanMembership(Vlan vlan);

    // The walk over an old table.
    void handleInitialized();
    std::string whyStale(const StatusKey& status, const MembershipKey& key, Mode mode);

    template <class... Parts>
    void trace(int level, const char* function, const Parts&... parts) {
        world_.answer.trace.push_back({level, function, text(parts...)});
    }

    World& world_;
    std::uint8_t domain_;
    std::uint8_t app_;
    std::uint8_t without_;
    bool listening_ = false;
    bool reaped_ = false;
    bool initialized_ = false;
    Ordered<Intf, IntfTracker> intfs_;
    Ordered<std::string, PimTracker> pim_;
    Ordered<std::uint16_t, VlanTracker> vlans_;
};

}  // namespace model
