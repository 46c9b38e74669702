// How the command deals with people: what it is asked, and how it answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "irbmc/Command/Run.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// The first line that a wrong command line leads to.
std::string refusalOf(const std::vector<std::string>& arguments) {
    const Result result = runIrbmc(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    return result.err.substr(0, result.err.find('\n'));
}

TEST(UnknownCommand, IsNamedWithTheNearest) {
    EXPECT_EQ(refusalOf({"reply", "x"}), "irbmc: no command 'reply'; did you mean 'replay'?");
    EXPECT_EQ(refusalOf({"sho"}), "irbmc: no command 'sho'; did you mean 'show'?");
    EXPECT_THAT(refusalOf({"frobnicate"}),
                AllOf(StartsWith("irbmc: no command 'frobnicate'; there are replay, "),
                      Not(HasSubstr("did you mean"))));
    EXPECT_EQ(refusalOf({"help", "replai"}), "irbmc: no command 'replai'; did you mean 'replay'?");
    EXPECT_THAT(refusalOf({}), StartsWith("irbmc: name a command: replay, "));
}

TEST(UnknownOption, IsNamedWithTheNearest) {
    EXPECT_EQ(refusalOf({"replay", "--jsn", "x"}),
              "irbmc: no option '--jsn' of replay; did you mean '--json'?");
    EXPECT_EQ(refusalOf({"show", "--grup=239.1.1.1"}),
              "irbmc: no option '--grup' of show; did you mean '--group'?");
    EXPECT_EQ(refusalOf({"--versoin"}), "irbmc: no option '--versoin'; did you mean '--version'?");
    EXPECT_EQ(refusalOf({"check", "--frobnicate"}), "irbmc: no option '--frobnicate' of check");
}

TEST(Values, AreRefusedWithWhatTheirOptionTakes) {
    EXPECT_EQ(refusalOf({"show", "--vlan", "70000"}),
              "irbmc: --vlan takes a number 0..65535, not '70000'");
    EXPECT_EQ(refusalOf({"show", "--vlan", "ten"}),
              "irbmc: --vlan takes a number 0..65535, not 'ten'");
    EXPECT_EQ(refusalOf({"show", "--app", "256"}),
              "irbmc: --app takes a number 0..255 or one of none, irb, gmp, static, not '256'");
    EXPECT_EQ(refusalOf({"show", "--group", "10.0"}),
              "irbmc: --group takes an IPv4 or IPv6 address, not '10.0'");
    EXPECT_EQ(refusalOf({"show", "--mode", "both"}),
              "irbmc: --mode takes include or exclude, not 'both'");
    EXPECT_EQ(refusalOf({"replay", "--color", "blue", "x"}),
              "irbmc: --color takes auto, always or never, not 'blue'");
    EXPECT_THAT(refusalOf({"replay", "--trace", "0-12", "x"}), HasSubstr("a level 0..9"));
}

TEST(Help, IsGivenForEachCommandByItsName) {
    for (const std::string command : {"replay", "show", "check", "help"}) {
        const Result result = runIrbmc({"help", command});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_THAT(result.out, HasSubstr("Usage: irbmc " + command + " "));
    }
    EXPECT_EQ(runIrbmc({"help"}).out, runIrbmc({"--help"}).out);
}

TEST(Names, StandForNumbersInARecording) {
    const std::string named =
        R"({"op":"start","domain":"mpls","app":"gmp"}
{"op":"pegdr.set","vlan":10,"first":"dr","second":"nonDr","role":"none"}
{"op":"table.set","vrf":"red","app":"app7","intf":"vlan10","source":"*","group":"ff3e::1",)"
        R"("mode":"include"})";
    const std::string numbered =
        R"({"op":"start","domain":2,"app":2}
{"op":"pegdr.set","vlan":10,"first":1,"second":2,"role":0}
{"op":"table.set","vrf":"red","app":7,"intf":"vlan10","source":"::","group":"ff3e::1",)"
        R"("mode":"include"})";
    EXPECT_EQ(replay(named).out, replay(numbered).out);
    EXPECT_THAT(replay(numbered).out,
                AllOf(HasSubstr("domain mpls, application gmp"),
                      HasSubstr("first dr, second nonDr, role none"), HasSubstr("+ red.app7")));
}

TEST(Names, ThatThereAreNotAreRefusedWithThoseThatThereAre) {
    EXPECT_EQ(replay(R"({"op":"start","domain":"vlan"})").err,
              "-:1: \"domain\" must be an integer 0..255 or one of unknown, vxlan, mpls, not "
              "\"vlan\"\n");
    EXPECT_EQ(replay(R"({"op":"pegdr.set","vlan":1,"role":"DR"})").err,
              "-:1: \"role\" must be an integer 0..255 or one of none, dr, nonDr, not \"DR\"\n");
    EXPECT_EQ(replay(R"({"op":"start","app":"app256"})").err,
              "-:1: \"app\" must be an integer 0..255 or one of none, irb, gmp, static, not "
              "\"app256\"\n");
}

TEST(AnySource, IsUnderstoodAsItIsPrinted) {
    const std::string recording = R"({"op":"l3.set","intf":"vlan10","vrf":"red"}
{"op":"start"}
{"op":"join","vlan":10,"group":"239.1.1.1","source":"*","intf":"swp1"}
{"op":"group.set","vlan":10,"group":"ff3e::1","sources":[{"source":"*","include":["swp1"]}]}
{"op":"expect","table":[
)";
    const std::string reported =
        replay(recording.substr(0, recording.find(R"({"op":"expect)")), {"--json", "--quiet"}).out;
    EXPECT_THAT(reported, AllOf(HasSubstr(R"("source":"0.0.0.0","group":"239.1.1.1")"),
                                HasSubstr(R"("source":"::","group":"ff3e::1")")));
}

TEST(ReportedMembership, MayStandInAnExpectationAsItIs) {
    const std::string entry = R"({"vrf":"red","app":1,"appName":"irb","intf":"vlan10",)"
                              R"("source":"10.0.0.1","group":"239.1.1.1","mode":"include"})";
    const std::string set = R"({"op":"table.set",)" + entry.substr(1) + "\n";
    EXPECT_EQ(replay(set + R"({"op":"expect","table":[)" + entry + "]}").status, 0);
    EXPECT_EQ(replay(R"({"op":"table.set","appName":"gmp","vrf":"red","intf":"vlan10",)"
                     R"("source":"*","group":"239.1.1.1","mode":"include"})")
                  .err,
              "-:1: \"appName\" must be \"irb\", as \"app\" is, not \"gmp\"\n");
}

TEST(JsonReport, HasAVersionInEveryObject) {
    const auto lines = replayJson("{\"op\":\"start\"}\n{\"op\":\"vlan.set\",\"vlan\":0}\n");
    ASSERT_EQ(lines.size(), 3u);
    for (const std::string& line : lines)
        EXPECT_THAT(line, EndsWith(R"(,"schemaVersion":1})"));
}

TEST(Trace, OfAReplayIsFilteredByWhatItsMessagesName) {
    std::string recording = R"({"op":"start"})";
    for (const char* vlan : {"10", "20"}) {
        for (const char* group : {"239.1.1.1", "239.1.1.2"}) {
            recording += std::string("\n") + R"({"op":"l3.set","vrf":"red","intf":"vlan)" + vlan +
                         "\"}\n" + R"({"op":"join","source":"10.0.0.1","intf":"swp1","vlan":)" +
                         vlan + R"(,"group":")" + group + "\"}";
        }
    }
    const std::string text =
        replay(recording, {"--trace", "8@vlan=10,group=239.1.1.2,vrf=red"}).out;
    EXPECT_THAT(text, HasSubstr("( Vlan 10, 10.0.0.1, 239.1.1.2 ), add include: true"));
    EXPECT_THAT(text, Not(HasSubstr("( Vlan 10, 10.0.0.1, 239.1.1.1 )")));
    EXPECT_THAT(text, Not(HasSubstr("( Vlan 20,")));
    EXPECT_THAT(text, Not(HasSubstr("handleInitialized")));
    const std::string sbd = R"({"op":"start"})"
                            "\n"
                            R"({"op":"mpls.sbd.set","vlan":100,"vrf":"red"})"
                            "\n"
                            R"({"op":"mpls.sbd.set","vlan":200,"vrf":"blue"})";
    const std::string change = "SBD VLAN to VRF change, VLAN: ";
    EXPECT_THAT(replay(sbd, {"--trace", "2@vlan=100"}).out,
                AllOf(HasSubstr(change + "100"), Not(HasSubstr(change + "200"))));
    EXPECT_THAT(refusalOf({"replay", "--trace", "8@port=swp1", "x"}),
                StartsWith("irbmc: --trace: trace filter: 'port=swp1' is neither vlan=0..65535"));
}

}  // namespace
