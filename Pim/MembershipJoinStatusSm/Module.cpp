// How the machine is made from outside: through the factory, or by the name of its type.
#include <string>
#include <utility>

#include "Lumo/ArgumentReader.h"
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSmFactory.h"

namespace Irb::Multicast::Ingress {

namespace Detail {

namespace {

using Lumo::ArgumentReader;
using Lumo::Arguments;
using Lumo::Node;

const MembershipJoinStatusSm& machine(const Node& object) {
    return static_cast<const MembershipJoinStatusSm&>(object);
}

MembershipJoinStatusSm& machine(Node& object) {
    return static_cast<MembershipJoinStatusSm&>(object);
}

template <class Object>
std::string reference(const Lumo::Ptr<Object>& object) {
    return object ? object->typeData().name() : "none";
}

std::vector<Lumo::TypeData::Attribute> attributes() {
    return {
        {"domain",
         [](const Node& o) { return std::to_string(static_cast<unsigned>(machine(o).domain())); }},
        {"membershipJoinStatus",
         [](const Node& o) { return reference(machine(o).membershipJoinStatus()); }},
        {"pegDrStatus", [](const Node& o) { return reference(machine(o).pegDrStatus()); }},
        {"l3IntfStatusDir", [](const Node& o) { return reference(machine(o).l3IntfStatusDir()); }},
        {"enabledStatus", [](const Node& o) { return reference(machine(o).enabledStatus()); }},
        {"pimStatusColl", [](const Node& o) { return reference(machine(o).pimStatusColl()); }},
        {"gmpProxyStatus", [](const Node& o) { return reference(machine(o).gmpProxyStatus()); }},
        {"gmpStatusLocalColl",
         [](const Node& o) { return reference(machine(o).gmpStatusLocalColl()); }},
        {"gmpStatusApp",
         [](const Node& o) {
             return Routing::Gmp::Tessel::stringValue(machine(o).gmpStatusApp());
         }},
        {"l3IntfStatus",
         [](const Node& o) { return std::to_string(machine(o).l3IntfStatus().size()); }},
        {"pimVrfStatus",
         [](const Node& o) { return std::to_string(machine(o).pimVrfStatus().size()); }},
        {"rixVlanMembership",
         [](const Node& o) { return std::to_string(machine(o).rixVlanMembership().size()); }},
        {"initialized",
         [](const Node& o) { return std::string(machine(o).initialized() ? "true" : "false"); }},
    };
}

std::vector<Lumo::TypeData::Operation> operations() {
    return {
        {"hasNotificationActiveIs",
         [](Node& o, Arguments arguments) {
             ArgumentReader reader("hasNotificationActiveIs", arguments, 1);
             machine(o).hasNotificationActiveIs(reader.number<bool>());
         }},
        {"rixDoZombieReactors",
         [](Node& o, Arguments arguments) {
             ArgumentReader reader("rixDoZombieReactors", arguments, 1);
             machine(o).rixDoZombieReactors(reader.number<bool>());
         }},
        {"enabledStatusIs",
         [](Node& o, Arguments arguments) {
             ArgumentReader reader("enabledStatusIs", arguments, 1);
             machine(o).enabledStatusIs(reader.reference<const Vxlan::EnabledStatus>());
         }},
        {"gmpProxyStatusIs",
         [](Node& o, Arguments arguments) {
             ArgumentReader reader("gmpProxyStatusIs", arguments, 1);
             machine(o).gmpProxyStatusIs(reader.reference<const GmpProxyStatus>());
         }},
        {"reconcile",
         [](Node& o, Arguments arguments) {
             const ArgumentReader reader("reconcile", arguments, 0);
             machine(o).reconcile();
         }},
    };
}

Lumo::Ptr<MembershipJoinStatusSm> started(Inputs inputs) {
    auto machine = Lumo::make<MembershipJoinStatusSm>(std::move(inputs));
    machine->hasNotificationActiveIs(true);
    return machine;
}

Lumo::Ptr<Node> construct(Arguments arguments) {
    ArgumentReader reader("MembershipJoinStatusSm", arguments, 9);
    // In the order of the members, which is the order of evaluation, too.
    return started({reader.number<Domain>(), reader.reference<const Gmp::MembershipJoinStatus>(),
                    reader.reference<const Routing::Multicast::PegDrStatus>(),
                    reader.reference<const L3::Intf::StatusDir>(),
                    reader.reference<const Vxlan::EnabledStatus>(),
                    reader.reference<const Routing::Pim::StatusColl>(),
                    reader.reference<Routing::Gmp::Tessel::StatusColl>(),
                    reader.reference<const GmpProxyStatus>(),
                    reader.number<Routing::Gmp::Tessel::App>()});
}

}  // namespace

const Lumo::TypeData& MembershipJoinStatusSm::type() {
    static const Lumo::TypeData data("Irb::Multicast::Ingress::MembershipJoinStatusSm",
                                     attributes(), operations(), construct);
    return data;
}

}  // namespace Detail

const Lumo::TypeData& MembershipJoinStatusSm::type() {
    return Detail::MembershipJoinStatusSm::type();
}

Lumo::Ptr<MembershipJoinStatusSm> MembershipJoinStatusSm::MembershipJoinStatusSmIs(
    Domain domain, const Lumo::Ptr<const Gmp::MembershipJoinStatus>& membershipJoinStatus,
    const Lumo::Ptr<const Routing::Multicast::PegDrStatus>& pegDrStatus,
    const Lumo::Ptr<const L3::Intf::StatusDir>& l3IntfStatusDir,
    const Lumo::Ptr<const Vxlan::EnabledStatus>& enabledStatus,
    const Lumo::Ptr<const Routing::Pim::StatusColl>& pimStatusColl,
    const Lumo::Ptr<Routing::Gmp::Tessel::StatusColl>& gmpStatusLocalColl,
    const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus, Routing::Gmp::Tessel::App gmpStatusApp) {
    return Detail::started({domain, membershipJoinStatus, pegDrStatus, l3IntfStatusDir,
                            enabledStatus, pimStatusColl, gmpStatusLocalColl, gmpProxyStatus,
                            gmpStatusApp});
}

Lumo::Ptr<MembershipJoinStatusSm> membershipJoinStatusSmFactory(
    Domain domain, const Lumo::Ptr<const Gmp::MembershipJoinStatus>& membershipJoinStatus,
    const Lumo::Ptr<const Routing::Multicast::PegDrStatus>& pegDrStatus,
    const Lumo::Ptr<const L3::Intf::StatusDir>& l3IntfStatusDir,
    const Lumo::Ptr<const Vxlan::EnabledStatus>& enabledStatus,
    const Lumo::Ptr<const Routing::Pim::StatusColl>& pimStatusColl,
    const Lumo::Ptr<Routing::Gmp::Tessel::StatusColl>& gmpStatusLocalColl,
    const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus, Routing::Gmp::Tessel::App gmpStatusApp) {
    return MembershipJoinStatusSm::MembershipJoinStatusSmIs(
        domain, membershipJoinStatus, pegDrStatus, l3IntfStatusDir, enabledStatus, pimStatusColl,
        gmpStatusLocalColl, gmpProxyStatus, gmpStatusApp);
}

}  // namespace Irb::Multicast::Ingress

/// What the runtime calls when it loads this library.
extern "C" RIX_EXPORT void lumoModuleTypes();
void lumoModuleTypes() {
    Irb::Multicast::Ingress::MembershipJoinStatusSm::type();
}
