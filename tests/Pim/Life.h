#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress::Detail {

/// A short life of a machine in which each of its reactions has a part: a start over a table that
/// another machine left, joins and leaves of every kind, moves between VRFs, changes of roles, of
/// PIM and of SBD VLANs, other inputs, the reaping and the end. Tests make something fail in it.
///
/// Lives on the stack of a test, one for each fault; looks for leftovers when it goes, as a Fabric
/// does.
class Life final : public Fabric {
  public:
    using Fabric::corruptionHandler;
    using Fabric::corruptions;
    using Fabric::enabledStatus;
    using Fabric::gmpProxyStatus;
    using Fabric::gmpStatusLocalColl;
    using Fabric::l3IntfStatusDir;
    using Fabric::machine;
    using Fabric::membershipJoinStatus;
    using Fabric::pegDrStatus;
    using Fabric::pimStatusColl;

    /// Prepares the inputs, and a table that an earlier machine left: one of the process's own, or
    /// one in a directory.
    Life();
    explicit Life(const std::filesystem::path& directory);

    /// Done right before and right after each single change, the start and the end among them.
    std::function<void()> before = [] {};
    std::function<void()> after = [] {};

    /// @name A life, one after the other. A change that fails is made again, so that the inputs are
    /// the same whatever fails; one that goes on failing fails the test. @{
    void begin();
    /// At its end the machine is whole, and has something to lose everywhere.
    void day();
    /// It is reaped, and some joins still come.
    void evening();
    void end();
    /// @}
    void live() {
        begin();
        day();
        evening();
        end();
    }

    /// Every VLAN leaves its VRF and comes back, which writes its memberships anew.
    void refresh();
    /// Damages every set of interfaces and every PEG DR role.
    /// @param handler who is told of it
    void damageInputs(Rix::CorruptionHandler& handler);
    /// Reads what is damaged and was not read yet.
    void clearDamage();

    /// What a machine writes that finds the inputs as they are now, and no table.
    Texts wanted();
    /// What the table holds, of the machine's own.
    Texts held() const;
    /// That nothing is left of a machine that is gone, that the table is well formed, and that the
    /// next machine brings it into line.
    void expectRecovery();

  private:
    using Change = std::function<void()>;

    void TestBody() override {}
    void prepare();
    void make(const Change& change);
    void make(const std::vector<Change>& changes);
    std::vector<Change> joins();
    std::vector<Change> moves();
    std::vector<Change> roles();
    std::vector<Change> replacements();
    template <class Visit>
    void everySource(const Visit& visit);
};

}  // namespace Irb::Multicast::Ingress::Detail
