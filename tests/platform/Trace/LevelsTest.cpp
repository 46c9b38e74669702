#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "Trace/Handle.h"
#include "Trace/Levels.h"
#include "Trace/Selection.h"
#include "Trace/SelectionsByName.h"
#include "Trace/Trace.h"

namespace {

using Trace::Filter;
using Trace::Handle;
using Trace::Levels;
using Trace::Selection;
using Trace::SelectionsByName;

std::string refusalOf(const std::string& text) {
    try {
        Levels::parse(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "not refused";
}

TEST(TraceLevels, AreNoneByDefault) {
    for (unsigned level = 0; level < Levels::count; ++level)
        EXPECT_FALSE(Levels().contains(level));
}

TEST(TraceLevels, AreReadFromOneLevelAListOrARange) {
    EXPECT_EQ(Levels::parse("8"), Levels::of(8));
    EXPECT_EQ(Levels::parse("2,3,7"), Levels::of(2) | Levels::of(3) | Levels::of(7));
    EXPECT_EQ(Levels::parse("0-9"), Levels::all());
    EXPECT_EQ(Levels::parse("0,7-9"),
              Levels::of(0) | Levels::of(7) | Levels::of(8) | Levels::of(9));
    EXPECT_EQ(Levels::parse("4-4"), Levels::of(4));
}

TEST(TraceLevels, ThatAreMalformedAreRefusedWithTheWrongPart) {
    EXPECT_EQ(refusalOf("2,x,3"),
              "trace levels '2,x,3': 'x' is neither a level 0..9 nor a range such as 2-5");
    for (const char* text : {"", ",", "8,", ",8", "10", "5-2", "1-", "-1", "a", " 8", "0-10",
                             "1--2", "3-x", "x-3", "3/5", "/", "8;9"}) {
        EXPECT_NE(refusalOf(text), "not refused") << text;
    }
}

TEST(TraceLevels, OfALevelThatThereIsNotAreNone) {
    unsigned level = 9;
    EXPECT_TRUE(Levels::of(level).contains(9));
    EXPECT_EQ(Levels::of(++level), Levels());
}

TEST(TraceLevels, OfAHandleAreSetByItsName) {
    Handle& handle = Handle::get("LevelsTest::one");
    EXPECT_FALSE(handle.isEnabled(8));
    Handle::get("LevelsTest::one").levelsIs(Levels::parse("8"));
    EXPECT_TRUE(handle.isEnabled(8));
    EXPECT_FALSE(handle.isEnabled(7));
    EXPECT_FALSE(Handle::get("LevelsTest::two").isEnabled(8));
    handle.levelsIs({});
    EXPECT_FALSE(handle.isEnabled(8));
}

TEST(TraceLevels, AHandleIsOneObjectForItsName) {
    Handle& handle = Handle::get("LevelsTest::same");
    EXPECT_EQ(&handle, &Handle::get("LevelsTest::same"));
    EXPECT_NE(&handle, &Handle::get("LevelsTest::other"));
    EXPECT_EQ(handle.name(), "LevelsTest::same");
}

TEST(TraceSelectionsByName, AreSeparatedByBlanksOrSemicolons) {
    const auto read = SelectionsByName::parse(" A::B/2,3;C/8  D/0-9\t;");
    EXPECT_TRUE(read.problems.empty());
    ASSERT_EQ(read.selections.size(), 3u);
    EXPECT_EQ(read.selections.at("A::B").levels, Levels::parse("2,3"));
    EXPECT_EQ(read.selections.at("C").levels, Levels::of(8));
    EXPECT_EQ(read.selections.at("D").levels, Levels::all());
}

TEST(TraceSelectionsByName, OfOneNameAddUp) {
    const auto read = SelectionsByName::parse("A/2 A/3");
    EXPECT_EQ(read.selections.at("A").levels, Levels::parse("2,3"));
}

TEST(TraceSelectionsByName, KeepTheSlashesOfAName) {
    EXPECT_EQ(SelectionsByName::parse("a/b/7").selections.at("a/b").levels, Levels::of(7));
}

TEST(TraceSelectionsByName, ThatAreMalformedLeaveTheOthers) {
    const auto read = SelectionsByName::parse("nothing A/8 /3 B/12 C/");
    EXPECT_EQ(read.selections.at("A").levels, Levels::of(8));
    ASSERT_EQ(read.problems.size(), 4u);
    EXPECT_EQ(read.problems[0], "'nothing' is not NAME/LEVELS");
    EXPECT_EQ(read.problems[1], "'/3' is not NAME/LEVELS");
    EXPECT_EQ(read.problems[2],
              "'B/12': trace levels '12': '12' is neither a level 0..9 nor a "
              "range such as 2-5");
    EXPECT_FALSE(read.selections.contains("B"));
}

TEST(TraceSelectionsByName, AreNoneInAnEmptyText) {
    EXPECT_TRUE(SelectionsByName::parse("").selections.empty());
    EXPECT_TRUE(SelectionsByName::parse(" ; ").problems.empty());
}

TEST(TraceSelection, HasAFilterBehindItsLevels) {
    EXPECT_EQ(Selection::parse("8").levels, Levels::of(8));
    EXPECT_EQ(Selection::parse("8").filter, Filter());
    const Selection some = Selection::parse("2,3@vlan=10,vrf=red/1,group=239.1.1.1");
    EXPECT_EQ(some.levels, Levels::of(2) | Levels::of(3));
    EXPECT_EQ(some.filter, Filter::parse("vlan=10,vrf=red/1,group=239.1.1.1"));
    EXPECT_EQ(SelectionsByName::parse("a/b/2,3@vlan=10,vrf=red/1 a/b/3@group=239.1.1.1")
                  .selections.at("a/b"),
              some);
}

TEST(TraceSelection, ThatIsMalformedIsRefusedWithTheWrongPart) {
    for (const char* condition : {"", "vlan", "vlan=", "vlan=ten", "vlan=65536", "vlan=-1",
                                  "vrf=", "group=10.0", "port=swp1", "vlan=10,", "=10"}) {
        try {
            Selection::parse(std::string("8@") + condition);
            FAIL() << condition;
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find("is neither vlan=0..65535 nor vrf=NAME nor "),
                      std::string::npos);
        }
    }
    EXPECT_THROW(Selection::parse("x@vlan=10"), std::invalid_argument);
}

TEST(TraceFilter, TakesWhatNamesOneOfItsValuesOfEachKind) {
    const Bridging::VlanId ten(10);
    const L3::VrfName red("red");
    const auto group = *Ondel::IpGenAddr::parse("239.1.1.1");
    EXPECT_TRUE(Filter().takes());
    EXPECT_TRUE(Filter().takes(ten, red));
    const Filter vlan = Filter::parse("vlan=10,vlan=20");
    EXPECT_TRUE(vlan.takes(red, ten));
    EXPECT_TRUE(vlan.takes(Bridging::VlanId::Optional(Bridging::VlanId(20))));
    EXPECT_TRUE(vlan.takes(std::uint16_t{20}));
    EXPECT_TRUE(vlan.takes(Trace::VlanNumber{20}));
    EXPECT_FALSE(vlan.takes(Trace::VlanNumber{30}));
    EXPECT_FALSE(vlan.takes(std::uint32_t{20})) << "as many of something";
    EXPECT_TRUE(vlan.takes(Ondel::IntfId("vlan10")));
    EXPECT_FALSE(vlan.takes());
    EXPECT_FALSE(vlan.takes(red, group));
    EXPECT_FALSE(vlan.takes(Bridging::VlanId(30)));
    EXPECT_FALSE(vlan.takes(Ondel::IntfId("vlan30")));
    EXPECT_FALSE(vlan.takes(Ondel::IntfId("mtunnel10")));
    const Filter both = Filter::parse("vrf=red,group=239.1.1.1");
    EXPECT_TRUE(both.takes(red, group));
    EXPECT_TRUE(both.takes(group, Routing::Gmp::Tessel::VrfApp{red, {}}));
    EXPECT_FALSE(both.takes(red));
    EXPECT_FALSE(both.takes(group, L3::VrfName("blue")));
    EXPECT_FALSE(both.takes(red, *Ondel::IpGenAddr::parse("239.1.1.2")));
}

TEST(TraceHandles, AreSwitchedAtRunTimeByOneText) {
    Handle& one = Handle::get("SwitchTest::one");
    one.levelsIs(Levels::all());
    Handle::selectionsAre("SwitchTest::two/8@vlan=10 SwitchTest::three/2");
    Handle& two = Handle::get("SwitchTest::two");
    EXPECT_EQ(one.levels(), Levels());
    EXPECT_EQ(two.levels(), Levels::of(8));
    EXPECT_TRUE(two.takes(Bridging::VlanId(10)));
    EXPECT_FALSE(two.takes(Bridging::VlanId(20)));
    EXPECT_THROW(Handle::selectionsAre("SwitchTest::one/8 junk"), std::invalid_argument);
    EXPECT_EQ(two.levels(), Levels::of(8));
    EXPECT_EQ(Handle::unknownNames(), std::vector<std::string>{"SwitchTest::three"});
    Handle::selectionsAre("");
    EXPECT_EQ(two.levels(), Levels());
    EXPECT_TRUE(two.takes(Bridging::VlanId(20)));
}

TEST(TraceHandles, WriteTheMessagesThatTheirFilterTakes) {
    Handle& handle = Handle::get("FilterTest::handle");
    handle.selectionIs(Selection::parse("8@vlan=10"));
    std::vector<std::string> texts;
    Trace::textSinkIs([&](const Trace::TextRecord& record) { texts.emplace_back(record.text); });
    for (const unsigned vlan : {10u, 20u}) {
        const Bridging::VlanId vlanId(vlan);
        TRACE(handle, 8, "f", "message {}", vlanId);
        TRACE_AS(handle, 8, "g", "message as {}", vlanId);
        TRACE_TEXT(handle, 8, "h", "text {}", vlanId);
    }
    TRACE(handle, 8, "f", "of no VLAN");
    Trace::textSinkIs({});
    handle.selectionIs({});
    EXPECT_EQ(texts, (std::vector<std::string>{"message 10", "message as 10", "text 10"}));
}

/// The variable is read once a process, so each of these looks at a process of its own, which runs
/// this program anew.
class TraceEnvironmentDeathTest : public testing::Test {
  protected:
    TraceEnvironmentDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    ~TraceEnvironmentDeathTest() override { unsetenv("IRBMC_TRACE"); }

    static int exitStatusFor(bool expected) { return expected ? 0 : 1; }
};

TEST_F(TraceEnvironmentDeathTest, EnablesTheLevelsThatItNames) {
    setenv("IRBMC_TRACE", "EnvA/2,3;EnvB/8", 1);
    EXPECT_EXIT(std::exit(exitStatusFor(Handle::get("EnvA").levels() == Levels::parse("2,3") &&
                                        Handle::get("EnvB").levels() == Levels::of(8) &&
                                        Handle::get("EnvC").levels() == Levels())),
                testing::ExitedWithCode(0), "^$");
}

TEST_F(TraceEnvironmentDeathTest, NamesTheHandlesThatNobodyHasAtTheEnd) {
    setenv("IRBMC_TRACE", "EnvA/2;EnvX/8 EnvY/1@vlan=10", 1);
    EXPECT_EXIT(std::exit(exitStatusFor(Handle::get("EnvA").levels() == Levels::of(2))),
                testing::ExitedWithCode(0),
                "^trace: IRBMC_TRACE names 'EnvX', a handle that nobody has\n"
                "trace: IRBMC_TRACE names 'EnvY', a handle that nobody has\n$");
}

TEST_F(TraceEnvironmentDeathTest, IsReportedOnceWhereItIsMalformedAndTheRestHolds) {
    setenv("IRBMC_TRACE", "EnvA/x EnvB/8 junk", 1);
    EXPECT_EXIT(std::exit(exitStatusFor(Handle::get("EnvA").levels() == Levels() &&
                                        Handle::get("EnvB").levels() == Levels::of(8))),
                testing::ExitedWithCode(0),
                "^trace: malformed in IRBMC_TRACE: 'EnvA/x': trace levels 'x': 'x' is neither a "
                "level 0..9 nor a range such as 2-5; 'junk' is not NAME/LEVELS\n$");
}

}  // namespace
