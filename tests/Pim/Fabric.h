// What the tests of the state machine speak: a switch's inputs, a machine over them, and what the
// table holds and the trace says.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "MembershipJoinStatusSm/Root.h"
#include "Rix/CorruptionHandler.h"
#include "Trace/RingRecord.h"

namespace Irb::Multicast::Ingress::Detail {

/// The fixture: inputs that exist and hold nothing, and an empty table. It checks, when a test
/// ends, that nobody refers to the inputs any more and that no object of any type is left over.
class Fabric : public testing::Test {
  protected:
    using VlanId = Bridging::VlanId;
    using IpGenAddr = Ondel::IpGenAddr;
    using IntfId = Ondel::IntfId;
    using VrfName = L3::VrfName;
    using RixVlanMembership = MembershipJoinStatusSm::RixVlanMembership;
    using Texts = std::vector<std::string>;

    enum class Mode { include, exclude };

    /// What is said of a number that no VLAN has.
    static constexpr auto rangeError = "Bridging::VlanId::value < 1 or > 4094 not allowed";

    Fabric();
    ~Fabric() override;

    /// @name Before the machine starts. @{
    struct Toggles {
        bool oismMplsTunnel = true;
        bool oismGateway = true;
    };
    /// The settings of the two toggles; both are on unless a test says otherwise.
    static void toggles(Toggles state);
    /// @}

    /// @name The machine. @{
    /// Stops the machine that there is, and starts another.
    void start();
    void stop() { machine = nullptr; }
    /// A machine as it is handed out, seen from inside.
    static Lumo::Ptr<MembershipJoinStatusSm> inside(
        const Lumo::Ptr<Ingress::MembershipJoinStatusSm>& machine) {
        return Lumo::dynamicCast<MembershipJoinStatusSm>(machine);
    }
    /// Starts the machine, and gives what the constructor raised.
    std::string startError() {
        return errorOf([this] { start(); });
    }
    /// The tracker of a VLAN; there must be one.
    Lumo::Ptr<RixVlanMembership> vlan(unsigned number);
    /// @}

    /// @name What happens in the fabric. @{
    void join(unsigned vlan, const char* group, const char* source, const char* intf,
              Mode mode = Mode::include);
    /// Takes one interface out of a source's set; the records stay.
    void leave(unsigned vlan, const char* group, const char* source, const char* intf,
               Mode mode = Mode::include);
    void delSource(unsigned vlan, const char* group, const char* source);
    void delGroup(unsigned vlan, const char* group);
    void delVlan(unsigned vlan);
    /// The record of a source; there must be one.
    Lumo::Ptr<Gmp::SourceMembershipJoin> sourceJoin(unsigned vlan, const char* group,
                                                    const char* source);
    Lumo::Ptr<Gmp::GroupMembershipJoin> groupJoin(unsigned vlan, const char* group);
    Lumo::Ptr<Gmp::VlanMembershipJoin> vlanJoin(unsigned vlan);
    /// A new status of an interface, in place of any there.
    void bind(const char* intf, const char* vrf);
    /// Another VRF for a status that is there.
    void rebind(const char* intf, const char* vrf);
    void unbind(const char* intf);
    /// Makes a VLAN the SBD VLAN of a VRF in both directions of both domains' maps.
    void sbd(const char* vrf, unsigned vlan);
    void notSbd(const char* vrf, unsigned vlan);
    /// The PEG DR record of a VLAN: the role in the VXLAN domain, in every other, and the plain
    /// one.
    void pegDr(unsigned vlan, unsigned vxlan, unsigned mpls = 0, unsigned plain = 0);
    void pim(const char* vrf, const std::vector<const char*>& intfs);
    void pimIntf(const char* vrf, const char* intf);
    void delPimIntf(const char* vrf, const char* intf);
    void delPim(const char* vrf);
    /// Writes a membership into the table as an earlier incarnation did.
    void stale(const char* vrf, const char* intf, const char* source, const char* group,
               Mode mode = Mode::include,
               Routing::Gmp::Tessel::App app = Routing::Gmp::Tessel::App::irb);
    void staleStatus(const char* vrf,
                     Routing::Gmp::Tessel::App app = Routing::Gmp::Tessel::App::irb);
    /// @}

    /// @name What the table holds, sorted: "red.irb vlan10 (10.0.0.1, 239.1.1.1) include". @{
    Texts table() const;
    /// The names of its statuses, sorted.
    Texts statuses() const;
    /// @}

    /// @name The trace: "LEVEL FUNCTION | TEXT" of every level, since the last call of forget. @{
    const Texts& trace() const { return trace_; }
    /// The texts of one level alone.
    Texts trace(unsigned level) const;
    bool traced(const std::string& line) const;
    /// The timed blocks in the ring, since the last call of forget: "BEGIN SIGNATURE" and
    /// "END SIGNATURE", in order.
    Texts blocks() const;
    /// The messages in the ring, since the last call of forget, as trace() has them.
    Texts ringMessages() const;
    void forget();
    /// @}

    /// What a step raised, or nothing.
    template <class Step>
    static std::string errorOf(const Step& step) {
        try {
            step();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }

    /// The corruption reports that reached a handler of an input or of the table.
    Texts corruptions() const { return corruptions_.messages; }
    /// The handler that keeps them.
    Rix::CorruptionHandler& corruptionHandler() { return corruptions_; }

    /// That nobody refers or listens to the inputs. Checked at a test's end, too.
    void expectInputsUnreferenced() const;

    static IpGenAddr address(const char* text);
    static VrfName vrf(const char* name) { return VrfName(name); }

  private:
    static std::map<std::string, std::uint64_t> liveObjects();

    /// Taken before the inputs are made.
    const std::map<std::string, std::uint64_t> liveAtStart_ = liveObjects();

  protected:
    Domain domain = Domain::vxlan;
    Routing::Gmp::Tessel::App app = Routing::Gmp::Tessel::App::irb;
    Lumo::Ptr<Gmp::MembershipJoinStatus> membershipJoinStatus;
    Lumo::Ptr<Routing::Multicast::PegDrStatus> pegDrStatus;
    Lumo::Ptr<L3::Intf::StatusDir> l3IntfStatusDir;
    Lumo::Ptr<Vxlan::EnabledStatus> enabledStatus;
    Lumo::Ptr<Routing::Pim::StatusColl> pimStatusColl;
    Lumo::Ptr<GmpProxyStatus> gmpProxyStatus;
    Lumo::Ptr<Routing::Gmp::Tessel::StatusColl> gmpStatusLocalColl;
    Lumo::Ptr<MembershipJoinStatusSm> machine;

  private:
    struct Corruptions final : Rix::CorruptionHandler {
        Texts messages;
        void onCorruption(std::string_view message) override { messages.emplace_back(message); }
    };

    std::vector<Trace::RingRecord> ringRecords() const;

    Corruptions corruptions_;
    Texts trace_;
    /// How many records the ring had been given at the last call of forget.
    std::uint64_t forgottenRecords_ = 0;
};

}  // namespace Irb::Multicast::Ingress::Detail
