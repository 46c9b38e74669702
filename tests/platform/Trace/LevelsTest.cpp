#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "Trace/Handle.h"
#include "Trace/Levels.h"
#include "Trace/LevelsByName.h"

namespace {

using Trace::Handle;
using Trace::Levels;
using Trace::LevelsByName;

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

TEST(TraceLevelsByName, AreSeparatedByBlanksOrSemicolons) {
    const auto read = LevelsByName::parse(" A::B/2,3;C/8  D/0-9\t;");
    EXPECT_TRUE(read.problems.empty());
    ASSERT_EQ(read.levels.size(), 3u);
    EXPECT_EQ(read.levels.at("A::B"), Levels::parse("2,3"));
    EXPECT_EQ(read.levels.at("C"), Levels::of(8));
    EXPECT_EQ(read.levels.at("D"), Levels::all());
}

TEST(TraceLevelsByName, OfOneNameAddUp) {
    const auto read = LevelsByName::parse("A/2 A/3");
    EXPECT_EQ(read.levels.at("A"), Levels::parse("2,3"));
}

TEST(TraceLevelsByName, KeepTheSlashesOfAName) {
    EXPECT_EQ(LevelsByName::parse("a/b/7").levels.at("a/b"), Levels::of(7));
}

TEST(TraceLevelsByName, ThatAreMalformedLeaveTheOthers) {
    const auto read = LevelsByName::parse("nothing A/8 /3 B/12 C/");
    EXPECT_EQ(read.levels.at("A"), Levels::of(8));
    ASSERT_EQ(read.problems.size(), 4u);
    EXPECT_EQ(read.problems[0], "'nothing' is not NAME/LEVELS");
    EXPECT_EQ(read.problems[1], "'/3' is not NAME/LEVELS");
    EXPECT_EQ(read.problems[2],
              "'B/12': trace levels '12': '12' is neither a level 0..9 nor a "
              "range such as 2-5");
    EXPECT_FALSE(read.levels.contains("B"));
}

TEST(TraceLevelsByName, AreNoneInAnEmptyText) {
    EXPECT_TRUE(LevelsByName::parse("").levels.empty());
    EXPECT_TRUE(LevelsByName::parse(" ; ").problems.empty());
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

TEST_F(TraceEnvironmentDeathTest, IsReportedOnceWhereItIsMalformedAndTheRestHolds) {
    setenv("IRBMC_TRACE", "EnvA/x EnvB/8 junk", 1);
    EXPECT_EXIT(std::exit(exitStatusFor(Handle::get("EnvA").levels() == Levels() &&
                                        Handle::get("EnvB").levels() == Levels::of(8))),
                testing::ExitedWithCode(0),
                "^trace: malformed in IRBMC_TRACE: 'EnvA/x': trace levels 'x': 'x' is neither a "
                "level 0..9 nor a range such as 2-5; 'junk' is not NAME/LEVELS\n$");
}

}  // namespace
