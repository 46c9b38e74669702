// What each op of a recording does to a real state machine and its table.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "irbmc/Command/Run.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A state machine that runs, with VLAN 10 in VRF red.
const std::string running = R"({"op":"l3.set","intf":"vlan10","vrf":"red"}
{"op":"start"}
)";
/// The fields of (10.0.0.1, 239.1.1.1) in VLAN 10.
const std::string place = R"("vlan":10,"group":"239.1.1.1","source":"10.0.0.1")";
/// A join of swp1 for it.
const std::string joined = running + R"({"op":"join",)" + place + R"(,"intf":"swp1"})" + "\n";

const std::string plusOne = "+ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include";
const std::string minusOne = "- red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include";

TEST(ReplayedJoins, AJoinAddsAMembershipAndTheLeaveRemovesIt) {
    EXPECT_THAT(lastEffects(joined), ElementsAre(plusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"leave",)" + place + R"(,"intf":"swp1"})"),
                ElementsAre(minusOne));
}

TEST(ReplayedJoins, AJoinInExcludeModeWantsEveryOtherSource) {
    EXPECT_THAT(
        lastEffects(running + R"({"op":"join","mode":"exclude",)" + place + R"(,"intf":"swp1"})"),
        ElementsAre("+ red.irb  vlan10  (*, 239.1.1.1)  include",
                    "+ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  exclude"));
}

TEST(ReplayedJoins, ALeaveTakesTheRecordsAlongThatItEmpties) {
    const std::string left = joined + R"({"op":"leave",)" + place + R"(,"intf":"swp1"})" + "\n";
    const Result result = replay(left + R"({"op":"group.del","vlan":10,"group":"239.1.1.1"})");
    EXPECT_EQ(result.err, "-:5: no VLAN 10\n");
}

TEST(ReplayedJoins, ALeaveKeepsTheRecordsThatOthersUse) {
    const std::string left = joined + R"({"op":"join",)" + place + R"(,"intf":"swp2"}
{"op":"leave",)" + place + R"(,"intf":"swp1"})" +
                             "\n";
    EXPECT_THAT(lastEffects(left), IsEmpty());
    EXPECT_THAT(lastEffects(left + R"({"op":"source.del",)" + place + "}"), ElementsAre(minusOne));
}

TEST(ReplayedJoins, ALeaveInOneModeKeepsTheOther) {
    const std::string both =
        joined + R"({"op":"join","mode":"exclude",)" + place + R"(,"intf":"swp2"})" + "\n";
    EXPECT_THAT(lastEffects(both + R"({"op":"leave",)" + place + R"(,"intf":"swp1"}
{"op":"leave","mode":"exclude",)" +
                            place + R"(,"intf":"swp2"}
{"op":"vlan.set","vlan":10})"),
                IsEmpty());
}

TEST(ReplayedJoins, InterfacesComeIntoAndGoOutOfBothSets) {
    const std::string made = running + R"({"op":"vlan.set","vlan":10}
{"op":"group.set","vlan":10,"group":"239.1.1.1"}
{"op":"source.set",)" + place +
                             "}\n";
    const std::string fields = place + R"(,"intf":"swp1"})" + "\n";
    const std::string included = made + R"({"op":"include.add",)" + fields;
    EXPECT_THAT(lastEffects(included), ElementsAre(plusOne));
    EXPECT_THAT(lastEffects(included + R"({"op":"include.add",)" + fields), IsEmpty());
    EXPECT_THAT(lastEffects(included + R"({"op":"include.del",)" + fields), ElementsAre(minusOne));

    const std::string excluded = made + R"({"op":"exclude.add",)" + fields;
    EXPECT_THAT(lastEffects(excluded),
                ElementsAre("+ red.irb  vlan10  (*, 239.1.1.1)  include",
                            "+ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  exclude"));
    EXPECT_THAT(lastEffects(excluded + R"({"op":"exclude.del",)" + fields),
                ElementsAre("- red.irb  vlan10  (*, 239.1.1.1)  include",
                            "- red.irb  vlan10  (10.0.0.1, 239.1.1.1)  exclude"));
}

TEST(ReplayedJoins, WholeRecordsComeWithAllThatTheyHold) {
    const std::string sources =
        R"([{"source":"10.0.0.1","include":["swp1"]},{"source":"10.0.0.2","include":["swp2"]}])";
    const auto bothAdded =
        ElementsAre(plusOne, "+ red.irb  vlan10  (10.0.0.2, 239.1.1.1)  include");
    EXPECT_THAT(lastEffects(running + R"({"op":"vlan.set","vlan":10,"groups":[)" +
                            R"({"group":"239.1.1.1","sources":)" + sources + "}]}"),
                bothAdded);
    EXPECT_THAT(lastEffects(running + R"({"op":"vlan.set","vlan":10}
{"op":"group.set","vlan":10,"group":"239.1.1.1","sources":)" +
                            sources + "}"),
                bothAdded);
    EXPECT_THAT(lastEffects(running + R"({"op":"vlan.set","vlan":10}
{"op":"group.set","vlan":10,"group":"239.1.1.1"}
{"op":"source.set",)" + place +
                            R"(,"include":["swp1"]})"),
                ElementsAre(plusOne));
}

TEST(ReplayedJoins, WholeRecordsGoWithAllThatTheyHold) {
    EXPECT_THAT(lastEffects(joined + R"({"op":"source.del",)" + place + "}"),
                ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"group.del","vlan":10,"group":"239.1.1.1"})"),
                ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"vlan.del","vlan":10})"), ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"vlan.set","vlan":10})"), ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"group.set","vlan":10,"group":"239.1.1.1"})"),
                ElementsAre(minusOne));
}

TEST(ReplayedJoins, DeletingWhatIsNotThereChangesNothing) {
    EXPECT_THAT(lastEffects(joined + R"({"op":"source.del","vlan":10,"group":"239.1.1.1",)"
                                     R"("source":"10.9.9.9"}
{"op":"group.del","vlan":10,"group":"239.9.9.9"}
{"op":"vlan.del","vlan":20}
{"op":"l3.del","intf":"vlan20"}
{"op":"pim.del","vrf":"blue"}
{"op":"pegdr.del","vlan":20}
{"op":"vxlan.vrf.del","vrf":"blue"}
{"op":"mpls.sbd.del","vlan":20}
{"op":"table.del","vrf":"blue","intf":"vlan10","source":"::","group":"ff3e::1"}
{"op":"expect","table":[{"vrf":"red","app":1,"intf":"vlan10","source":"10.0.0.1",)"
                                     R"("group":"239.1.1.1","mode":"include"}]})"),
                IsEmpty());
}

TEST(ReplayedInterfaces, AVrfMoveTakesTheMembershipsAlong) {
    EXPECT_THAT(lastEffects(joined + R"({"op":"l3.vrf","intf":"vlan10","vrf":"blue"})"),
                ElementsAre("+ blue.irb  vlan10  (10.0.0.1, 239.1.1.1)  include", minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"l3.set","intf":"vlan10","vrf":"blue"})"),
                ElementsAre("+ blue.irb  vlan10  (10.0.0.1, 239.1.1.1)  include", minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"l3.set","intf":"vlan10"})"), ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"l3.del","intf":"vlan10"})"), ElementsAre(minusOne));
}

/// A join from a tunnel in VLAN 100, the SBD VLAN of VRF red by the MPLS maps.
const std::string sbd = R"({"op":"l3.set","intf":"vlan100","vrf":"red"}
{"op":"mpls.vrf.set","vrf":"red","vlan":100}
{"op":"mpls.sbd.set","vlan":100,"vrf":"red"}
{"op":"join","vlan":100,"group":"239.1.1.1","source":"10.0.0.1","intf":"mtunnel1"}
)";
const std::string plusSbd = "+ red.irb  vlan100  (10.0.0.1, 239.1.1.1)  include";
const std::string minusSbd = "- red.irb  vlan100  (10.0.0.1, 239.1.1.1)  include";

TEST(ReplayedPegDr, TheDrOfAnSbdVlanPullsWhatTunnelsWant) {
    const std::string dr =
        sbd + R"({"op":"start"})" + "\n" + R"({"op":"pegdr.set","vlan":100,"first":1})" + "\n";
    EXPECT_THAT(lastEffects(dr), ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(dr + R"({"op":"pegdr.set","vlan":100,"first":2})"),
                ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(dr + R"({"op":"pegdr.del","vlan":100})"), ElementsAre(minusSbd));
}

TEST(ReplayedPegDr, TheDomainAndTheToggleSelectTheRole) {
    const std::string roles = R"({"op":"pegdr.set","vlan":100,)";
    const auto effects = [&](const std::string& toggle, const std::string& domain,
                             const std::string& role) {
        return lastEffects(sbd + roles + role + "}\n" + toggle + R"({"op":"start","domain":)" +
                           domain + "}");
    };
    const std::string off = R"({"op":"toggle","name":"OismGateway","on":false})"
                            "\n";
    EXPECT_THAT(effects("", "1", R"("first":1)"), ElementsAre(plusSbd));
    EXPECT_THAT(effects("", "2", R"("second":1)"), ElementsAre(plusSbd));
    EXPECT_THAT(effects(off, "1", R"("role":1)"), ElementsAre(plusSbd));
    EXPECT_THAT(effects("", "1", R"("second":1,"role":1)"), IsEmpty());
    EXPECT_THAT(effects("", "2", R"("first":1,"role":1)"), IsEmpty());
    EXPECT_THAT(effects(off, "1", R"("first":1,"second":1)"), IsEmpty());
}

TEST(ReplayedPim, AnSbdVlanThatRunsPimPullsWhatTunnelsWant) {
    const std::string started = sbd + R"({"op":"start"})" + "\n";
    const std::string pim = started + R"({"op":"pim.set","vrf":"red","intfs":["vlan100"]})" + "\n";
    EXPECT_THAT(lastEffects(pim), ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(pim + R"({"op":"pim.intf.del","vrf":"red","intf":"vlan100"})"),
                ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(started + R"({"op":"pim.set","vrf":"red"}
{"op":"pim.intf.add","vrf":"red","intf":"vlan100"})"),
                ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(pim + R"({"op":"pim.del","vrf":"red"})"), IsEmpty());
    EXPECT_THAT(lastEffects(pim + R"({"op":"pim.del","vrf":"red"}
{"op":"mpls.sbd.set","vlan":100,"vrf":"blue"})"),
                ElementsAre(minusSbd));
}

TEST(ReplayedMaps, EachChangeOfAnMplsMapIsFollowed) {
    const std::string started = sbd + R"({"op":"start"})" + "\n";
    EXPECT_THAT(lastEffects(started + R"({"op":"pegdr.set","vlan":100,"first":1}
{"op":"mpls.sbd.del","vlan":100})"),
                ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(started + R"({"op":"mpls.sbd.set","vlan":100,"vrf":"blue"}
{"op":"pegdr.set","vlan":100,"first":1}
{"op":"mpls.sbd.set","vlan":100,"vrf":"red"})"),
                ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(started + R"({"op":"include.add","vlan":100,"group":"239.1.1.1",)"
                                      R"("source":"10.0.0.1","intf":"swp1"}
{"op":"mpls.vrf.del","vrf":"red"})"),
                ElementsAre(plusSbd));
}

TEST(ReplayedMaps, TheVxlanMapsHoldWhileTheToggleOfTheOthersIsOff) {
    const std::string vxlan = R"({"op":"toggle","name":"OismMplsTunnel","on":false}
{"op":"l3.set","intf":"vlan100","vrf":"red"}
{"op":"vxlan.vrf.set","vrf":"red","vlan":100}
{"op":"vxlan.sbd.set","vlan":100,"vrf":"red"}
{"op":"pegdr.set","vlan":100,"first":1}
{"op":"start"}
{"op":"join","vlan":100,"group":"239.1.1.1","source":"10.0.0.1","intf":"mtunnel1"}
)";
    EXPECT_THAT(lastEffects(vxlan), ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(vxlan + R"({"op":"vxlan.sbd.del","vlan":100})"), ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(vxlan + R"({"op":"vxlan.vrf.del","vrf":"red"})"),
                ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(vxlan + R"({"op":"vxlan.replace"})"), ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(vxlan + R"({"op":"vxlan.replace"}
{"op":"vxlan.replace","vrfToSbd":{"red":100},"sbdToVrf":{"100":"red"}})"),
                ElementsAre(plusSbd));
}

TEST(ReplayedMaps, ARunningMachineIsGivenAReplacedInput) {
    const std::string started = sbd + R"({"op":"pegdr.set","vlan":100,"first":1})" + "\n";
    EXPECT_THAT(lastEffects(started + R"({"op":"start"}
{"op":"mpls.replace"})"),
                ElementsAre(minusSbd));
    EXPECT_THAT(lastEffects(started + R"({"op":"start","without":["gmpProxyStatus"]}
{"op":"mpls.replace","vrfToSbd":{"red":100},"sbdToVrf":{"100":"red"}})"),
                ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(R"({"op":"toggle","name":"OismMplsTunnel","on":false})"
                            "\n" +
                            started + R"({"op":"start","without":["enabledStatus"]}
{"op":"vxlan.replace","vrfToSbd":{"red":100},"sbdToVrf":{"100":"red"}})"),
                ElementsAre(plusSbd));
}

TEST(ReplayedChanges, ThatChangeNothingNotifyNothingButANewRecordAlwaysDoes) {
    const std::string place_ = R"("vlan":100,"group":"239.1.1.1","source":"10.0.0.1")";
    const std::string before = sbd + R"({"op":"pegdr.set","vlan":100,"first":1}
{"op":"pim.set","vrf":"red","intfs":["vlan100"]}
{"op":"vxlan.vrf.set","vrf":"red","vlan":100}
{"op":"vxlan.sbd.set","vlan":100,"vrf":"red"}
{"op":"start"}
)";
    for (const std::string same :
         {R"("pegdr.set","vlan":100,"first":1)", R"("mpls.vrf.set","vrf":"red","vlan":100)",
          R"("mpls.sbd.set","vlan":100,"vrf":"red")", R"("vxlan.vrf.set","vrf":"red","vlan":100)",
          R"("vxlan.sbd.set","vlan":100,"vrf":"red")", R"("l3.vrf","intf":"vlan100","vrf":"red")",
          R"("pim.intf.add","vrf":"red","intf":"vlan100")"}) {
        EXPECT_THAT(lastEffects(before + R"({"op":)" + same + "}", {"--trace", "0-9"}), IsEmpty())
            << same;
    }
    EXPECT_THAT(lastEffects(before + R"({"op":"include.add","intf":"mtunnel1",)" + place_ + "}",
                            {"--trace", "0-9"}),
                IsEmpty());
    EXPECT_THAT(lastEffects(before + R"({"op":"pim.set","vrf":"red","intfs":["vlan100"]})",
                            {"--trace", "9"}),
                ElementsAre("9 handlePimTransitIntf | handlePimTransitIntf( red, vlan100 )"));
    EXPECT_THAT(
        lastEffects(before + R"({"op":"l3.set","intf":"vlan100","vrf":"blue"})", {"--trace", "3"}),
        testing::Contains("3 handleL3IntfStatus | L3 intf change vlan100"));
}

TEST(ReplayedLife, AStopWithdrawsEverything) {
    EXPECT_THAT(lastEffects(joined + R"({"op":"stop"})"), ElementsAre(minusOne));
}

TEST(ReplayedLife, AnAbandonedMachineLeavesTheTableToTheNext) {
    const std::string abandoned = joined + R"({"op":"abandon"})" + "\n";
    EXPECT_THAT(lastEffects(abandoned), IsEmpty());
    const std::string left = abandoned + R"({"op":"vlan.del","vlan":10})" + "\n";
    EXPECT_THAT(lastEffects(left), IsEmpty());
    EXPECT_THAT(lastEffects(left + R"({"op":"start"})"), ElementsAre(minusOne));
}

TEST(ReplayedLife, TracesAndDamageOfAnAbandonedMachineAreNotReported) {
    const std::string armed = joined + R"({"op":"set.corrupt","set":"include",)" + place + "}\n";
    EXPECT_THAT(lastEffects(armed + R"({"op":"abandon"})", {"--trace", "0-9"}), IsEmpty());
}

TEST(ReplayedLife, ArmedDamageOutlivesAnAbandonedMachine) {
    const std::string armed = joined + R"({"op":"set.corrupt","set":"include",)" + place + R"(}
{"op":"pegdr.corrupt","vlan":1}
{"op":"abandon"}
{"op":"start"})";
    EXPECT_THAT(lastEffects(armed),
                ElementsAre(minusOne, "damaged: PEG DR record of VLAN 1 is damaged",
                            "damaged: include set of source 10.0.0.1 of group 239.1.1.1 in "
                            "VLAN 10 is damaged"));
}

TEST(ReplayedLife, AReapedMachineWithdrawsEverythingAndRunsOn) {
    EXPECT_THAT(lastEffects(joined + R"({"op":"reap"})"), ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(joined + R"({"op":"reap"}
{"op":"stop"})"),
                IsEmpty());
}

TEST(ReplayedLife, AMachineWithoutNotificationsHearsNothing) {
    const std::string off = joined + R"({"op":"notifications","on":false}
{"op":"vlan.del","vlan":10}
)";
    EXPECT_THAT(lastEffects(off), IsEmpty());
    EXPECT_THAT(lastEffects(off + R"({"op":"notifications","on":true}
{"op":"vlan.set","vlan":10})"),
                ElementsAre(minusOne));
}

TEST(ReplayedLife, AStartTakesItsNameItsApplicationAndTheInputsThatItLeavesOut) {
    const std::string tunnel = sbd;
    EXPECT_THAT(lastEffects(tunnel + R"({"op":"start"})"), IsEmpty());
    EXPECT_THAT(lastEffects(tunnel + R"({"op":"start","name":"standalone"})"),
                ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(tunnel + R"({"op":"start","name":"standalone","app":3})"),
                ElementsAre("+ red.static  vlan100  (10.0.0.1, 239.1.1.1)  include"));
    for (const std::string input :
         {"membershipJoinStatus", "l3IntfStatusDir", "gmpStatusLocalColl"}) {
        EXPECT_THAT(lastEffects(tunnel + R"({"op":"start","name":"standalone","without":[")" +
                                input + R"("]})"),
                    IsEmpty())
            << input;
    }
}

TEST(ReplayedLife, AStartKnowsEachInputThatItLeavesOutByItsName) {
    const std::string pim = R"({"op":"pim.set","vrf":"red","intfs":["vlan100"]})"
                            "\n";
    const std::string dr = R"({"op":"pegdr.set","vlan":100,"first":1})"
                           "\n";
    const auto without = [](const std::string& inputs) {
        return R"({"op":"start","without":[)" + inputs + "]}";
    };
    EXPECT_THAT(lastEffects(sbd + dr + without(R"("pimStatusColl","enabledStatus")")),
                ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(sbd + dr + without(R"("pegDrStatus")")), IsEmpty());
    EXPECT_THAT(lastEffects(sbd + pim + without(R"("pegDrStatus")")), ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(sbd + pim + without(R"("pimStatusColl")")), IsEmpty());
    EXPECT_THAT(lastEffects(sbd + dr + pim + without(R"("gmpProxyStatus")")), IsEmpty());
    const std::string off = R"({"op":"toggle","name":"OismMplsTunnel","on":false}
{"op":"vxlan.vrf.set","vrf":"red","vlan":100}
{"op":"vxlan.sbd.set","vlan":100,"vrf":"red"}
)";
    EXPECT_THAT(lastEffects(off + sbd + dr + without(R"("gmpProxyStatus")")), ElementsAre(plusSbd));
    EXPECT_THAT(lastEffects(off + sbd + dr + without(R"("enabledStatus")")), IsEmpty());
}

TEST(ReplayedTable, ADeletionOfTheLastMembershipLeavesItsStatus) {
    const std::string key =
        R"("vrf":"red","intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1")";
    EXPECT_EQ(
        replayJson(R"({"op":"table.set","mode":"include",)" + key +
                   "}\n"
                   R"({"op":"table.del",)" +
                   key + "}")
            .back(),
        R"({"final":[{"name":"red.irb","vrf":"red","app":1,"appName":"irb","memberships":[]}],)"
        R"("events":2,"expectations":0,"unmet":0,"refused":0,"schemaVersion":1})");
}

TEST(ReplayedTable, AnEarlierRunsMembershipsAreReconciledByTheStart) {
    const std::string stale = R"({"op":"table.set","vrf":"red","intf":"vlan10",)"
                              R"("source":"10.0.0.1","group":"239.1.1.1","mode":"include"})";
    EXPECT_THAT(lastEffects(stale), ElementsAre(plusOne));
    EXPECT_THAT(lastEffects(stale + "\n" + R"({"op":"start"})"), ElementsAre(minusOne));
    EXPECT_THAT(lastEffects(stale + "\n" + R"({"op":"start","app":2})"), IsEmpty());
    EXPECT_THAT(lastEffects(stale + "\n" +
                            R"({"op":"table.del","vrf":"red","intf":"vlan10",)"
                            R"("source":"10.0.0.1","group":"239.1.1.1"})"),
                ElementsAre(minusOne));
}

TEST(ReplayedTable, AMembershipOfAnotherModeCountsAsChanged) {
    const auto set = [](const std::string& mode) {
        return R"({"op":"table.set","vrf":"red","intf":"vlan10","source":"10.0.0.1",)"
               R"("group":"239.1.1.1","mode":")" +
               mode + "\"}\n";
    };
    EXPECT_THAT(lastEffects(set("include") + set("exclude")),
                ElementsAre("~ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  exclude"));
    EXPECT_THAT(lastEffects(set("include") + set("include")), IsEmpty());
}

TEST(ReplayedTable, AnEmptyStatusStaysUntilAStartFindsIt) {
    const std::string status = R"({"op":"table.status","vrf":"red"})";
    EXPECT_EQ(
        replayJson(status).back(),
        R"({"final":[{"name":"red.irb","vrf":"red","app":1,"appName":"irb","memberships":[]}],)"
        R"("events":1,"expectations":0,"unmet":0,"refused":0,"schemaVersion":1})");
    EXPECT_EQ(
        replayJson(status + "\n" + R"({"op":"start"})").back(),
        R"({"final":[],"events":2,"expectations":0,"unmet":0,"refused":0,"schemaVersion":1})");
}

TEST(ReplayedDamage, IsReportedOnceByTheNextReading) {
    const std::string armed = joined + R"({"op":"set.corrupt","set":"exclude",)" + place + "}\n";
    EXPECT_THAT(lastEffects(armed), IsEmpty());
    const std::string read = armed + R"({"op":"group.del","vlan":10,"group":"239.1.1.1"})";
    EXPECT_THAT(lastEffects(read),
                testing::Contains("damaged: exclude set of source 10.0.0.1 of group 239.1.1.1 in "
                                  "VLAN 10 is damaged"));
}

TEST(ReplayedTrace, GivesTheMessagesOfTheLevelsThatWereAskedFor) {
    const std::string again = joined + R"({"op":"join",)" + place + R"(,"intf":"swp2"})";
    const std::string written =
        "addMembership: Add gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan10 , include ) irb";
    const std::string decided =
        "handleInclude: Update gmpStatus (red) for Smet ( Vlan 10, 10.0.0.1, 239.1.1.1 ), "
        "add include: true";
    EXPECT_THAT(lastEffects(again, {"--trace", "7-8"}),
                ElementsAre("8 handleInclude | " + decided, "7 addMembership | " + written));
    EXPECT_EQ(replayJson(again, {"--trace", "0-3,7"})[3],
              R"({"event":4,"line":4,"op":"join","trace":[{"level":7,)"
              R"("function":"addMembership","text":")" +
                  written + "\"}],\"schemaVersion\":1}");
    EXPECT_THAT(lastEffects(again, {"--trace", "0-6"}), IsEmpty());
}

TEST(ReplayedQuietly, ItGivesTheFinalTableAlone) {
    for (const std::string option : {"-q", "--quiet"}) {
        EXPECT_EQ(replay(joined, {option, "--trace", "0-9"}).out,
                  "GMP status table: 1 status, 1 membership\n"
                  "\nred.irb\n"
                  "  VLAN INTERFACE  SOURCE    GROUP      MODE\n"
                  "  vlan10          10.0.0.1  239.1.1.1  include\n");
    }
}

}  // namespace
