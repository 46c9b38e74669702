// What a recording may not say, what the system refuses, and what cannot be read or written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "irbmc/Command/Run.h"

namespace {

using testing::HasSubstr;

const std::string start = R"({"op":"start"})"
                          "\n";
const std::string emptyFinal = R"({"final":[],"events":)";
const std::string endOfFinal = R"(,"refused":0,"schemaVersion":1})"
                               "\n";

/// What is wrong with the last line of a recording: standard error, which must name that line, and
/// the exit status.
void expectMalformed(const std::string& recording, const std::string& error) {
    const Result result = replay(recording);
    EXPECT_EQ(result.err, error) << recording;
    EXPECT_EQ(result.status, 2);
}

TEST(MalformedRecording, StopsTheReplayAtItsLineAndKeepsWhatWasBefore) {
    const Result result = replay("# a comment\n\n" + start +
                                     R"({"op":"jion"})"
                                     "\n" +
                                     start,
                                 {"--json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "-:4: unknown op \"jion\"\n");
    EXPECT_EQ(result.out, "{\"event\":1,\"line\":3,\"op\":\"start\",\"schemaVersion\":1}\n" +
                              emptyFinal + "1,\"expectations\":0,\"unmet\":0" + endOfFinal);
}

TEST(MalformedRecording, ThatEndsInTheMidstOfALineKeepsTheLinesBefore) {
    const Result result = replay(start + R"({"op":"st)", {"--json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, testing::StartsWith("-:2: malformed JSON"));
    EXPECT_EQ(result.out, "{\"event\":1,\"line\":1,\"op\":\"start\",\"schemaVersion\":1}\n" +
                              emptyFinal + "1,\"expectations\":0,\"unmet\":0" + endOfFinal);
}

TEST(MalformedRecording, IsOneThatBeginsWithAByteOrderMark) {
    expectMalformed("\xef\xbb\xbf" + start, "-:1: malformed JSON: a byte order mark\n");
}

TEST(Recording, MayBeEmptyAndMayHaveTheLineEndsOfOtherSystems) {
    EXPECT_EQ(replay("", {"--json"}).out,
              emptyFinal + "0,\"expectations\":0,\"unmet\":0" + endOfFinal);
    const Result result = replay("# comment\r\n\r\n{\"op\":\"start\"}\r\n{\"op\":\"stop\"}\r\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(MalformedRecording, NamesTheFile) {
    const TemporaryFolder folder;
    const std::string file = folder.file("bad.jsonl", "{\"op\":\"vlan.del\",\"vlan\":\"ten\"}\n");
    const Result result = runIrbmc({"replay", file});
    EXPECT_EQ(result.err, file + ":1: \"vlan\" must be an integer 0..4294967295, not \"ten\"\n");
    EXPECT_EQ(result.status, 2);
}

TEST(MalformedRecording, MayNotUseAMachineThatIsNotThereOrStartASecond) {
    for (const std::string op : {"stop", "abandon", "reap"}) {
        expectMalformed(R"({"op":")" + op + "\"}",
                        "-:1: " + op + " without a state machine that runs\n");
    }
    expectMalformed(R"({"op":"notifications","on":false})",
                    "-:1: notifications without a state machine that runs\n");
    expectMalformed(start + start, "-:2: start while a state machine runs\n");
    expectMalformed(start +
                        R"({"op":"stop"})"
                        "\n" +
                        R"({"op":"stop"})",
                    "-:3: stop without a state machine that runs\n");
}

TEST(MalformedRecording, MaySetOnlyKnownTogglesAndOnlyBeforeTheFirstStart) {
    expectMalformed(R"({"op":"toggle","name":"Oism","on":true})", "-:1: no toggle \"Oism\"\n");
    expectMalformed(start +
                        R"({"op":"stop"})"
                        "\n" +
                        R"({"op":"toggle","name":"OismGateway","on":true})",
                    "-:3: a toggle after the first start\n");
}

TEST(MalformedRecording, NeedsTheRecordsThatItsEventsChange) {
    const std::string vlan = R"({"op":"vlan.set","vlan":10})"
                             "\n";
    const std::string group = vlan + R"({"op":"group.set","vlan":10,"group":"239.1.1.1"})"
                                     "\n";
    const std::string place = R"("vlan":10,"group":"239.1.1.1","source":"10.0.0.1")";
    for (const std::string op : {"group.set", "group.del"}) {
        expectMalformed(R"({"op":")" + op + R"(","vlan":10,"group":"239.1.1.1"})",
                        "-:1: no VLAN 10\n");
    }
    for (const std::string op : {"source.set", "source.del"}) {
        expectMalformed(vlan + R"({"op":")" + op + "\"," + place + "}",
                        "-:2: no group 239.1.1.1 in VLAN 10\n");
    }
    for (const std::string op :
         {"include.add", "include.del", "exclude.add", "exclude.del", "leave"}) {
        expectMalformed(group + R"({"op":")" + op + R"(","intf":"swp1",)" + place + "}",
                        "-:3: no source 10.0.0.1 of group 239.1.1.1 in VLAN 10\n");
    }
    expectMalformed(group + R"({"op":"set.corrupt","set":"include",)" + place + "}",
                    "-:3: no source 10.0.0.1 of group 239.1.1.1 in VLAN 10\n");
}

TEST(MalformedRecording, NeedsTheStatusesThatItsEventsChange) {
    expectMalformed(R"({"op":"l3.vrf","intf":"vlan10","vrf":"red"})",
                    "-:1: no L3 status of interface vlan10\n");
    for (const std::string op : {"pim.intf.add", "pim.intf.del"}) {
        expectMalformed(R"({"op":")" + op + R"(","vrf":"red","intf":"vlan10"})",
                        "-:1: no PIM status of VRF \"red\"\n");
    }
}

TEST(MalformedRecording, MayHaveNoLineBeyondReasonButACommentOfAnyLength) {
    const std::string blanks(std::size_t{17} << 20, ' ');
    expectMalformed(start + R"({"op":"stop")" + blanks + "}",
                    "-:2: the line is longer than 16777216 bytes\n");
    expectMalformed(blanks + R"({"op":"stop"})", "-:1: the line is longer than 16777216 bytes\n");
    EXPECT_EQ(replay("#" + blanks + "\n" + start).status, 0);
    EXPECT_EQ(runIrbmc({"replay", "/dev/zero"}).err,
              "/dev/zero:1: the line is longer than 16777216 bytes\n");
}

/// The reason that the report gives for the last event, which must not stop the replay.
std::string refusalOf(const std::string& recording) {
    const Result result = replay(recording, {"--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string key = R"("error":")";
    const auto begin = result.out.rfind(key);
    if (begin == std::string::npos) return "";
    return result.out.substr(begin + key.size(),
                             result.out.find('"', begin + key.size()) - begin - key.size());
}

TEST(RefusedEvent, IsAVlanNumberThatNoVlanIdCanHaveWhereverItStands) {
    const std::string range = "Bridging::VlanId::value < 1 or > 4094 not allowed";
    const std::string place = R"("group":"239.1.1.1","source":"10.0.0.1")";
    for (const std::string number : {"0", "4095", "5000", "65537", "4294967295"}) {
        const std::string vlan = R"("vlan":)" + number;
        for (const std::string rest :
             {R"("vlan.set")", R"("vlan.del")", R"("group.set","group":"239.1.1.1")",
              R"("group.del","group":"239.1.1.1")", R"("pegdr.set")", R"("pegdr.del")",
              R"("pegdr.corrupt")", R"("mpls.vrf.set","vrf":"red")",
              R"("mpls.sbd.set","vrf":"red")", R"("mpls.sbd.del")"}) {
            EXPECT_EQ(refusalOf(R"({"op":)" + rest + "," + vlan + "}"), range) << rest << vlan;
        }
    }
    for (const std::string rest :
         {R"("source.set")", R"("source.del")", R"("include.add","intf":"a")",
          R"("join","intf":"a")", R"("leave","intf":"a")", R"("set.corrupt","set":"include")"}) {
        EXPECT_EQ(refusalOf(R"({"op":)" + rest + R"(,"vlan":5000,)" + place + "}"), range) << rest;
    }
    EXPECT_EQ(refusalOf(R"({"op":"mpls.replace","vrfToSbd":{"red":5000}})"), range);
    EXPECT_EQ(refusalOf(R"({"op":"mpls.replace","sbdToVrf":{"0":"red"}})"), range);
}

TEST(RefusedEvent, IsAVrfNameOver100Bytes) {
    const std::string range = "Rix::String::bytes > maxLength() not allowed";
    const std::string vrf = R"("vrf":")" + std::string(101, 'v') + "\"";
    for (const std::string rest :
         {R"("l3.set","intf":"vlan10")", R"("pim.set")", R"("pim.del")",
          R"("pim.intf.add","intf":"vlan10")", R"("vxlan.vrf.set","vlan":1)", R"("vxlan.vrf.del")",
          R"("vxlan.sbd.set","vlan":1)", R"("mpls.sbd.set","vlan":1)", R"("table.status")",
          R"("table.set","intf":"vlan1","source":"::","group":"ff3e::1","mode":"include")",
          R"("table.del","intf":"vlan1","source":"::","group":"ff3e::1")"}) {
        EXPECT_EQ(refusalOf(R"({"op":)" + rest + "," + vrf + "}"), range) << rest;
    }
    EXPECT_EQ(refusalOf(R"({"op":"l3.set","intf":"vlan10"})"
                        "\n"
                        R"({"op":"l3.vrf","intf":"vlan10",)" +
                        vrf + "}"),
              range);
}

TEST(RefusedEvent, SaysWhatIsWrongWithTheFirstOfTwoWrongValues) {
    const std::string vrf = std::string(101, 'v');
    const std::string vlanRange = "Bridging::VlanId::value < 1 or > 4094 not allowed";
    const std::string vrfRange = "Rix::String::bytes > maxLength() not allowed";
    const std::string fields = R"("vlan":5000,"vrf":")" + vrf + "\"}";
    EXPECT_EQ(refusalOf(R"({"op":"mpls.vrf.set",)" + fields), vrfRange);
    EXPECT_EQ(refusalOf(R"({"op":"mpls.sbd.set",)" + fields), vlanRange);
    EXPECT_EQ(refusalOf(R"({"op":"mpls.replace","vrfToSbd":{")" + vrf + R"(":5000}})"), vrfRange);
    EXPECT_EQ(refusalOf(R"({"op":"mpls.replace","sbdToVrf":{"5000":")" + vrf + R"("}})"),
              vlanRange);
    EXPECT_EQ(refusalOf(R"({"op":"l3.vrf","intf":"vlan10","vrf":")" + vrf + "\"}"), vrfRange);
    EXPECT_EQ(refusalOf(R"({"op":"pim.intf.del","intf":"vlan10","vrf":")" + vrf + "\"}"), vrfRange);
}

TEST(RefusedEvent, IsAStartThatFailsAndTheNextMaySucceed) {
    const std::string failing = R"({"op":"vxlan.vrf.set","vrf":"red","vlan":5000})"
                                "\n" +
                                start;
    EXPECT_EQ(refusalOf(failing), "Bridging::VlanId::value < 1 or > 4094 not allowed");
    const Result result = replay(failing +
                                     R"({"op":"vxlan.vrf.del","vrf":"red"})"
                                     "\n" +
                                     start,
                                 {"--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                HasSubstr("{\"event\":4,\"line\":4,\"op\":\"start\",\"schemaVersion\":1}\n"));
}

TEST(RefusedEvent, IsNotDoneAnyFurther) {
    const std::string place = R"("vlan":10,"group":"239.1.1.1")";
    const std::string refused = R"({"op":"toggle","name":"OismMplsTunnel","on":false}
{"op":"l3.set","intf":"vlan10","vrf":"red"}
{"op":"start"}
{"op":"vxlan.vrf.set","vrf":"red","vlan":5000}
{"op":"join",)" + place + R"(,"source":"10.0.0.1","intf":"swp1"}
)";
    EXPECT_EQ(refusalOf(refused), "Bridging::VlanId::value < 1 or > 4094 not allowed");
    expectMalformed(refused + R"({"op":"source.set",)" + place + R"(,"source":"10.0.0.1"})",
                    "-: 2 of 5 events were refused, the first at -:4: "
                    "Bridging::VlanId::value < 1 or > 4094 not allowed\n"
                    "-:6: no group 239.1.1.1 in VLAN 10\n");
}

TEST(RefusedEvent, TakesNothingFromTheTableThatWasThere) {
    const std::string longVrf = R"("vrf":")" + std::string(101, 'v') + "\"}\n";
    const std::string recording = R"({"op":"l3.set","intf":"vlan10","vrf":"red"}
{"op":"start"}
{"op":"join","vlan":10,"group":"239.1.1.1","source":"10.0.0.1","intf":"swp1"}
{"op":"vlan.set","vlan":5000}
{"op":"pegdr.set","vlan":0}
{"op":"l3.set","intf":"vlan0","vrf":"red"}
{"op":"l3.set","intf":"vlan4095","vrf":"red"}
{"op":"vxlan.vrf.set","vrf":"red","vlan":0}
{"op":"vxlan.sbd.set","vrf":"red","vlan":4095}
{"op":"mpls.vrf.set","vrf":"red","vlan":5000}
{"op":"mpls.replace","sbdToVrf":{"0":"red"}}
{"op":"l3.vrf","intf":"vlan10",)" +
                                  longVrf + R"({"op":"pim.set",)" + longVrf +
                                  R"({"op":"table.status",)" + longVrf;
    const Result result = replay(
        recording +
        R"({"op":"expect","table":[{"vrf":"red","app":1,"intf":"vlan10","source":"10.0.0.1",)"
        R"("group":"239.1.1.1","mode":"include"}]})");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                HasSubstr("1 membership added, 0 changed, 0 removed; 11 events refused; "
                          "1 expectation, all met.\n"));
}

TEST(Expectation, IsMetInAnyOrder) {
    const std::string one =
        R"({"vrf":"red","app":1,"appName":"irb","intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1","mode":"include"})";
    const std::string two =
        R"({"vrf":"red","app":2,"appName":"gmp","intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1","mode":"exclude"})";
    const std::string written = R"({"op":"table.set",)" + one.substr(1) + "\n" +
                                R"({"op":"table.set",)" + two.substr(1) + "\n";
    const Result met =
        replay(written + R"({"op":"expect","table":[)" + two + "," + one + "]}", {"--json"});
    EXPECT_EQ(met.status, 0);
    EXPECT_THAT(met.out, HasSubstr(R"(],"events":3,"expectations":1,"unmet":0,)"));
    const Result unmet =
        replay(written + R"({"op":"expect","table":[)" + one + "]}\n" + start, {"--json"});
    EXPECT_EQ(unmet.status, 1);
    EXPECT_THAT(unmet.out, HasSubstr(R"("op":"expect","unexpected":[)" + two + "],"));
    EXPECT_THAT(unmet.out, HasSubstr(R"(],"events":4,"expectations":1,"unmet":1,)"));
}

TEST(Expectation, OfAnotherModeIsMissingAndTheMembershipUnexpected) {
    const std::string key =
        R"("vrf":"red","app":1,"appName":"irb","intf":"vlan10","source":"::","group":"ff3e::1")";
    const Result result = replay(R"({"op":"table.set","mode":"include",)" + key + "}\n" +
                                     R"({"op":"expect","table":[{"mode":"exclude",)" + key + "}]}",
                                 {"--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr(R"("missing":[{)" + key + R"(,"mode":"exclude"}],"unexpected":[{)" + key +
                          R"(,"mode":"include"}],)"));
}

TEST(Expectation, ThatIsUnmetIsNamedOnStandardErrorWhenQuiet) {
    const Result result = replay(
        "\n"
        R"({"op":"expect","table":[{"vrf":"red","app":1,"intf":"vlan10","source":"::","group":"ff3e::1","mode":"include"}]})",
        {"--quiet"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "-:2: the expectation is not met\n");
}

TEST(Expectation, ThatIsUnmetYieldsToAMalformedLineInTheExitStatus) {
    EXPECT_EQ(
        replay(
            R"({"op":"expect","table":[{"vrf":"red","app":1,"intf":"vlan10","source":"::","group":"ff3e::1","mode":"include"}]})"
            "\nx")
            .status,
        2);
}

TEST(CommandLine, ThatIsWrongEndsWithStatusTwo) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"jump"},
                                               {"replay"},
                                               {"replay", "--bogus", "-"},
                                               {"replay", "-", "-"},
                                               {"replay", "--trace", "10", "-"},
                                               {"replay", "--trace", "", "-"},
                                               {"replay", "--toggle", "OismGateway", "-"},
                                               {"replay", "--toggle", "OismGateway=1", "-"},
                                               {"replay", "--toggle", "Oism=on", "-"},
                                               {"replay", "--color", "red", "-"},
                                               {"replay", "--library", "/nowhere.so", "-"},
                                               {"show", "--vlan", "ten"},
                                               {"show", "--vlan", "65536"},
                                               {"show", "--group", "ten"},
                                               {"check", "a", "b"}}) {
        const Result result = runIrbmc(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "") << testing::PrintToString(arguments);
        EXPECT_THAT(result.err, testing::StartsWith("irbmc: "))
            << testing::PrintToString(arguments);
    }
}

/// What a shell makes of a variable that is not set must not count as an option that is not given.
TEST(CommandLine, TakesNoEmptyValueForOneThatWasNotGiven) {
    const TemporaryFolder folder;
    const std::string table = folder.path() / "gmp";
    EXPECT_EQ(replay("", {"--table", table}).status, 0);
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"replay", ""},
                                               {"replay", "--table", "", "-"},
                                               {"replay", "--library", "", "-"},
                                               {"show", table, "--vlan", ""},
                                               {"show", table, "--group", ""},
                                               {"show", ""},
                                               {"check", ""}}) {
        const Result result = runIrbmc(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "") << testing::PrintToString(arguments);
        EXPECT_THAT(result.err, HasSubstr("must not be empty"))
            << testing::PrintToString(arguments);
    }
    EXPECT_EQ(runIrbmc({"show", table, "--vrf", ""}).status, 0);
}

TEST(CommandLine, TellsHowItIsUsed) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--help"},
                                               {"--version"},
                                               {"replay", "--help"},
                                               {"show", "--help"},
                                               {"check", "--help"}}) {
        const Result result = runIrbmc(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.out, "");
        EXPECT_EQ(result.err, "");
    }
}

TEST(CommandLine, SetsTogglesAsTheRecordingWould) {
    const std::string named = R"({"op":"toggle","name":"OismGateway","on":true})"
                              "\n" +
                              start;
    EXPECT_EQ(
        replay(named, {"--toggle", "OismGateway=off", "--toggle", "OismMplsTunnel=on"}).status, 0);
}

TEST(UnreadableRecording, IsNamedWithTheReason) {
    EXPECT_EQ(runIrbmc({"replay", "/nowhere/x.jsonl"}).err,
              "irbmc: /nowhere/x.jsonl: No such file or directory\n");
    const Result folder = runIrbmc({"replay", "--json", "/"});
    EXPECT_EQ(folder.err, "/: cannot be read: Is a directory\n");
    EXPECT_EQ(folder.status, 2);
    EXPECT_EQ(folder.out, emptyFinal + "0,\"expectations\":0,\"unmet\":0" + endOfFinal);
}

}  // namespace
