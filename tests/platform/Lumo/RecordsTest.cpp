// The published records, as one who listens to them sees them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Irb/Multicast/Gmp/MembershipJoinStatus.h"
#include "Irb/Multicast/GmpProxyStatus.h"
#include "L3/Intf/StatusDir.h"
#include "Rix/CorruptionError.h"
#include "Rix/NullArgumentError.h"
#include "Routing/Multicast/PegDrStatus.h"
#include "Routing/Pim/StatusColl.h"
#include "Vxlan/EnabledStatus.h"

namespace {

using Bridging::VlanId;
using Irb::Multicast::Gmp::GroupMembershipJoin;
using Irb::Multicast::Gmp::MembershipJoinStatus;
using Irb::Multicast::Gmp::SourceMembershipJoin;
using Irb::Multicast::Gmp::VlanMembershipJoin;
using Ondel::IntfId;
using Ondel::IpGenAddr;

/// Counts the notifications of one object, and keeps the last one's text.
template <class Key, class Previous = Key>
class Listener final : Lumo::Subscriber {
  public:
    explicit Listener(Lumo::Ptr<const Lumo::Node> object) : object_(std::move(object)) {
        object_->publisher()->subscriberIs(*this);
    }
    ~Listener() override { object_->publisher()->subscriberDel(*this); }

    std::vector<Key> keys;
    std::vector<std::optional<Previous>> previous;

  private:
    void onNotification(const Lumo::Notification& change) override {
        keys.push_back(change.keyAs<Key>());
        const auto* before = change.previousAs<Previous>();
        previous.push_back(before ? std::optional<Previous>(*before) : std::nullopt);
    }

    Lumo::Ptr<const Lumo::Node> object_;
};

IpGenAddr address(const char* text) {
    return IpGenAddr::parse(text).value();
}

TEST(SourceMembershipJoin, PublishesAnInterfaceThatJoinsOrLeavesOnce) {
    const auto join = Lumo::make<SourceMembershipJoin>(address("10.0.0.1"));
    Listener<IntfId> listener(join);
    join->includeIntfIs(IntfId("swp1"));
    join->includeIntfIs(IntfId("swp1"));
    join->includeIntfDel(IntfId("swp2"));
    join->includeIntfDel(IntfId("swp1"));
    EXPECT_EQ(listener.keys, (std::vector{IntfId("swp1"), IntfId("swp1")}));
}

TEST(SourceMembershipJoin, ReportsCorruptionOfASetOnceWhenItsSizeIsRead) {
    const auto join = Lumo::make<SourceMembershipJoin>(address("10.0.0.1"));
    join->excludeIntfIs(IntfId("swp1"));
    join->excludeIntfsCorruptionIs("excludeIntfs of 10.0.0.1");
    EXPECT_EQ(join->includeIntfs().size(), 0u);
    EXPECT_THROW(static_cast<void>(join->excludeIntfs().size()), Rix::CorruptionError);
    EXPECT_EQ(join->excludeIntfs().size(), 1u);
}

TEST(IntfIdSet, MayChangeWhileItIsWalked) {
    Ondel::IntfIdSet set;
    for (const char* name : {"vlan3", "vlan1", "vlan2", "vlan5"})
        set.add(IntfId(name));
    std::vector<IntfId> met;
    for (const IntfId intf : set) {
        met.push_back(intf);
        set.del(intf);
        set.del(IntfId("vlan2"));
        if (intf == IntfId("vlan3")) set.add(IntfId("vlan4"));
    }
    EXPECT_EQ(met,
              (std::vector{IntfId("vlan1"), IntfId("vlan3"), IntfId("vlan4"), IntfId("vlan5")}));
    EXPECT_TRUE(set.isEmpty());
}

TEST(MembershipJoinStatus, ANewRecordUnderAKeyTakesTheOldOnesPlaceAndIsPublished) {
    const auto status = Lumo::make<MembershipJoinStatus>("default");
    Listener<VlanId> listener(status);
    const auto first = Lumo::make<VlanMembershipJoin>(VlanId(10));
    const auto second = Lumo::make<VlanMembershipJoin>(VlanId(10));
    status->vlanIs(first);
    status->vlanIs(first);
    status->vlanIs(second);
    EXPECT_EQ(status->vlan(VlanId(10)), second);
    status->vlanDel(VlanId(10));
    status->vlanDel(VlanId(10));
    EXPECT_FALSE(status->vlan(VlanId(10)));
    EXPECT_EQ(listener.keys.size(), 3u);
}

TEST(MembershipJoinStatus, RefusesNoRecordAndNamesTheAttribute) {
    const auto status = Lumo::make<MembershipJoinStatus>("default");
    try {
        status->vlanIs(nullptr);
        FAIL() << "a null record was taken";
    } catch (const Rix::NullArgumentError& error) {
        EXPECT_STREQ(error.what(),
                     "null argument for 'vlan' of 'Irb::Multicast::Gmp::MembershipJoinStatus'");
    }
}

TEST(VlanMembershipJoin, HoldsItsGroupsAndTheyTheirSources) {
    const auto vlan = Lumo::make<VlanMembershipJoin>(VlanId(10));
    const auto group = Lumo::make<GroupMembershipJoin>(address("239.1.1.1"));
    Listener<IpGenAddr> vlanListener(vlan);
    Listener<IpGenAddr> groupListener(group);
    vlan->groupIs(group);
    group->sourceIs(Lumo::make<SourceMembershipJoin>(address("0.0.0.0")));
    EXPECT_EQ(vlanListener.keys, std::vector{address("239.1.1.1")});
    EXPECT_EQ(groupListener.keys, std::vector{address("0.0.0.0")});
    group->sourceDel(address("0.0.0.0"));
    EXPECT_TRUE(group->source().empty());
}

TEST(L3IntfStatus, PublishesAChangeOfItsVrfAlone) {
    const auto status = Lumo::make<L3::Intf::Status>(IntfId("vlan10"));
    struct : Lumo::Subscriber {
        std::vector<std::string> previous;
        void onNotification(const Lumo::Notification& change) override {
            EXPECT_EQ(change.attribute, L3::Intf::Status::vrfField);
            previous.emplace_back(change.previousAs<L3::VrfName>()->text());
        }
    } listener;
    status->publisher()->subscriberIs(listener);
    status->vrfIs(L3::VrfName("red"));
    status->vrfIs(L3::VrfName("red"));
    status->vrfIs(L3::VrfName());
    status->publisher()->subscriberDel(listener);
    EXPECT_EQ(listener.previous, (std::vector<std::string>{"", "red"}));
}

TEST(PegDrStatus, AVlanWithoutARecordHasNoRole) {
    const auto status = Lumo::make<Routing::Multicast::PegDrStatus>();
    EXPECT_EQ(status->pegDrVlan(VlanId(10)), Routing::Multicast::PegDrVlan());
}

TEST(PegDrStatus, PublishesARecordThatChangesAndNoOther) {
    using Routing::Multicast::PegDrRole;
    const auto status = Lumo::make<Routing::Multicast::PegDrStatus>();
    Listener<VlanId, Routing::Multicast::PegDrVlan> listener(status);
    const Routing::Multicast::PegDrVlan dr(VlanId(10), PegDrRole::dr, PegDrRole::none,
                                           PegDrRole{9});
    status->pegDrVlanIs(dr);
    status->pegDrVlanIs(dr);
    EXPECT_EQ(status->pegDrVlan(VlanId(10)).pegDrRole(), PegDrRole{9});
    status->pegDrVlanDel(VlanId(10));
    status->pegDrVlanDel(VlanId(10));
    ASSERT_EQ(listener.previous.size(), 2u);
    EXPECT_FALSE(listener.previous[0]);
    EXPECT_EQ(listener.previous[1], dr);
}

TEST(PegDrStatus, ReportsCorruptionOnceWhetherThereIsARecordOrNot) {
    const auto status = Lumo::make<Routing::Multicast::PegDrStatus>();
    status->corruptionIs(VlanId(10), "record of VLAN 10");
    EXPECT_NO_THROW(status->pegDrVlan(VlanId(20)));
    EXPECT_THROW(status->pegDrVlan(VlanId(10)), Rix::CorruptionError);
    EXPECT_NO_THROW(status->pegDrVlan(VlanId(10)));
}

TEST(VrfToSbdVlanMaps, PublishAChangedEntryWithItsPreviousValue) {
    const auto vxlan = Lumo::make<Vxlan::EnabledStatus>();
    Listener<L3::VrfName, std::uint16_t> listener(vxlan);
    vxlan->vrfToSBDVlanIs(L3::VrfName("red"), 10);
    vxlan->vrfToSBDVlanIs(L3::VrfName("red"), 10);
    vxlan->vrfToSBDVlanIs(L3::VrfName("red"), 20);
    vxlan->vrfToSBDVlanDel(L3::VrfName("red"));
    vxlan->vrfToSBDVlanDel(L3::VrfName("red"));
    EXPECT_EQ(listener.previous, (std::vector<std::optional<std::uint16_t>>{{}, 10, 20}));
}

TEST(SbdVlanToVrfMaps, PublishAChangedEntryWithItsPreviousValue) {
    const auto mpls = Lumo::make<Irb::Multicast::GmpProxyStatus>();
    Listener<VlanId, L3::VrfName> listener(mpls);
    mpls->sbdVlanToVrfIs(VlanId(10), L3::VrfName("red"));
    mpls->sbdVlanToVrfDel(VlanId(10));
    EXPECT_EQ(listener.previous.back(), L3::VrfName("red"));
    EXPECT_EQ(listener.keys.size(), 2u);
}

TEST(PimStatus, HoldsItsInterfaces) {
    const auto status = Lumo::make<Routing::Pim::Status>(L3::VrfName("red"));
    Listener<IntfId> listener(status);
    status->intfIs(Lumo::make<Routing::Pim::Intf>(IntfId("vlan10")));
    EXPECT_TRUE(status->intf(IntfId("vlan10")));
    status->intfDel(IntfId("vlan10"));
    EXPECT_FALSE(status->intf(IntfId("vlan10")));
    EXPECT_EQ(listener.keys.size(), 2u);
}

/// What an object says of its attribute.
template <class Object>
std::string textOf(const Lumo::Ptr<Object>& object, const char* attribute) {
    return object->typeData().attributeText(*object, attribute);
}

TEST(Records, TellHowManyEntriesTheyHave) {
    const auto joins = Lumo::make<MembershipJoinStatus>("default");
    const auto vlan = Lumo::make<VlanMembershipJoin>(VlanId(10));
    const auto group = Lumo::make<GroupMembershipJoin>(address("239.1.1.1"));
    joins->vlanIs(vlan);
    vlan->groupIs(group);
    group->sourceIs(Lumo::make<SourceMembershipJoin>(address("10.0.0.1")));
    EXPECT_EQ(textOf(joins, "name") + textOf(joins, "vlan"), "default1");
    EXPECT_EQ(textOf(vlan, "vlanId") + " " + textOf(vlan, "group"), "10 1");
    EXPECT_EQ(textOf(group, "groupAddr") + " " + textOf(group, "source"), "239.1.1.1 1");
    const auto pims = Lumo::make<Routing::Pim::StatusColl>();
    const auto pim = Lumo::make<Routing::Pim::Status>(L3::VrfName("red"));
    const auto pimIntf = Lumo::make<Routing::Pim::Intf>(IntfId("vlan10"));
    pims->vrfStatusIs(pim);
    pim->intfIs(pimIntf);
    EXPECT_EQ(textOf(pims, "vrfStatus"), "1");
    EXPECT_EQ(textOf(pim, "vrfName") + textOf(pim, "intf"), "red1");
    EXPECT_EQ(textOf(pimIntf, "intfId"), "vlan10");
    const auto interfaces = Lumo::make<L3::Intf::StatusDir>();
    const auto intf = Lumo::make<L3::Intf::Status>(IntfId("vlan10"), L3::VrfName("red"));
    interfaces->intfStatusIs(intf);
    EXPECT_EQ(textOf(interfaces, "intfStatus"), "1");
    EXPECT_EQ(textOf(intf, "intfId") + " " + textOf(intf, "vrf"), "vlan10 red");
}

TEST(Records, RefuseNoEntryEach) {
    const auto refused = [](const auto& change) { EXPECT_THROW(change(), Rix::NullArgumentError); };
    refused([] { Lumo::make<VlanMembershipJoin>(VlanId(10))->groupIs(nullptr); });
    refused([] { Lumo::make<GroupMembershipJoin>(address("239.1.1.1"))->sourceIs(nullptr); });
    refused([] { Lumo::make<L3::Intf::StatusDir>()->intfStatusIs(nullptr); });
    refused([] { Lumo::make<Routing::Pim::StatusColl>()->vrfStatusIs(nullptr); });
    refused([] { Lumo::make<Routing::Pim::Status>(L3::VrfName("red"))->intfIs(nullptr); });
}

TEST(SourceMembershipJoin, PublishesAnExcludedInterfaceThatJoinsOrLeavesOnce) {
    const auto join = Lumo::make<SourceMembershipJoin>(address("10.0.0.1"));
    Listener<IntfId> listener(join);
    join->excludeIntfIs(IntfId("swp1"));
    join->excludeIntfIs(IntfId("swp1"));
    EXPECT_TRUE(join->excludeIntfs().contains(IntfId("swp1")));
    join->excludeIntfDel(IntfId("swp1"));
    join->excludeIntfDel(IntfId("swp1"));
    EXPECT_EQ(listener.keys.size(), 2u);
    EXPECT_EQ(textOf(join, "excludeIntfs"), "");
}

/// Keeps the previous names of a join status.
struct NameListener final : Lumo::Subscriber {
    std::vector<std::string> previous;
    void onNotification(const Lumo::Notification& change) override {
        previous.push_back(*change.previousAs<std::string>());
    }
};

TEST(MembershipJoinStatus, PublishesANewNameWithThePreviousOne) {
    const auto joins = Lumo::make<MembershipJoinStatus>("default");
    NameListener listener;
    joins->publisher()->subscriberIs(listener);
    joins->nameIs("vxlan");
    joins->nameIs("vxlan");
    EXPECT_EQ(joins->name(), "vxlan");
    EXPECT_EQ(listener.previous, std::vector<std::string>{"default"});
    joins->publisher()->subscriberDel(listener);
}

TEST(PegDrStatus, ReportsCorruptionOnStandardErrorWhereNobodyTakesIt) {
    const auto roles = Lumo::make<Routing::Multicast::PegDrStatus>();
    testing::internal::CaptureStderr();
    roles->handleCorruption("a damaged record");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "corruption: a damaged record\n");
    roles->pegDrVlanIs({VlanId(10), Routing::Multicast::PegDrRole::dr, {}, {}});
    EXPECT_EQ(textOf(roles, "pegDrVlan"), "1");
}

TEST(Records, TellTheirAttributesByName) {
    const auto join = Lumo::make<SourceMembershipJoin>(address("10.0.0.1"));
    join->includeIntfIs(IntfId("vlan1"));
    join->includeIntfIs(IntfId("vlan2"));
    EXPECT_EQ(join->typeData().attributeText(*join, "source"), "10.0.0.1");
    EXPECT_EQ(join->typeData().attributeText(*join, "includeIntfs"), "vlan1 vlan2");
    EXPECT_EQ(Lumo::TypeData::type("Irb::Multicast::Gmp::SourceMembershipJoin"), &join->typeData());
}

}  // namespace
