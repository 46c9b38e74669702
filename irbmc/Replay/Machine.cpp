#include "Replay/Machine.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "Lumo/Module.h"
#include "Lumo/TypeData.h"

namespace Irbmc::Replay {

namespace {

using Lumo::Argument;
using Lumo::Node;
using Lumo::Ptr;

constexpr std::string_view typeName = "Irb::Multicast::Ingress::MembershipJoinStatusSm";

const Lumo::TypeData& typeIn(const std::filesystem::path& library) {
    Lumo::Module::load(library);
    const Lumo::TypeData* type = Lumo::TypeData::type(typeName);
    if (type == nullptr) {
        throw std::runtime_error(library.string() + ": it lacks the type " + std::string(typeName));
    }
    return *type;
}

}  // namespace

Machine::Machine(const std::filesystem::path& library) : type_(typeIn(library)) {}

void Machine::start(const Start& start, const Inputs& inputs,
                    const Ptr<Routing::Gmp::Tessel::StatusColl>& table) {
    const auto isLeftOut = [&start](Input input) {
        return std::find(start.without.begin(), start.without.end(), input) != start.without.end();
    };
    const auto readOnly = [&](Input input, const Ptr<const Node>& object) {
        return Argument(isLeftOut(input) ? Ptr<const Node>() : object);
    };
    const std::array<Argument, 9> arguments{
        std::uint64_t{start.domain},
        readOnly(Input::membershipJoinStatus, inputs.membershipJoinStatus),
        readOnly(Input::pegDrStatus, inputs.pegDrStatus),
        readOnly(Input::l3IntfStatusDir, inputs.l3IntfStatusDir),
        readOnly(Input::enabledStatus, inputs.enabledStatus),
        readOnly(Input::pimStatusColl, inputs.pimStatusColl),
        isLeftOut(Input::gmpStatusLocalColl) ? Ptr<Node>() : Ptr<Node>(table),
        readOnly(Input::gmpProxyStatus, inputs.gmpProxyStatus),
        std::uint64_t{start.app},
    };
    sm_ = type_.construct(arguments);
}

void Machine::leave() noexcept {
    // A place that is never destroyed, and that needs no memory: there may be none.
    alignas(Ptr<Node>) static std::byte left[sizeof(Ptr<Node>)];
    new (left) Ptr<Node>(std::move(sm_));
    sm_ = nullptr;
}

void Machine::call(std::string_view operation, const Argument& argument) {
    const Ptr<Node> alive = sm_;
    type_.call(*alive, operation, {&argument, 1});
}

void Machine::reap() {
    call("rixDoZombieReactors", std::uint64_t{true});
}

void Machine::notificationsAre(bool on) {
    call("hasNotificationActiveIs", std::uint64_t{on});
}

void Machine::enabledStatusIs(const Inputs& inputs) {
    call("enabledStatusIs", Ptr<const Node>(inputs.enabledStatus));
}

void Machine::gmpProxyStatusIs(const Inputs& inputs) {
    call("gmpProxyStatusIs", Ptr<const Node>(inputs.gmpProxyStatus));
}

}  // namespace Irbmc::Replay
