// How the machine is made and driven without its header: by the names that its type data lists.
#include "Lumo/ArgumentError.h"
#include "MembershipJoinStatusSmFactory.h"
#include "Pim/Fabric.h"

/// What the runtime calls in a library that it loads.
extern "C" void lumoModuleTypes();

namespace Irb::Multicast::Ingress::Detail {
namespace {

using Lumo::Argument;
using Lumo::ArgumentError;
using Lumo::Node;
using Lumo::TypeData;
using Routing::Gmp::Tessel::App;
using testing::ElementsAre;

constexpr auto typeName = "Irb::Multicast::Ingress::MembershipJoinStatusSm";

class Module : public Fabric {
  protected:
    using ArgumentList = std::vector<Argument>;

    template <class Object>
    static Argument readOnly(const Lumo::Ptr<Object>& object) {
        return Lumo::Ptr<const Node>(object);
    }

    /// The nine arguments in their order.
    ArgumentList arguments() const {
        return {std::uint64_t{1},
                readOnly(membershipJoinStatus),
                readOnly(pegDrStatus),
                readOnly(l3IntfStatusDir),
                readOnly(enabledStatus),
                readOnly(pimStatusColl),
                Lumo::Ptr<Node>(gmpStatusLocalColl),
                readOnly(gmpProxyStatus),
                std::uint64_t{2}};
    }

    static Lumo::Ptr<MembershipJoinStatusSm> construct(const ArgumentList& arguments) {
        return Lumo::dynamicCast<MembershipJoinStatusSm>(
            MembershipJoinStatusSm::type().construct(arguments));
    }

    /// What making a machine from these arguments, with one of them exchanged, raises.
    std::string refusal(std::size_t place, const Argument& argument) const {
        ArgumentList list = arguments();
        list.at(place) = argument;
        return errorOf([&] { construct(list); });
    }

    void call(const char* operation, const ArgumentList& list) const {
        machine->typeData().call(*machine, operation, list);
    }
};

TEST(ModuleEntry, MakesTheTypeKnownByItsName) {
    lumoModuleTypes();
    EXPECT_EQ(TypeData::type(typeName), &MembershipJoinStatusSm::type());
}

TEST_F(Module, TheFactoryMakesAMachineThatReacts) {
    machine = inside(membershipJoinStatusSmFactory(Domain::mpls, membershipJoinStatus, pegDrStatus,
                                                   l3IntfStatusDir, enabledStatus, pimStatusColl,
                                                   gmpStatusLocalColl, gmpProxyStatus, App::gmp));
    EXPECT_EQ(machine->references(), 1u);
    EXPECT_TRUE(machine->hasNotificationActive());
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_THAT(table(), ElementsAre("red.gmp vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(Module, TheMachineIsMadeByTheNameOfItsType) {
    MembershipJoinStatusSm::type();
    const TypeData* type = TypeData::type(typeName);
    ASSERT_EQ(type, &MembershipJoinStatusSm::type());
    EXPECT_EQ(type, &Ingress::MembershipJoinStatusSm::type());
    const Lumo::Ptr<Node> made = type->construct(arguments());
    EXPECT_EQ(made->typeData().name(), typeName);
    EXPECT_EQ(type->allocations().live, 1u);
    EXPECT_EQ(type->attributeText(*made, "initialized"), "true");
}

TEST_F(Module, ArgumentsAreTakenInTheConstructorsOrder) {
    machine = construct(arguments());
    EXPECT_EQ(machine->domain(), Domain::vxlan);
    EXPECT_EQ(machine->membershipJoinStatus(), membershipJoinStatus);
    EXPECT_EQ(machine->pegDrStatus(), pegDrStatus);
    EXPECT_EQ(machine->l3IntfStatusDir(), l3IntfStatusDir);
    EXPECT_EQ(machine->enabledStatus(), enabledStatus);
    EXPECT_EQ(machine->pimStatusColl(), pimStatusColl);
    EXPECT_EQ(machine->gmpStatusLocalColl(), gmpStatusLocalColl);
    EXPECT_EQ(machine->gmpProxyStatus(), gmpProxyStatus);
    EXPECT_EQ(machine->gmpStatusApp(), App::gmp);
}

TEST_F(Module, EveryReferenceMayBeNullInEitherKind) {
    for (const Argument& null : {Argument(Lumo::Ptr<const Node>()), Argument(Lumo::Ptr<Node>())}) {
        ArgumentList list = arguments();
        for (std::size_t place = 1; place < 8; ++place)
            list[place] = null;
        machine = construct(list);
        EXPECT_FALSE(machine->membershipJoinStatus());
        EXPECT_FALSE(machine->gmpStatusLocalColl());
        EXPECT_TRUE(machine->initialized());
    }
}

TEST_F(Module, AnObjectThatMayBeChangedServesAsOneToBeRead) {
    ArgumentList list = arguments();
    list[1] = Lumo::Ptr<Node>(membershipJoinStatus);
    machine = construct(list);
    EXPECT_EQ(machine->membershipJoinStatus(), membershipJoinStatus);
}

TEST_F(Module, ANumberIsNoReferenceAndAReferenceNoNumber) {
    for (std::size_t place = 1; place < 8; ++place) {
        EXPECT_EQ(refusal(place, std::uint64_t{0}),
                  "MembershipJoinStatusSm does not take a number as argument " +
                      std::to_string(place + 1));
    }
    for (const std::size_t place : {std::size_t{0}, std::size_t{8}}) {
        EXPECT_EQ(refusal(place, readOnly(pegDrStatus)),
                  "MembershipJoinStatusSm does not take a reference as argument " +
                      std::to_string(place + 1));
    }
}

TEST_F(Module, AnObjectOfAnotherTypeIsRefusedAtEveryPlace) {
    const Lumo::Ptr<Node> another = Lumo::make<L3::Intf::Status>(IntfId("swp1"));
    for (std::size_t place = 1; place < 8; ++place) {
        EXPECT_EQ(refusal(place, another),
                  "MembershipJoinStatusSm does not take L3::Intf::Status as argument " +
                      std::to_string(place + 1));
    }
}

TEST_F(Module, ATableThatMayOnlyBeReadIsRefused) {
    EXPECT_EQ(refusal(6, readOnly(gmpStatusLocalColl)),
              "MembershipJoinStatusSm does not take an object that may only be read as argument 7");
}

TEST_F(Module, ANumberThatDoesNotFitIsRefused) {
    EXPECT_EQ(refusal(0, std::uint64_t{255}), "");
    EXPECT_EQ(refusal(0, std::uint64_t{256}),
              "MembershipJoinStatusSm does not take 256 as argument 1");
    EXPECT_EQ(refusal(8, std::uint64_t{256}),
              "MembershipJoinStatusSm does not take 256 as argument 9");
}

TEST_F(Module, TooManyOrTooFewArgumentsAreRefused) {
    ArgumentList list = arguments();
    list.emplace_back(std::uint64_t{0});
    EXPECT_EQ(errorOf([&] { construct(list); }),
              "MembershipJoinStatusSm takes 9 arguments, not 10");
    EXPECT_EQ(errorOf([] { construct({}); }), "MembershipJoinStatusSm takes 9 arguments, not 0");
}

TEST_F(Module, ARefusalLeavesNoMachine) {
    EXPECT_THROW(construct({}), ArgumentError);
    refusal(7, std::uint64_t{0});
    EXPECT_EQ(MembershipJoinStatusSm::type().allocations().live, 0u);
    expectInputsUnreferenced();
}

TEST_F(Module, AFailingConstructorLeavesNoMachine) {
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 5000);
    EXPECT_THROW(construct(arguments()), Rix::RangeError);
    EXPECT_EQ(MembershipJoinStatusSm::type().allocations().live, 0u);
    expectInputsUnreferenced();
}

TEST_F(Module, ItsAttributesStandInTheirOrder) {
    Texts names;
    for (const TypeData::Attribute& attribute : MembershipJoinStatusSm::type().attributes())
        names.emplace_back(attribute.name);
    EXPECT_THAT(
        names, ElementsAre("domain", "membershipJoinStatus", "pegDrStatus", "l3IntfStatusDir",
                           "enabledStatus", "pimStatusColl", "gmpProxyStatus", "gmpStatusLocalColl",
                           "gmpStatusApp", "l3IntfStatus", "pimVrfStatus", "rixVlanMembership",
                           "initialized"));
}

TEST_F(Module, ItsAttributesPrintWhatItHolds) {
    bind("vlan10", "red");
    bind("swp1", "red");
    pim("red", {});
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    Texts texts;
    for (const TypeData::Attribute& attribute : machine->typeData().attributes())
        texts.push_back(attribute.text(*machine));
    EXPECT_THAT(texts,
                ElementsAre("1", "Irb::Multicast::Gmp::MembershipJoinStatus",
                            "Routing::Multicast::PegDrStatus", "L3::Intf::StatusDir",
                            "Vxlan::EnabledStatus", "Routing::Pim::StatusColl",
                            "Irb::Multicast::GmpProxyStatus", "Routing::Gmp::Tessel::StatusColl",
                            "irb", "2", "1", "1", "true"));
}

TEST_F(Module, ItsAttributesPrintWhatItLacks) {
    machine =
        inside(membershipJoinStatusSmFactory(Domain::unknown, nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, static_cast<App>(9)));
    machine->initializedIs(false);
    Texts texts;
    for (const TypeData::Attribute& attribute : machine->typeData().attributes())
        texts.push_back(attribute.text(*machine));
    EXPECT_THAT(texts, ElementsAre("0", "none", "none", "none", "none", "none", "none", "none",
                                   "app9", "0", "0", "0", "false"));
}

TEST_F(Module, ItsOperationsAreListedByName) {
    Texts names;
    for (const TypeData::Operation& operation : MembershipJoinStatusSm::type().operations())
        names.emplace_back(operation.name);
    EXPECT_THAT(names, ElementsAre("hasNotificationActiveIs", "rixDoZombieReactors",
                                   "enabledStatusIs", "gmpProxyStatusIs", "reconcile"));
}

TEST_F(Module, ItsNotificationsAreSwitchedByName) {
    start();
    call("hasNotificationActiveIs", {std::uint64_t{0}});
    EXPECT_FALSE(machine->hasNotificationActive());
    call("hasNotificationActiveIs", {std::uint64_t{1}});
    EXPECT_TRUE(machine->hasNotificationActive());
}

TEST_F(Module, ItIsReapedAndRevivedByName) {
    start();
    call("rixDoZombieReactors", {std::uint64_t{1}});
    EXPECT_TRUE(machine->isZombie());
    call("rixDoZombieReactors", {std::uint64_t{0}});
    EXPECT_FALSE(machine->isZombie());
}

TEST_F(Module, ItsInputsAreReplacedByName) {
    start();
    const auto vxlan = Lumo::make<Vxlan::EnabledStatus>();
    const auto mpls = Lumo::make<GmpProxyStatus>();
    call("enabledStatusIs", {readOnly(vxlan)});
    call("gmpProxyStatusIs", {readOnly(mpls)});
    EXPECT_EQ(machine->enabledStatus(), vxlan);
    EXPECT_EQ(machine->gmpProxyStatus(), mpls);
    call("enabledStatusIs", {Lumo::Ptr<const Node>()});
    call("gmpProxyStatusIs", {Lumo::Ptr<const Node>()});
    EXPECT_FALSE(machine->enabledStatus());
    EXPECT_FALSE(machine->gmpProxyStatus());
}

TEST_F(Module, ItsTableIsReconciledByName) {
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    EXPECT_EQ(errorOf([&] { call("reconcile", {std::uint64_t{1}}); }),
              "reconcile takes 0 arguments, not 1");
    call("reconcile", {});
    EXPECT_TRUE(table().empty());
}

TEST_F(Module, AnOperationRefusesWhatItDoesNotTake) {
    start();
    EXPECT_EQ(errorOf([&] { call("enabledStatusIs", {readOnly(gmpProxyStatus)}); }),
              "enabledStatusIs does not take Irb::Multicast::GmpProxyStatus as argument 1");
    EXPECT_EQ(errorOf([&] { call("gmpProxyStatusIs", {}); }),
              "gmpProxyStatusIs takes 1 arguments, not 0");
    EXPECT_EQ(errorOf([&] { call("rixDoZombieReactors", {std::uint64_t{2}}); }),
              "rixDoZombieReactors does not take 2 as argument 1");
    EXPECT_THROW(call("vlanMembershipDelAll", {}), ArgumentError);
    EXPECT_EQ(machine->enabledStatus(), enabledStatus);
    EXPECT_FALSE(machine->isZombie());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
