#include <gtest/gtest.h>

#include <string>

#include "Columns.h"
#include "Replay/EventReader.h"
#include "Replay/JsonReport.h"
#include "Replay/TextReport.h"
#include "Replay/Wording.h"

namespace {

using namespace Irbmc::Replay;  // NOLINT(google-build-using-namespace)
using Irbmc::Columns;

class StringSink : public Sink {
  public:
    void write(std::string_view bytes) override { text += bytes; }

    std::string text;
};

TableEntry entry(std::string_view intf, std::string_view source, std::string_view group,
                 JoinMode mode = JoinMode::include, const std::string& vrf = "red") {
    return {{{vrf, 1},
             Ondel::IntfId(intf),
             Ondel::IpGenAddr::parse(source).value(),
             Ondel::IpGenAddr::parse(group).value()},
            mode};
}

const TableEntry oneSource = entry("vlan10", "10.0.0.1", "239.1.1.1");
const TableEntry anySource = entry("vlan10", "::", "ff3e::1", JoinMode::exclude);

std::string jsonOf(const std::string& line, const Outcome& outcome) {
    StringSink sink;
    JsonReport(sink, false).event(4, 6, readEvent(line), outcome);
    return sink.text;
}

std::string textOf(const std::string& line, const Outcome& outcome, bool isColoured = false) {
    StringSink sink;
    TextReport(sink, {false, isColoured}).event(4, 6, readEvent(line), outcome);
    return sink.text;
}

TEST(JsonReport, LeavesOutWhatIsEmpty) {
    EXPECT_EQ(jsonOf(R"({"op":"stop"})", {}),
              "{\"event\":4,\"line\":6,\"op\":\"stop\",\"schemaVersion\":1}\n");
}

TEST(JsonReport, GivesEverythingThatAnEventLedToInAFixedOrder) {
    Outcome outcome;
    outcome.added = {oneSource};
    outcome.changed = {anySource};
    outcome.removed = {oneSource, anySource};
    outcome.corruptions = {"torn", "\"bent\""};
    outcome.trace = {{8, "handleInclude", "handleInclude: x"}, {9, "f", ""}};
    outcome.error = "no";
    const std::string one =
        R"({"vrf":"red","app":1,"appName":"irb","intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1","mode":"include"})";
    const std::string any =
        R"({"vrf":"red","app":1,"appName":"irb","intf":"vlan10","source":"::","group":"ff3e::1","mode":"exclude"})";
    EXPECT_EQ(jsonOf(R"({"op":"reap","t":1795240295.472})", outcome),
              R"({"event":4,"line":6,"op":"reap","t":1795240295.472,"added":[)" + one +
                  R"(],"changed":[)" + any + R"(],"removed":[)" + one + "," + any +
                  R"(],"corruptions":["torn","\"bent\""],"trace":[)" +
                  R"({"level":8,"function":"handleInclude","text":"handleInclude: x"},)" +
                  R"({"level":9,"function":"f","text":""}],"error":"no","schemaVersion":1})" +
                  "\n");
}

TEST(JsonReport, SaysWhatAnUnmetExpectationMisses) {
    Outcome outcome;
    outcome.expectation = Expectation{{oneSource}, {}};
    EXPECT_EQ(
        jsonOf(R"({"op":"expect","table":[]})", outcome),
        R"({"event":4,"line":6,"op":"expect","missing":[{"vrf":"red","app":1,"appName":"irb","intf":"vlan10",)"
        R"("source":"10.0.0.1","group":"239.1.1.1","mode":"include"}],"schemaVersion":1})"
        "\n");
}

TEST(JsonReport, EndsWithTheTableStatusByStatus) {
    StringSink sink;
    JsonReport(sink, false)
        .finish({{"blue.gmp", {"blue", 2}, {}}, {"red.irb", {"red", 1}, {oneSource, anySource}}},
                {.events = 120, .expectations = 3, .unmet = 1});
    EXPECT_EQ(
        sink.text,
        R"({"final":[{"name":"blue.gmp","vrf":"blue","app":2,"appName":"gmp","memberships":[]},)"
        R"({"name":"red.irb","vrf":"red","app":1,"appName":"irb","memberships":[)"
        R"({"intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1","mode":"include"},)"
        R"({"intf":"vlan10","source":"::","group":"ff3e::1","mode":"exclude"}]}],)"
        R"("events":120,"expectations":3,"unmet":1,"refused":0,"schemaVersion":1})"
        "\n");
}

TEST(JsonReport, ReplacesBytesThatAreNotUtf8) {
    Outcome outcome;
    outcome.added = {entry("vlan1", "::", "ff3e::1", JoinMode::include, "r\xffs\n")};
    EXPECT_NE(jsonOf(R"({"op":"reap"})", outcome).find("\"vrf\":\"r\xef\xbf\xbds\\n\""),
              std::string::npos);
}

TEST(JsonReport, GivesTheLastLineAloneWhenQuiet) {
    StringSink sink;
    JsonReport report(sink, true);
    report.event(1, 1, readEvent(R"({"op":"stop"})"), {});
    report.finish({}, {.events = 1});
    EXPECT_EQ(sink.text,
              "{\"final\":[],\"events\":1,\"expectations\":0,\"unmet\":0,\"refused\":0,"
              "\"schemaVersion\":1}\n");
}

TEST(TextReport, ShowsAnEventInWordsWithItsEffectsBelow) {
    Outcome outcome;
    outcome.added = {oneSource};
    outcome.changed = {anySource};
    outcome.removed = {oneSource};
    EXPECT_EQ(
        textOf(R"({"op":"join","vlan":10,"group":"239.1.1.1","source":"10.0.0.1","intf":"swp1"})",
               outcome),
        "     4  join           vlan10 (10.0.0.1, 239.1.1.1) include on swp1\n"
        "                       + red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include\n"
        "                       ~ red.irb  vlan10  (*, ff3e::1)  exclude\n"
        "                       - red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include\n");
}

TEST(TextReport, ShowsRefusalsDamageAndTrace) {
    Outcome outcome;
    outcome.corruptions = {"torn\x1b"};
    outcome.error = "out of range";
    outcome.trace = {{8, "handleInclude", "handleInclude: x"}};
    EXPECT_EQ(textOf(R"({"op":"reap"})", outcome),
              "     4  reap           the state machine reaps its trackers\n"
              "                       damaged: torn\\u001b\n"
              "                       refused: out of range\n"
              "                       8 handleInclude | handleInclude: x\n");
}

TEST(TextReport, SaysWhetherAnExpectationIsMet) {
    Outcome met;
    met.expectation = Expectation{};
    EXPECT_EQ(textOf(R"({"op":"expect","table":[]})", met),
              "     4  expect         0 memberships: met\n");
    Outcome unmet;
    unmet.expectation = Expectation{{oneSource}, {anySource}};
    EXPECT_EQ(textOf(R"({"op":"expect","table":[]})", unmet),
              "     4  expect         0 memberships: not met, 1 missing, 1 unexpected\n"
              "                       missing:    red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include\n"
              "                       unexpected: red.irb  vlan10  (*, ff3e::1)  exclude\n");
}

TEST(TextReport, ShowsTheDayWhereItBeginsAndTheClockWithEachEvent) {
    StringSink sink;
    TextReport report(sink, {});
    report.event(1, 1, readEvent(R"({"op":"stop","t":1795240295.472})"), {});
    report.event(2, 2, readEvent(R"({"op":"stop"})"), {});
    report.event(3, 3, readEvent(R"({"op":"stop","t":1795305600})"), {});
    EXPECT_EQ(sink.text,
              "\n2026-11-21 (UTC)\n"
              "     1  05:51:35.472  stop           the state machine is destroyed\n"
              "     2                stop           the state machine is destroyed\n"
              "\n2026-11-22 (UTC)\n"
              "     3  00:00:00.000  stop           the state machine is destroyed\n");
}

TEST(TextReport, ShowsATimeBeyondTheCalendarAsItWasWritten) {
    EXPECT_EQ(textOf(R"({"op":"stop","t":1e300})", {}),
              "     4  1e+300        stop           the state machine is destroyed\n");
    EXPECT_EQ(clockText("-5"), "-5");
    EXPECT_EQ(dayText("253402300799.9994"), "9999-12-31");
    EXPECT_EQ(dayText("253402300800"), "");
}

TEST(TextReport, UsesColoursOnlyWhenTold) {
    Outcome outcome;
    outcome.added = {oneSource};
    EXPECT_EQ(textOf(R"({"op":"reap"})", outcome).find('\x1b'), std::string::npos);
    EXPECT_NE(textOf(R"({"op":"reap"})", outcome, true)
                  .find("\x1b[32m+ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include\x1b[0m"),
              std::string::npos);
}

TEST(TextReport, EndsWithTheTableInColumnsAndTheCounts) {
    StringSink sink;
    TextReport(sink, {}).finish(
        {{"blue.gmp", {"blue", 2}, {}},
         {"red.irb", {"red", 1}, {oneSource, entry("vlan4094", "::", "ff3e::8000:1")}}},
        {.events = 12, .expectations = 3, .unmet = 1, .refused = 1, .added = 2});
    EXPECT_EQ(sink.text,
              "\nGMP status table: 2 statuses, 2 memberships\n"
              "\nblue.gmp\n"
              "  empty\n"
              "\nred.irb\n"
              "  VLAN INTERFACE  SOURCE    GROUP         MODE\n"
              "  vlan10          10.0.0.1  239.1.1.1     include\n"
              "  vlan4094        *         ff3e::8000:1  include\n"
              "\n12 events: 2 memberships added, 0 changed, 0 removed; 1 event refused; "
              "3 expectations, 1 not met.\n");
}

TEST(TextReport, GivesTheTableAloneWhenQuiet) {
    StringSink sink;
    TextReport report(sink, {.isQuiet = true});
    report.begin("lab.jsonl");
    report.event(1, 1, readEvent(R"({"op":"stop"})"), {});
    report.finish({}, {.events = 1});
    EXPECT_EQ(sink.text, "GMP status table: 0 statuses, 0 memberships\n");
}

std::string describeLine(const std::string& fields) {
    return describe(readEvent(R"({"op":)" + fields + "}").action);
}

TEST(Wording, TellsEveryEventInWordsCloseToItsFields) {
    const std::string place = R"("vlan":10,"group":"239.1.1.1","source":"0.0.0.0")";
    const std::string table = R"("vrf":"red","intf":"vlan1","source":"::","group":"ff3e::1")";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"("toggle","name":"OismGateway","on":false)", "OismGateway off"},
        {R"("start","app":2,"without":["pegDrStatus","enabledStatus"])",
         R"(state machine "default", domain vxlan, application gmp, without pegDrStatus and enabledStatus)"},
        {R"("stop")", "the state machine is destroyed"},
        {R"("abandon")", "the state machine dies, its table stays"},
        {R"("notifications","on":true)", "on"},
        {R"("vlan.set","vlan":5000,"groups":[{"group":"::","sources":[{"source":"::"}]}])",
         "vlan5000 with 1 group, 1 source"},
        {R"("vlan.del","vlan":10)", "vlan10"},
        {R"("group.set","vlan":10,"group":"239.1.1.1")", "vlan10 group 239.1.1.1 with 0 sources"},
        {R"("group.del","vlan":10,"group":"239.1.1.1")", "vlan10 group 239.1.1.1"},
        {R"("source.set","include":["swp1","swp2"],)" + place,
         "vlan10 (*, 239.1.1.1) include on swp1, swp2, exclude on none"},
        {R"("source.del",)" + place, "vlan10 (*, 239.1.1.1)"},
        {R"("include.add","intf":"swp1",)" + place, "vlan10 (*, 239.1.1.1) swp1"},
        {R"("leave","mode":"exclude","intf":"swp1",)" + place,
         "vlan10 (*, 239.1.1.1) exclude on swp1"},
        {R"("l3.set","intf":"vlan10")", "vlan10 is in no VRF"},
        {R"("l3.vrf","intf":"vlan10","vrf":"red")", "vlan10 moves to VRF red"},
        {R"("l3.del","intf":"vlan10")", "vlan10"},
        {R"("pim.set","vrf":"red","intfs":["vlan10"])", "VRF red runs PIM on vlan10"},
        {R"("pim.del","vrf":"red")", "VRF red"},
        {R"("pim.intf.del","vrf":"red","intf":"vlan10")", "VRF red vlan10"},
        {R"("pegdr.set","vlan":10,"first":1,"second":2,"role":7)",
         "vlan10 first dr, second nonDr, role 7"},
        {R"("pegdr.del","vlan":10)", "vlan10"},
        {R"("vxlan.vrf.set","vrf":"red","vlan":100)", "VRF red has SBD VLAN 100"},
        {R"("vxlan.vrf.del","vrf":"red")", "VRF red"},
        {R"("mpls.sbd.set","vrf":"red","vlan":100)", "SBD VLAN 100 is of VRF red"},
        {R"("mpls.sbd.del","vlan":100)", "SBD VLAN 100"},
        {R"("vxlan.replace","vrfToSbd":{"red":1})", "new maps of 1 VRF and 0 SBD VLANs"},
        {R"("table.set","mode":"include",)" + table, "red.irb  vlan1  (*, ff3e::1)  include"},
        {R"("table.del",)" + table, "red.irb  vlan1  (*, ff3e::1)"},
        {R"("table.status","vrf":"red")", "red.irb"},
        {R"("pegdr.corrupt","vlan":10)", "vlan10 reads as damaged once"},
        {R"("set.corrupt","set":"include",)" + place,
         "vlan10 (*, 239.1.1.1) include set reads as damaged once"},
        {R"("expect","table":[])", "0 memberships"},
    };
    for (const auto& [fields, words] : cases) {
        EXPECT_EQ(describeLine(fields), words);
    }
}

TEST(Wording, LetsNothingThroughThatATerminalWouldObey) {
    EXPECT_EQ(printable("r\xc3\xb6t"), "r\xc3\xb6t");
    EXPECT_EQ(printable("a\x1b[2Jb\x7f\n"), "a\\u001b[2Jb\\u007f\\n");
    EXPECT_EQ(printable("\xc2\x9b\x31"), "\\u009b1");
    EXPECT_EQ(printable("\xff"), "\xef\xbf\xbd");
    EXPECT_EQ(printable("\"\\\xc3\xb6"), "\"\\\xc3\xb6");
}

TEST(Columns, AlignsTextByItsCharacters) {
    Columns columns({"VRF", "GROUP"});
    columns.fit({"r\xc3\xb6t-1", "239.1.1.1"});
    EXPECT_EQ(columns.line({"VRF", "GROUP"}), "  VRF    GROUP\n");
    EXPECT_EQ(columns.line({"r\xc3\xb6t-1", "239.1.1.1"}), "  r\xc3\xb6t-1  239.1.1.1\n");
}

TEST(TableOrder, IsByVrfBytesApplicationVlanGroupAndSource) {
    std::vector<TableEntry> ordered = {
        entry("vlan10", "10.0.0.1", "239.1.1.1", JoinMode::include, "Red"),
        entry("vlan9", "10.0.0.1", "239.1.1.1"),
        entry("vlan10", "0.0.0.0", "239.1.1.1"),
        entry("vlan10", "9.0.0.1", "239.1.1.1"),
        entry("vlan10", "10.0.0.1", "239.1.1.1", JoinMode::exclude),
        entry("vlan10", "10.0.0.1", "239.1.1.1", JoinMode::include),
        entry("vlan10", "0.0.0.0", "239.1.1.10"),
        entry("vlan10", "::", "ff3e::1"),
    };
    ordered.push_back(ordered.back());
    ordered.back().place.status.app = 2;
    ordered.push_back(entry("vlan1", "::", "ff3e::1", JoinMode::include, "red "));
    for (std::size_t i = 1; i < ordered.size(); ++i) {
        EXPECT_TRUE(tableOrder(ordered[i - 1], ordered[i])) << i;
        EXPECT_FALSE(tableOrder(ordered[i], ordered[i - 1])) << i;
    }
}

}  // namespace
