#include "MembershipJoinStatusSm/GroupMembership.h"

#include "MembershipJoinStatusSm/SmTrace.h"
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "MembershipJoinStatusSm/followAll.h"
#include "Rix/FirstError.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::FilterMode;
using NestedSm_GroupMembership =
    MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership;
using NestedSm_SourceMembership = NestedSm_GroupMembership::NestedSm_SourceMembership;

NestedSm_GroupMembership::NestedSm_GroupMembership(
    const Lumo::Ptr<const Gmp::GroupMembershipJoin>& join, RixVlanMembership* parent)
    : Object(parent) {
    follow(join);
    isRegisteredNotifieeIs(true);
    followSources();
}

NestedSm_GroupMembership::~NestedSm_GroupMembership() {
    hasNotificationActiveIs(false);
    try {
        if (parent() && parent()->parent()->isStarted()) rixDoZombieReactors(true);
    } catch (...) {  // NOLINT(bugprone-empty-catch): there is nobody left to tell
    }
    for (const auto [source, tracker] : sourceMembership_)
        tracker->parentIs(nullptr);
}

const Lumo::TypeData& NestedSm_GroupMembership::type() {
    static const Lumo::TypeData data(
        "MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership",
        {{"groupAddr", [](const Lumo::Node& o) {
              return static_cast<const NestedSm_GroupMembership&>(o).groupAddr().text();
          }}});
    return data;
}

void NestedSm_GroupMembership::notifierIs(const Lumo::Ptr<const Lumo::Node>& join) {
    const auto groupJoin = Lumo::dynamicCast<const Gmp::GroupMembershipJoin>(join);
    if (groupJoin == notifier()) return;
    follow(groupJoin);
    followSources();
    isRegisteredNotifieeIs(true);
}

void NestedSm_GroupMembership::followSources() {
    const auto groupJoin = notifier();  // held while it is walked
    if (!groupJoin) return;
    followAll(
        groupJoin->source(), sourceMembership_, [&](const auto& join) { sourceMembershipIs(join); },
        [&](const Ondel::IpGenAddr& source) { sourceMembershipDel(source); });
}

void NestedSm_GroupMembership::onAttribute(Lumo::FieldId attribute, const void* key) {
    if (attribute != Gmp::GroupMembershipJoin::sourceField || !notifier()) return;
    const auto& source = *static_cast<const Ondel::IpGenAddr*>(key);
    if (const auto join = notifier()->source(source)) {
        sourceMembershipIs(join);
    } else {
        sourceMembershipDel(source);
    }
}

void NestedSm_GroupMembership::hasNotificationActiveIs(bool active) {
    if (active == hasNotificationActive()) return;
    notificationActiveFlagIs(active);
    const bool zombie = isZombie();
    zombieFlagIs(true);
    for (const auto [source, tracker] : sourceMembership_) {
        tracker->hasNotificationActiveIs(active);
    }
    zombieFlagIs(zombie);
}

void NestedSm_GroupMembership::rixDoZombieReactors(bool zombie) {
    if (zombie == isZombie()) return;
    if (notifier()) hasNotificationActiveIs(!zombie);
    Rix::FirstError error;
    error.run([&] { handleGroupDel(); });
    for (const auto [source, tracker] : sourceMembership_) {
        error.run([&, &reaped = *tracker] { reaped.rixDoZombieReactors(zombie); });
    }
    // A source that goes re-evaluates (*,G) while the join still lists the others.
    if (zombie) error.run([&] { parent()->delStarG(groupAddr()); });
    zombieFlagIs(zombie);
    error.raise();
}

Lumo::Ptr<NestedSm_SourceMembership> NestedSm_GroupMembership::sourceMembershipIs(
    const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join) {
    if (!join) {
        throw Rix::NullArgumentError(
            "sourceMembership",
            "MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership");
    }
    Lumo::Ptr<NestedSm_SourceMembership> tracker = sourceMembership_.get(join->source());
    if (tracker) {
        if (tracker->notifier() == join) return tracker;
        tracker->notifierIs(join);
    } else {
        tracker = Lumo::make<NestedSm_SourceMembership>(join, this);
        tracker->hasNotificationActiveIs(true);
        sourceMembership_.valueIs(join->source(), tracker);
    }
    tracker->rixDoZombieReactors(isZombie());
    return tracker;
}

Lumo::Ptr<const Gmp::SourceMembershipJoin> NestedSm_GroupMembership::sourceMembershipDel(
    const Ondel::IpGenAddr& source) {
    const Lumo::Ptr<NestedSm_SourceMembership> tracker = sourceMembership_.del(source);
    if (!tracker) return nullptr;
    Rix::FirstError error;
    error.run([&] { tracker->rixDoZombieReactors(true); });
    tracker->parentIs(nullptr);
    tracker->hasNotificationActiveIs(false);
    error.raise();
    return tracker->notifier();
}

void NestedSm_GroupMembership::sourceMembershipDelAll() {
    for (const auto [source, tracker] : sourceMembership_)
        sourceMembershipDel(tracker->source());
}

bool NestedSm_GroupMembership::requireStarG(const Ondel::IpGenAddr& skipSource) const {
    if (!notifier()) return false;
    for (const auto [source, join] : notifier()->source()) {
        if (source == skipSource) continue;
        const bool needed = source.isSpecificSource() ? parent()->updateVlanExclude(join)
                                                      : parent()->updateVlanInclude(join);
        if (needed) return true;
    }
    return false;
}

void NestedSm_GroupMembership::updateStarG(const Ondel::IpGenAddr& skipSource) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "NestedSm_GroupMembership::updateStarG(const Ondel::IpGenAddr&)");
    const L3::VrfName& vrfName = parent()->vrfName();
    const Bridging::VlanId vlanId = parent()->vlanId();
    const Ondel::IpGenAddr group = groupAddr();
    const auto anySource = Ondel::IpGenAddr::zero(group.family());
    TRACE(smTrace(), 8, "updateStarG",
          "updateStarG: Update gmpStatus ({}) for Smet ( Vlan {}, {}, {} )", vrfName, vlanId,
          anySource, group);
    parent()->membershipIs(anySource, group, FilterMode::include, requireStarG(skipSource));
}

void NestedSm_GroupMembership::handleGroupDel() {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "NestedSm_GroupMembership::handleGroupDel()");
    const Bridging::VlanId vlanId = parent()->vlanId();
    const Ondel::IpGenAddr group = groupAddr();
    TRACE(smTrace(), 5, "handleGroupDel", "Delete group: {}, VLAN {}, members: {}", group, vlanId,
          static_cast<std::uint32_t>(sourceMembership_.size()));
    if (parent()->vrfName().empty()) {
        TRACE(smTrace(), 8, "handleGroupDel", "handleGroupDel: No vrfName for vlan {}", vlanId);
        return;
    }
    for (const auto [key, tracker] : sourceMembership_) {
        const Ondel::IpGenAddr source = tracker->source();
        const std::uint32_t includeIntfs = tracker->includeIntfs();
        const std::uint32_t excludeIntfs = tracker->excludeIntfs();
        TRACE(smTrace(), 8, "handleGroupDel",
              "handleGroupDel deleting source {} includeIntfs {} excludeIntfs {}", source,
              includeIntfs, excludeIntfs);
        parent()->membershipDel(source, group, FilterMode::include);
        parent()->membershipDel(source, group, FilterMode::exclude);
    }
    const auto anySource = Ondel::IpGenAddr::zero(group.family());
    parent()->membershipDel(anySource, group, FilterMode::include);
}

}  // namespace Irb::Multicast::Ingress::Detail
