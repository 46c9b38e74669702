#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Replay/EventReader.h"
#include "Replay/FormatError.h"

namespace {

using namespace Irbmc::Replay;  // NOLINT(google-build-using-namespace)
using Ondel::IntfId;

Ondel::IpGenAddr address(std::string_view text) {
    return Ondel::IpGenAddr::parse(text).value();
}

/// The action of a line, which must be a `Type`.
template <class Type>
Type read(std::string_view line) {
    return std::get<Type>(readEvent(line).action);
}

std::string errorOf(std::string_view line) {
    try {
        readEvent(line);
    } catch (const FormatError& error) {
        return error.what();
    }
    return "no error";
}

const SourcePlace place{10, address("239.1.1.1"), address("10.0.0.1")};
/// The fields of `place`.
const std::string placeFields = R"("vlan":10,"group":"239.1.1.1","source":"10.0.0.1")";

TEST(EventReader, ReadsTheOpsOfTheStateMachinesLife) {
    EXPECT_EQ(read<Toggle>(R"({"op":"toggle","name":"OismGateway","on":false})"),
              (Toggle{"OismGateway", false}));
    EXPECT_EQ(read<Stop>(R"({"op":"stop"})"), Stop{});
    EXPECT_EQ(read<Abandon>(R"({"op":"abandon"})"), Abandon{});
    EXPECT_EQ(read<Reap>(R"({"op":"reap"})"), Reap{});
    EXPECT_EQ(read<Notifications>(R"({"op":"notifications","on":true})"), Notifications{true});
}

TEST(EventReader, GivesAStartItsDefaults) {
    EXPECT_EQ(read<Start>(R"({"op":"start"})"), (Start{1, 1, "default", {}}));
}

TEST(EventReader, ReadsAStartWithEveryInputLeftOut) {
    const auto start = read<Start>(
        R"({"op":"start","domain":255,"app":0,"name":"vxlan","without":["membershipJoinStatus",)"
        R"("pegDrStatus","l3IntfStatusDir","enabledStatus","pimStatusColl","gmpStatusLocalColl",)"
        R"("gmpProxyStatus"]})");
    EXPECT_EQ(start.domain, 255);
    EXPECT_EQ(start.app, 0);
    EXPECT_EQ(start.name, "vxlan");
    EXPECT_EQ(start.without,
              (std::vector{Input::membershipJoinStatus, Input::pegDrStatus, Input::l3IntfStatusDir,
                           Input::enabledStatus, Input::pimStatusColl, Input::gmpStatusLocalColl,
                           Input::gmpProxyStatus}));
}

TEST(EventReader, ReadsVlanGroupAndSourceRecordsInTheirNestedForms) {
    const SourceJoin source{
        address("10.0.0.1"), {IntfId("swp1"), IntfId("mtunnel3")}, {IntfId("vlan7")}};
    const std::string sourceFields =
        R"("source":"10.0.0.1","include":["swp1","mtunnel3"],"exclude":["vlan7"])";
    const GroupJoin group{address("239.1.1.1"), {source}};
    const std::string groupFields = R"("group":"239.1.1.1","sources":[{)" + sourceFields + "}]";

    EXPECT_EQ(read<VlanSet>(R"({"op":"vlan.set","vlan":10,"groups":[{)" + groupFields + "}]}"),
              (VlanSet{10, {group}}));
    EXPECT_EQ(read<GroupSet>(R"({"op":"group.set","vlan":10,)" + groupFields + "}"),
              (GroupSet{10, group}));
    EXPECT_EQ(read<SourceSet>(R"({"op":"source.set","vlan":10,"group":"239.1.1.1",)" +
                              sourceFields + "}"),
              (SourceSet{{10, address("239.1.1.1")}, source}));
}

TEST(EventReader, TakesAnAbsentListForAnEmptyOne) {
    EXPECT_EQ(read<VlanSet>(R"({"op":"vlan.set","vlan":10})"), (VlanSet{10, {}}));
    EXPECT_EQ(read<GroupSet>(R"({"op":"group.set","vlan":10,"group":"ff3e::1"})"),
              (GroupSet{10, {address("ff3e::1"), {}}}));
    EXPECT_EQ(read<SourceSet>(R"({"op":"source.set",)" + placeFields + "}"),
              (SourceSet{{10, place.group}, {place.source, {}, {}}}));
    EXPECT_EQ(read<PimSet>(R"({"op":"pim.set","vrf":"red"})"), (PimSet{"red", {}}));
    EXPECT_EQ(read<SbdReplace>(R"({"op":"vxlan.replace"})"), (SbdReplace{SbdMaps::vxlan, {}, {}}));
}

TEST(EventReader, ReadsTheDeletionsOfJoins) {
    EXPECT_EQ(read<VlanDel>(R"({"op":"vlan.del","vlan":10})"), VlanDel{10});
    EXPECT_EQ(read<GroupDel>(R"({"op":"group.del","vlan":10,"group":"239.1.1.1"})"),
              (GroupDel{{10, place.group}}));
    EXPECT_EQ(read<SourceDel>(R"({"op":"source.del",)" + placeFields + "}"), SourceDel{place});
}

TEST(EventReader, ReadsTheFourChangesOfAnInterfaceSet) {
    const auto readOp = [](const std::string& op) {
        return read<IntfChange>(R"({"op":")" + op + R"(","intf":"swp1",)" + placeFields + "}");
    };
    const IntfId swp1("swp1");
    EXPECT_EQ(readOp("include.add"), (IntfChange{JoinMode::include, Change::add, place, swp1}));
    EXPECT_EQ(readOp("include.del"), (IntfChange{JoinMode::include, Change::del, place, swp1}));
    EXPECT_EQ(readOp("exclude.add"), (IntfChange{JoinMode::exclude, Change::add, place, swp1}));
    EXPECT_EQ(readOp("exclude.del"), (IntfChange{JoinMode::exclude, Change::del, place, swp1}));
}

TEST(EventReader, ReadsJoinAndLeaveInIncludeModeUnlessTheySayExclude) {
    const std::string fields = placeFields + R"(,"intf":"swp1")";
    EXPECT_EQ(read<Join>(R"({"op":"join",)" + fields + "}"),
              (Join{place, IntfId("swp1"), JoinMode::include}));
    EXPECT_EQ(read<Join>(R"({"op":"join","mode":"exclude",)" + fields + "}"),
              (Join{place, IntfId("swp1"), JoinMode::exclude}));
    EXPECT_EQ(read<Leave>(R"({"op":"leave","mode":"include",)" + fields + "}"),
              (Leave{place, IntfId("swp1"), JoinMode::include}));
}

TEST(EventReader, ReadsTheOpsOfInterfacesPimAndPegDr) {
    EXPECT_EQ(read<L3Set>(R"({"op":"l3.set","intf":"vlan10"})"), (L3Set{IntfId("vlan10"), ""}));
    EXPECT_EQ(read<L3Vrf>(R"({"op":"l3.vrf","intf":"vlan10","vrf":"red"})"),
              (L3Vrf{IntfId("vlan10"), "red"}));
    EXPECT_EQ(read<L3Del>(R"({"op":"l3.del","intf":"swp1"})"), L3Del{IntfId("swp1")});
    EXPECT_EQ(read<PimSet>(R"({"op":"pim.set","vrf":"red","intfs":["vlan10"]})"),
              (PimSet{"red", {IntfId("vlan10")}}));
    EXPECT_EQ(read<PimDel>(R"({"op":"pim.del","vrf":"red"})"), PimDel{"red"});
    EXPECT_EQ(read<PimIntfChange>(R"({"op":"pim.intf.add","vrf":"red","intf":"vlan10"})"),
              (PimIntfChange{Change::add, "red", IntfId("vlan10")}));
    EXPECT_EQ(read<PimIntfChange>(R"({"op":"pim.intf.del","vrf":"red","intf":"vlan10"})"),
              (PimIntfChange{Change::del, "red", IntfId("vlan10")}));
    EXPECT_EQ(read<PegDrSet>(R"({"op":"pegdr.set","vlan":10,"second":2})"),
              (PegDrSet{10, 0, 2, 0}));
    EXPECT_EQ(read<PegDrDel>(R"({"op":"pegdr.del","vlan":10})"), PegDrDel{10});
}

TEST(EventReader, ReadsTheOpsOfBothDomainsMaps) {
    for (const auto& [name, maps] :
         {std::pair("vxlan", SbdMaps::vxlan), std::pair("mpls", SbdMaps::mpls)}) {
        const std::string op = std::string(R"({"op":")") + name;
        EXPECT_EQ(read<VrfToSbdSet>(op + R"(.vrf.set","vrf":"red","vlan":100})"),
                  (VrfToSbdSet{maps, "red", 100}));
        EXPECT_EQ(read<VrfToSbdDel>(op + R"(.vrf.del","vrf":"red"})"), (VrfToSbdDel{maps, "red"}));
        EXPECT_EQ(read<SbdToVrfSet>(op + R"(.sbd.set","vlan":4294967295,"vrf":"red"})"),
                  (SbdToVrfSet{maps, 4294967295, "red"}));
        EXPECT_EQ(read<SbdToVrfDel>(op + R"(.sbd.del","vlan":100})"), (SbdToVrfDel{maps, 100}));
    }
}

TEST(EventReader, KeepsTheOrderOfReplacedMaps) {
    const auto replace = read<SbdReplace>(
        R"({"op":"mpls.replace","vrfToSbd":{"red":100,"blue":5000},"sbdToVrf":{"9":"red","1":""}})");
    EXPECT_EQ(replace,
              (SbdReplace{SbdMaps::mpls, {{"red", 100}, {"blue", 5000}}, {{9, "red"}, {1, ""}}}));
}

TEST(EventReader, ReadsTheOpsOfTheTable) {
    const MembershipPlace key{{"red", 1}, IntfId("vlan10"), place.source, place.group};
    const std::string fields =
        R"("vrf":"red","intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1")";
    EXPECT_EQ(read<TableSet>(R"({"op":"table.set","mode":"exclude",)" + fields + "}"),
              (TableSet{{key, JoinMode::exclude}}));
    EXPECT_EQ(read<TableDel>(R"({"op":"table.del",)" + fields + "}"), TableDel{key});
    EXPECT_EQ(read<TableStatus>(R"({"op":"table.status","vrf":"","app":3})"),
              (TableStatus{{"", 3}}));
    EXPECT_EQ(
        read<Expect>(R"({"op":"expect","table":[{"app":1,"mode":"include",)" + fields + "}]}"),
        (Expect{{{key, JoinMode::include}}}));
    EXPECT_EQ(read<Expect>(R"({"op":"expect","table":[]})"), Expect{});
}

TEST(EventReader, ReadsTheOpsThatDamageRecords) {
    EXPECT_EQ(read<PegDrCorrupt>(R"({"op":"pegdr.corrupt","vlan":10})"), PegDrCorrupt{10});
    EXPECT_EQ(read<SetCorrupt>(R"({"op":"set.corrupt","set":"exclude",)" + placeFields + "}"),
              (SetCorrupt{place, JoinMode::exclude}));
}

TEST(EventReader, NamesTheOpOfEveryActionAsItWasWritten) {
    const std::vector<std::string> lines = {
        R"("toggle","name":"OismMplsTunnel","on":true)",
        R"("start")",
        R"("stop")",
        R"("abandon")",
        R"("reap")",
        R"("notifications","on":true)",
        R"("vlan.set","vlan":1)",
        R"("vlan.del","vlan":1)",
        R"("group.set","vlan":1,"group":"::")",
        R"("group.del","vlan":1,"group":"::")",
        R"("source.set",)" + placeFields,
        R"("source.del",)" + placeFields,
        R"("include.add","intf":"a",)" + placeFields,
        R"("include.del","intf":"a",)" + placeFields,
        R"("exclude.add","intf":"a",)" + placeFields,
        R"("exclude.del","intf":"a",)" + placeFields,
        R"("join","intf":"a",)" + placeFields,
        R"("leave","intf":"a",)" + placeFields,
        R"("l3.set","intf":"a")",
        R"("l3.vrf","intf":"a","vrf":"")",
        R"("l3.del","intf":"a")",
        R"("pim.set","vrf":"")",
        R"("pim.del","vrf":"")",
        R"("pim.intf.add","vrf":"","intf":"a")",
        R"("pim.intf.del","vrf":"","intf":"a")",
        R"("pegdr.set","vlan":1)",
        R"("pegdr.del","vlan":1)",
        R"("vxlan.vrf.set","vrf":"","vlan":1)",
        R"("vxlan.vrf.del","vrf":"")",
        R"("vxlan.sbd.set","vlan":1,"vrf":"")",
        R"("vxlan.sbd.del","vlan":1)",
        R"("vxlan.replace")",
        R"("mpls.vrf.set","vrf":"","vlan":1)",
        R"("mpls.vrf.del","vrf":"")",
        R"("mpls.sbd.set","vlan":1,"vrf":"")",
        R"("mpls.sbd.del","vlan":1)",
        R"("mpls.replace")",
        R"("table.set","vrf":"","intf":"vlan1","source":"::","group":"::","mode":"include")",
        R"("table.del","vrf":"","intf":"vlan1","source":"::","group":"::")",
        R"("table.status","vrf":"")",
        R"("pegdr.corrupt","vlan":1)",
        R"("set.corrupt","set":"include",)" + placeFields,
        R"("expect","table":[])"};
    for (const std::string& line : lines) {
        const std::string name = line.substr(1, line.find('"', 1) - 1);
        EXPECT_EQ(opName(readEvent(R"({"op":)" + line + "}").action), name);
    }
}

TEST(EventReader, TakesTheTimeOfAnyEventAsItWasWritten) {
    EXPECT_EQ(readEvent(R"({"op":"stop"})").time, "");
    EXPECT_EQ(readEvent(R"({"t":1795240295.472,"op":"stop"})").time, "1795240295.472");
    EXPECT_EQ(readEvent(R"({"op":"stop","t":1795240295})").time, "1795240295");
    EXPECT_EQ(readEvent(R"({"op":"stop","t":-1})").time, "-1");
    EXPECT_EQ(errorOf(R"({"op":"stop","t":"now"})"),
              R"("t" must be a number of seconds, not "now")");
}

TEST(EventReader, SkipsBlankLinesAndComments) {
    for (const std::string_view line : {"", " ", "\t \r", "# text", "  #{\"op\":\"stop\"}"}) {
        EXPECT_TRUE(isSkipped(line)) << line;
    }
    EXPECT_FALSE(isSkipped(R"( {"op":"stop"} # not a comment)"));
}

TEST(EventReader, TakesBlanksAroundTheObject) {
    EXPECT_EQ(read<Stop>(" \t{ \"op\" : \"stop\" } \r"), Stop{});
}

TEST(EventReader, RefusesUnknownOps) {
    EXPECT_EQ(errorOf(R"({"op":"jion"})"), R"(unknown op "jion")");
    EXPECT_EQ(errorOf(R"({"op":""})"), R"(unknown op "")");
    EXPECT_EQ(errorOf(R"({"op":7})"), R"("op" must be a string, not 7)");
    EXPECT_EQ(errorOf(R"({"vlan":7})"), R"(missing field "op")");
}

TEST(EventReader, RefusesFieldsThatAreMissingUnknownOrGivenTwice) {
    EXPECT_EQ(errorOf(R"({"op":"vlan.del"})"), R"(missing field "vlan")");
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":1,"vrf":"red"})"), R"(unknown field "vrf")");
    EXPECT_EQ(errorOf(R"({"op":"vxlan.vrf.del","vrf":"red","vlan":1})"), R"(unknown field "vlan")");
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":1,"vlan":1})"), R"(field "vlan" is given twice)");
    EXPECT_EQ(errorOf(R"({"op":"expect"})"), R"(missing field "table")");
    EXPECT_EQ(errorOf(R"({"op":"vxlan.replace","vrfToSbd":{"red":1,"red":2}})"),
              R"(field "red" is given twice)");
}

TEST(EventReader, RefusesUnknownAndMissingFieldsOfNestedObjects) {
    EXPECT_EQ(errorOf(R"({"op":"vlan.set","vlan":1,"groups":[{"sources":[]}]})"),
              R"(missing field "group")");
    EXPECT_EQ(errorOf(R"({"op":"vlan.set","vlan":1,"groups":[{"group":"::","vlan":1}]})"),
              R"(unknown field "vlan")");
    EXPECT_EQ(errorOf(R"({"op":"vlan.set","vlan":1,"groups":["::"]})"),
              R"(expected an object, not "::")");
    EXPECT_EQ(errorOf(R"({"op":"expect","table":[{"vrf":"red","app":1,"intf":"vlan1",)"
                      R"("source":"::","group":"::"}]})"),
              R"(missing field "mode")");
}

TEST(EventReader, RefusesValuesOfTheWrongType) {
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":"ten"})"),
              R"("vlan" must be an integer 0..4294967295, not "ten")");
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":1.5})"),
              R"("vlan" must be an integer 0..4294967295, not 1.5)");
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":null})"),
              R"("vlan" must be an integer 0..4294967295, not null)");
    EXPECT_EQ(errorOf(R"({"op":"pim.del","vrf":1})"), R"("vrf" must be a string, not 1)");
    EXPECT_EQ(errorOf(R"({"op":"pim.set","vrf":"red","intfs":"vlan1"})"),
              R"("intfs" must be an array, not "vlan1")");
    EXPECT_EQ(errorOf(R"({"op":"vxlan.replace","vrfToSbd":[]})"),
              R"("vrfToSbd" must be an object, not an array)");
    EXPECT_EQ(errorOf(R"({"op":"notifications","on":1})"), R"("on" must be true or false, not 1)");
    EXPECT_EQ(errorOf(R"({"op":"l3.del","intf":{}})"),
              R"("intf" must be an interface name, not an object)");
}

TEST(EventReader, RefusesNumbersThatNoFieldOfTheKindHolds) {
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":4294967296})"),
              R"("vlan" must be an integer 0..4294967295, not 4294967296)");
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":-1})"),
              R"("vlan" must be an integer 0..4294967295, not -1)");
    EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":18446744073709551615})"),
              R"("vlan" must be an integer 0..4294967295, not 18446744073709551615)");
    EXPECT_EQ(errorOf(R"({"op":"start","app":256})"),
              R"("app" must be an integer 0..255, not 256)");
    EXPECT_EQ(errorOf(R"({"op":"start","domain":-1})"),
              R"("domain" must be an integer 0..255, not -1)");
    EXPECT_EQ(errorOf(R"({"op":"pegdr.set","vlan":1,"role":256})"),
              R"("role" must be an integer 0..255, not 256)");
}

TEST(EventReader, RefusesAVxlanSbdVlanOver16BitsButNoMplsOne) {
    EXPECT_EQ(errorOf(R"({"op":"vxlan.vrf.set","vrf":"red","vlan":65536})"),
              R"("vlan" must be an integer 0..65535, not 65536)");
    EXPECT_EQ(errorOf(R"({"op":"vxlan.replace","vrfToSbd":{"red":65536}})"),
              R"("vrfToSbd" must be an integer 0..65535, not 65536)");
    EXPECT_EQ(read<VrfToSbdSet>(R"({"op":"mpls.vrf.set","vrf":"red","vlan":65536})").vlan, 65536u);
}

TEST(EventReader, RefusesNamesOfAReplacedMapThatAreNoVlanNumbers) {
    for (const std::string name : {"", "ten", "-1", "4294967296", "01", "1 ", "0x1"}) {
        EXPECT_EQ(
            errorOf(R"({"op":"vxlan.replace","sbdToVrf":{")" + name + R"(":"red"}})"),
            R"(a name in "sbdToVrf" must be a VLAN number 0..4294967295, not ")" + name + '"');
    }
    EXPECT_EQ(
        read<SbdReplace>(R"({"op":"vxlan.replace","sbdToVrf":{"0":"red"}})").sbdToVrf[0].first, 0u);
}

TEST(EventReader, RefusesMalformedAddresses) {
    for (const std::string text :
         {"", "239.1.1", "239.1.1.256", "ff3e::1::", "10.0.0.1/8", "swp1", "1.2.3.4\\u0000"}) {
        EXPECT_EQ(errorOf(R"({"op":"group.del","vlan":1,"group":")" + text + R"("})"),
                  R"("group" must be an IPv4 or IPv6 address, not ")" + text + '"');
    }
}

TEST(EventReader, RefusesInterfaceNamesThatAreEmptyOrOver32Bytes) {
    const std::string longest(32, 'p');
    EXPECT_EQ(errorOf(R"({"op":"l3.del","intf":""})"),
              R"("intf" must be an interface name, not "")");
    EXPECT_EQ(read<L3Del>(R"({"op":"l3.del","intf":")" + longest + R"("})").intf, IntfId(longest));
    EXPECT_EQ(errorOf(R"({"op":"l3.del","intf":")" + longest + R"(p"})"),
              R"("intf" must be an interface name of at most 32 bytes, not ")" + longest + R"(p")");
    EXPECT_EQ(errorOf(R"({"op":"pim.set","vrf":"red","intfs":[""]})"),
              R"("intfs" must be an interface name, not "")");
}

TEST(EventReader, TakesOnlyVlanInterfacesIntoTheTable) {
    const std::string rest = R"(","vrf":"red","source":"::","group":"::")";
    for (const std::string intf : {"swp1", "mtunnel3", "vlan010", "vlan70000"}) {
        const std::string error = R"("intf" must be a VLAN interface, not ")" + intf + '"';
        EXPECT_EQ(errorOf(R"({"op":"table.set","mode":"include","intf":")" + intf + rest + "}"),
                  error);
        EXPECT_EQ(errorOf(R"({"op":"table.del","intf":")" + intf + rest + "}"), error);
    }
    EXPECT_EQ(errorOf(R"({"op":"table.del","intf":"vlan65535)" + rest + "}"), "no error");
}

TEST(EventReader, RefusesUnknownNamesOfModesAndInputs) {
    EXPECT_EQ(errorOf(R"({"op":"join","mode":"any","intf":"a",)" + placeFields + "}"),
              R"("mode" must be "include" or "exclude", not "any")");
    EXPECT_EQ(errorOf(R"({"op":"set.corrupt","set":"both",)" + placeFields + "}"),
              R"("set" must be "include" or "exclude", not "both")");
    EXPECT_EQ(errorOf(R"({"op":"start","without":["pim"]})"), R"(no input "pim")");
}

TEST(EventReader, RefusesTextThatIsNoJsonObject) {
    EXPECT_EQ(errorOf(R"([1])"), "expected an object, not an array");
    EXPECT_EQ(errorOf(R"("stop")"), R"(expected an object, not "stop")");
    for (const std::string text :
         {R"({"op":"stop")", R"({"op":"stop"} x)", R"({'op':'stop'})", R"({"op":"stop",})", "{",
          R"({"op":"stop"}{"op":"stop"})", "\xef\xbb\xbf{\"op\":\"stop\"}"}) {
        EXPECT_EQ(errorOf(text).substr(0, 14), "malformed JSON") << text;
    }
}

TEST(EventReader, RefusesTextBehindAZeroByte) {
    EXPECT_EQ(errorOf(std::string("{\"op\":\"stop\"}\0", 14)), "malformed JSON: a zero byte");
}

TEST(EventReader, RefusesTextThatIsNotUtf8) {
    for (const std::string text :
         {"\xff", "\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf5\x80\x80\x80"}) {
        EXPECT_THAT(errorOf(R"({"op":"pim.del","vrf":")" + text + R"("})"),
                    testing::EndsWith("invalid string: ill-formed UTF-8 byte"))
            << testing::PrintToString(text);
    }
}

TEST(EventReader, RefusesNumbersThatAreNoNumbers) {
    for (const std::string text : {"01", "1.", "1e999", "+1", "NaN", "--1"}) {
        EXPECT_EQ(errorOf(R"({"op":"vlan.del","vlan":)" + text + "}").substr(0, 14),
                  "malformed JSON")
            << text;
    }
    EXPECT_EQ(errorOf(R"({"op":"stop","t":1e999})"),
              "malformed JSON at byte 22: number overflow parsing '1e999'");
}

TEST(EventReader, RefusesObjectsNestedBeyondReason) {
    EXPECT_EQ(errorOf(std::string(100000, '[')), "nested deeper than 16 levels");
}

TEST(EventReader, ShortensLongValuesInMessagesBetweenCharacters) {
    std::string text;
    for (int i = 0; i < 40; ++i)
        text += "\xc3\xa4";
    EXPECT_EQ(errorOf(R"({"op":")" + text + "x\"}"),
              "unknown op \"" + text.substr(0, 60) + "\"...");
    EXPECT_EQ(errorOf(R"({"op":"x)" + text + "\"}"),
              "unknown op \"x" + text.substr(0, 58) + "\"...");
}

}  // namespace
