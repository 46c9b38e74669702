#include "MembershipJoinStatusSm/SourceMembership.h"

#include "MembershipJoinStatusSm/SmTrace.h"
#include "Multicast/Tunnel/McastTunnelIntfId.h"
#include "Rix/CorruptionError.h"
#include "Rix/FirstError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::FilterMode;
using NestedSm_SourceMembership =
    MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership::NestedSm_SourceMembership;

NestedSm_SourceMembership::NestedSm_SourceMembership(
    const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join, NestedSm_GroupMembership* parent)
    : Object(parent) {
    follow(join);
    isRegisteredNotifieeIs(true);
    if (!join) return;
    handleInclude();
    handleExclude();
}

NestedSm_SourceMembership::~NestedSm_SourceMembership() {
    hasNotificationActiveIs(false);
    try {
        if (parent() && parent()->parent()->parent()->isStarted()) rixDoZombieReactors(true);
    } catch (...) {  // NOLINT(bugprone-empty-catch): there is nobody left to tell
    }
}

const Lumo::TypeData& NestedSm_SourceMembership::type() {
    static const Lumo::TypeData data(
        "MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership::"
        "NestedSm_SourceMembership",
        {{"source", [](const Lumo::Node& o) {
              return static_cast<const NestedSm_SourceMembership&>(o).source().text();
          }}});
    return data;
}

void NestedSm_SourceMembership::notifierIs(const Lumo::Ptr<const Lumo::Node>& join) {
    const auto sourceJoin = Lumo::dynamicCast<const Gmp::SourceMembershipJoin>(join);
    if (sourceJoin == notifier()) return;
    follow(sourceJoin);
    isRegisteredNotifieeIs(true);
}

void NestedSm_SourceMembership::onAttribute(Lumo::FieldId attribute, const void*) {
    if (isZombie()) return;
    if (attribute == Gmp::SourceMembershipJoin::includeIntfsField) {
        handleInclude();
    } else if (attribute == Gmp::SourceMembershipJoin::excludeIntfsField) {
        handleExclude();
    }
}

void NestedSm_SourceMembership::rixDoZombieReactors(bool zombie) {
    if (zombie == isZombie()) return;
    if (notifier()) hasNotificationActiveIs(!zombie);
    Rix::FirstError error;
    error.run([&] { handleSourceDel(); });
    zombieFlagIs(zombie);
    error.raise();
}

std::uint32_t NestedSm_SourceMembership::includeIntfs() const {
    return notifier() ? sizeOf(notifier()->includeIntfs()) : 0;
}

std::uint32_t NestedSm_SourceMembership::excludeIntfs() const {
    return notifier() ? sizeOf(notifier()->excludeIntfs()) : 0;
}

std::uint32_t NestedSm_SourceMembership::sizeOf(const Ondel::IntfIdSet& intfs) const {
    try {
        return static_cast<std::uint32_t>(intfs.size());
    } catch (const Rix::CorruptionError& corruption) {
        notifier()->handleCorruption(corruption.what());
        return 0;
    }
}

/// The common entry of the three handlers: nothing is written for a VLAN without a VRF, nor for an
/// SBD VLAN where this router is not PEG DR and PIM is not enabled.
bool NestedSm_SourceMembership::mayWrite(const char* handler) const {
    const RixVlanMembership& vlan = *parent()->parent();
    if (vlan.vrfName().empty()) {
        TRACE_AS(smTrace(), 8, handler, "{}: No vrfName for vlanId {}", handler, vlan.vlanId());
        return false;
    }
    if (vlan.isSbdVlan() && !vlan.isDrForSbdVlan() &&
        !vlan.parent()->isPimEnabled(vlan.vrfName(), vlan.vlanId())) {
        TRACE_AS(smTrace(), 8, handler, "{}: Not PEG DR or Pim enabled for SBD VLAN{}", handler,
                 vlan.vlanId());
        return false;
    }
    return true;
}

void NestedSm_SourceMembership::handleInclude() {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "NestedSm_GroupMembership::NestedSm_SourceMembership::handleInclude()");
    if (!mayWrite("handleInclude")) return;
    if (!source().isSpecificSource()) {
        parent()->updateStarG(Ondel::IpGenAddr());
        return;
    }
    RixVlanMembership& vlan = *parent()->parent();
    const bool include = vlan.updateVlanInclude(notifier());
    TRACE(smTrace(), 8, "handleInclude",
          "handleInclude: Update gmpStatus ({}) for Smet ( Vlan {}, {}, {} ), add include: {}",
          vlan.vrfName(), vlan.vlanId(), source(), parent()->groupAddr(), include);
    vlan.membershipIs(source(), parent()->groupAddr(), FilterMode::include, include);
}

void NestedSm_SourceMembership::handleExclude() {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "NestedSm_GroupMembership::NestedSm_SourceMembership::handleExclude()");
    if (!mayWrite("handleExclude")) return;
    RixVlanMembership& vlan = *parent()->parent();
    const bool exclude = vlan.updateVlanExclude(notifier());
    TRACE(smTrace(), 8, "handleExclude",
          "handleExclude: Update gmpStatus ({}) for Smet ( Vlan {}, {}, {} ), add exclude: {}",
          vlan.vrfName(), vlan.vlanId(), source(), parent()->groupAddr(), exclude);
    parent()->updateStarG(Ondel::IpGenAddr());
    vlan.membershipIs(source(), parent()->groupAddr(), FilterMode::exclude, exclude);
}

void NestedSm_SourceMembership::handleSourceDel() {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "NestedSm_GroupMembership::NestedSm_SourceMembership::handleSourceDel()");
    if (!mayWrite("handleSourceDel")) return;
    const std::uint32_t include = includeIntfs();
    const std::uint32_t exclude = excludeIntfs();
    TRACE(smTrace(), 8, "handleSourceDel",
          "handleSourceDel( {} ), includeIntfs: {}, excludeIntfs: {}", source(), include, exclude);
    RixVlanMembership& vlan = *parent()->parent();
    const Ondel::IpGenAddr group = parent()->groupAddr();
    if (include != 0) vlan.membershipDel(source(), group, FilterMode::include);
    if (exclude != 0) vlan.membershipDel(source(), group, FilterMode::exclude);
    if (exclude != 0 || !source().isSpecificSource()) parent()->updateStarG(source());
}

namespace {

bool hasLocal(const Ondel::IntfIdSet& intfs) {
    for (const Ondel::IntfId intf : intfs) {
        if (!::Multicast::Tunnel::McastTunnelIntfId::isMcastTunnelIntfId(intf)) return true;
    }
    return false;
}

}  // namespace

bool hasLocalInclude(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join) {
    TRACE_BLOCK(smTrace(), "bool Irb::Multicast::Ingress::hasLocalInclude(const PtrConst&)");
    return hasLocal(join->includeIntfs());
}

bool hasLocalExclude(const Lumo::Ptr<const Gmp::SourceMembershipJoin>& join) {
    TRACE_BLOCK(smTrace(), "bool Irb::Multicast::Ingress::hasLocalExclude(const PtrConst&)");
    return hasLocal(join->excludeIntfs());
}

}  // namespace Irb::Multicast::Ingress::Detail
