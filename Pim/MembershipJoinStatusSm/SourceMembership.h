#pragma once

#include "MembershipJoinStatusSm/GroupMembership.h"

namespace Irb::Multicast::Ingress::Detail {

/// Follows the joins of one source of one group in one VLAN, and turns its two interface sets into
/// the (S,G) include and exclude memberships.
///
/// Made by sourceMembershipIs for each source of the group's joins, keyed by source address;
/// removed by sourceMembershipDel when the source goes, or with the group's tracker, which
/// withdraws the source's memberships first. The group's tracker owns it; it points back at that
/// tracker until it is removed. As a zombie it ignores changes.
class MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership::NestedSm_SourceMembership
    final : public Lumo::Object<NestedSm_SourceMembership,
                                Tracker<Gmp::SourceMembershipJoin, NestedSm_GroupMembership>> {
  public:
    /// Writes the memberships that the joins call for.
    NestedSm_SourceMembership(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join,
                              NestedSm_GroupMembership* parent);
    ~NestedSm_SourceMembership() override;
    static const Lumo::TypeData& type();

    void onAttribute(Lumo::FieldId attribute, const void* key) override;
    /// Withdraws the source's memberships, whichever way the state changes.
    void rixDoZombieReactors(bool zombie) override;

    /// Points it at another record for the same source. Its memberships stay as they are until the
    /// next change.
    void notifierIs(const Lumo::Ptr<const Lumo::Node>& join);

    /// The key; the default address while no record is followed.
    Ondel::IpGenAddr source() const {
        return notifier() ? notifier()->source() : Ondel::IpGenAddr();
    }
    /// How many interfaces joined in a mode; 0 where the set is damaged, which is reported.
    std::uint32_t includeIntfs() const;
    std::uint32_t excludeIntfs() const;

    void handleInclude();
    void handleExclude();
    void handleSourceDel();

  private:
    bool mayWrite(const char* handler) const;
    std::uint32_t sizeOf(const Ondel::IntfIdSet& intfs) const;
};

/// Whether a local interface, one that is no multicast tunnel, joined a source in include mode.
bool hasLocalInclude(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join);
/// The same of exclude mode.
bool hasLocalExclude(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join);

}  // namespace Irb::Multicast::Ingress::Detail
