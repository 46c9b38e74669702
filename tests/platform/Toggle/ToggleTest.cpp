#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "TemporaryDirectory.h"
#include "Toggle/FeatureToggle.h"
#include "Toggle/Toggle.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Toggle::FeatureToggle;
using Toggle::getToggleState;

/// A toggle directory of the test's own, and a process that has read no toggle.
class Toggles : public testing::Test {
  protected:
    Toggles() {
        Toggle::toggleDirectoryIs(directory_.path());
        Toggle::forget();
    }
    ~Toggles() override {
        Toggle::toggleDirectoryIs("");
        Toggle::forget();
    }

    void fileIs(const std::string& text) { std::ofstream(path()) << text; }
    std::string path() const { return directory_.file("T.json"); }

    /// The toggle's state in a file of that text, by default off and by default on; nothing may be
    /// reported.
    std::string stateIn(const std::string& text) {
        fileIs(text);
        testing::internal::CaptureStderr();
        const bool whenOff = getToggleState("T.json", "Wanted", false);
        const bool whenOn = getToggleState("T.json", "Wanted", true);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << text;
        if (whenOff == whenOn) return whenOn ? "on" : "off";
        return whenOn ? "default" : "neither";
    }

    /// What is reported of a file of that text, behind its path. The state must be the default.
    std::string reportOf(const std::string& text) {
        fileIs(text);
        return report();
    }
    std::string report() {
        Toggle::forget();
        testing::internal::CaptureStderr();
        EXPECT_TRUE(getToggleState("T.json", "Wanted", true));
        EXPECT_FALSE(getToggleState("T.json", "Wanted", false));
        const std::string text = testing::internal::GetCapturedStderr();
        const std::string begin = "toggles: " + path();
        const std::string end = "; 'Wanted' is on by default\n";
        if (!text.starts_with(begin) || !text.ends_with(end)) return "unexpected: " + text;
        return text.substr(begin.size(), text.size() - begin.size() - end.size());
    }

    const TemporaryDirectory directory_;
};

TEST_F(Toggles, AreWhatTheirFileSays) {
    EXPECT_EQ(stateIn(R"({"Wanted": true})"), "on");
    EXPECT_EQ(stateIn(R"({"Wanted": false})"), "off");
    EXPECT_EQ(stateIn(" \r\n\t{ \"Other\" : false ,\n\"Wanted\"\t:true } \n"), "on");
}

TEST_F(Toggles, AreTheDefaultWithoutTheirName) {
    EXPECT_EQ(stateIn("{}"), "default");
    EXPECT_EQ(stateIn(R"({"Other": true, "wanted": true})"), "default");
}

TEST_F(Toggles, AreTheDefaultWithoutTheirFile) {
    testing::internal::CaptureStderr();
    EXPECT_TRUE(getToggleState("Missing.json", "Wanted", true));
    EXPECT_FALSE(getToggleState("Missing.json", "Wanted", false));
    fileIs("{}");
    EXPECT_TRUE(getToggleState("T.json/Below.json", "Wanted", true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Toggles, AreReadPastOtherValuesOfEveryKind) {
    EXPECT_EQ(
        stateIn(
            R"({"a": null, "b": -1.5e+3, "b2": 1e-5, "c": "x", "d": [], "e": {}, "Wanted": true})"),
        "on");
    EXPECT_EQ(stateIn(R"({"a": [1, [2, {"Wanted": false}], 0, 0.25, 1E5, "]}"], "Wanted": true})"),
              "on");
    EXPECT_EQ(stateIn(R"({"a": {"Wanted": false, "b": {"c": [true, false]}}, "Wanted": true})"),
              "on");
    EXPECT_EQ(stateIn(R"({"a": {"Wanted": false}})"), "default");
}

TEST_F(Toggles, AreFoundHoweverTheirNameIsEscaped) {
    EXPECT_EQ(stateIn(R"({"W\u0061nt\u0065d": true})"), "on");
    EXPECT_EQ(stateIn(R"({"\"\\\/\b\f\n\r\t \uD83D\ude00": 1, "Wanted": true})"), "on");
    fileIs(R"({"\u00e9\u20AC\uFFFD\uD83D\ude00\/": true})");
    EXPECT_TRUE(
        getToggleState("T.json", "\xc3\xa9\xe2\x82\xac\xef\xbf\xbd\xf0\x9f\x98\x80/", false));
}

TEST_F(Toggles, WhoseValueIsNotTrueOrFalseAreReportedWithTheValue) {
    EXPECT_EQ(reportOf(R"({"Wanted": "yes"})"), ": the value \"yes\" is neither true nor false");
    EXPECT_EQ(reportOf(R"({"Wanted": 1})"), ": the value 1 is neither true nor false");
    EXPECT_EQ(reportOf(R"({"Wanted": null})"), ": the value null is neither true nor false");
    EXPECT_EQ(reportOf(R"({"Wanted": {"on": true}})"),
              ": the value {\"on\":true} is neither true nor false");
    EXPECT_EQ(reportOf("{\"Wanted\": \"" + std::string(100, 'y') + "\"}"),
              ": the value \"" + std::string(39, 'y') + "... is neither true nor false");
}

TEST_F(Toggles, OfAFileThatIsNoObjectAreReported) {
    EXPECT_EQ(reportOf("[true]"), ": the file is not one JSON object");
    EXPECT_EQ(reportOf("true"), ": the file is not one JSON object");
}

TEST_F(Toggles, OfAFileThatHasANameTwiceAreReported) {
    EXPECT_EQ(reportOf(R"({"Wanted": true, "Wanted": true})"), ": \"Wanted\" is there twice");
    EXPECT_EQ(stateIn(R"({"a": {"b": 1, "b": 2}, "Wanted": true})"), "on");
}

TEST_F(Toggles, OfAMalformedFileAreReportedWithTheLine) {
    EXPECT_THAT(reportOf(""), StartsWith(": line 1: syntax error"));
    EXPECT_THAT(reportOf("{\n\n\"Wanted\" true}"), StartsWith(": line 3: syntax error"));
    EXPECT_THAT(reportOf("{\"Wanted\": true\n\"b\": true}"), StartsWith(": line 2: syntax error"));
    EXPECT_THAT(reportOf("{\"Wanted\": true}\n{}"), StartsWith(": line 2: syntax error"));
    for (const char* text :
         {R"({"Wanted": true)", R"({"Wanted": true,})", R"({Wanted: true})", R"({"Wanted": })",
          R"({"Wanted":)", R"({"Wanted": True})", R"({"Wanted": truer})", R"({"Wanted)"}) {
        EXPECT_THAT(reportOf(text), StartsWith(": line 1: syntax error"));
    }
}

TEST_F(Toggles, OfAFileThatIsMalformedElsewhereAreReported) {
    for (const char* value : {"[1 2]", R"({"b" 1})", "01", "-", "1.", ".5", "1e", "1e+", "--1",
                              "+1", R"("a\x")", R"("\u12g4")", R"("\ud800")", R"("\ud800\u0041")",
                              R"("\udc00")", "\"a\tb\"", "\"\xff\""}) {
        EXPECT_THAT(reportOf(std::string(R"({"Wanted": true, "a": )") + value + "}"),
                    StartsWith(": line 1: syntax error"))
            << value;
    }
    EXPECT_THAT(reportOf(R"({"Wanted": true, "a": 1e999})"), StartsWith(": number overflow"));
}

TEST_F(Toggles, OfAFileAreReportedWithoutItsBytes) {
    EXPECT_THAT(reportOf("{\x1b[2J\x07"), AllOf(StartsWith(": line 1: syntax error"),
                                                Not(HasSubstr("\x1b")), Not(HasSubstr("\x07"))));
}

TEST_F(Toggles, OfAFileThatIsNestedTooDeepOrTooLongAreReported) {
    const auto nested = [](std::size_t depth) {
        return R"({"a": )" + std::string(depth, '[') + std::string(depth, ']') +
               R"(, "Wanted": true})";
    };
    EXPECT_EQ(stateIn(nested(31)), "on");
    EXPECT_EQ(reportOf(nested(32)), ": arrays and objects nested too deep");
    EXPECT_EQ(reportOf(nested(200'000)), ": arrays and objects nested too deep");
    const std::string longest = R"({"Wanted": true})" + std::string((1 << 20) - 16, ' ');
    EXPECT_EQ(stateIn(longest), "on");
    EXPECT_EQ(reportOf(longest + ' '), ": is over a mebibyte long");
}

TEST_F(Toggles, OfAFileThatCannotBeReadAreReported) {
    std::filesystem::create_directory(path());
    EXPECT_EQ(report(), ": is not a file");
    std::filesystem::remove(path());
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(report(), ": is not a file");
    std::filesystem::remove(path());
    std::filesystem::create_symlink("T.json", path());
    EXPECT_EQ(report(), ": cannot be read: Too many levels of symbolic links");
}

TEST_F(Toggles, OfAFileWhoseReadingFailsAreReported) {
    // The memory of this process, of which the first page can never be read.
    Toggle::toggleDirectoryIs("/proc/self");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(getToggleState("mem", "Wanted", true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "toggles: /proc/self/mem: cannot be read: Input/output error; 'Wanted' is on by "
              "default\n");
}

TEST_F(Toggles, AreReportedOnceForEachFile) {
    fileIs("1");
    std::ofstream(directory_.file("Second.json")) << "[]";
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) {
        getToggleState("T.json", "Wanted", true);
        getToggleState("T.json", "Other", false);
        getToggleState("Second.json", "Wanted", false);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "toggles: " + path() +
                  ": the file is not one JSON object; 'Wanted' is on by default\n" +
                  "toggles: " + directory_.file("Second.json") +
                  ": the file is not one JSON object; 'Wanted' is off by default\n");
}

TEST_F(Toggles, ComeFromTheDirectoryOfTheProcessTheEnvironmentOrTheDefault) {
    setenv("IRBMC_TOGGLE_DIR", "/somewhere/else", 1);
    EXPECT_EQ(Toggle::toggleDirectory(), directory_.path());
    Toggle::toggleDirectoryIs("");
    EXPECT_EQ(Toggle::toggleDirectory(), "/somewhere/else");
    setenv("IRBMC_TOGGLE_DIR", directory_.path().c_str(), 1);
    EXPECT_EQ(stateIn(R"({"Wanted": false})"), "off");
    setenv("IRBMC_TOGGLE_DIR", "", 1);
    EXPECT_EQ(Toggle::toggleDirectory(), "/etc/irbmc/toggles");
    unsetenv("IRBMC_TOGGLE_DIR");
    EXPECT_EQ(Toggle::toggleDirectory(), "/etc/irbmc/toggles");
}

class FeatureToggles : public Toggles {};

TEST_F(FeatureToggles, AreReadOnFirstUseAndThenKept) {
    FeatureToggle toggle("T.json", "Wanted", true);
    fileIs(R"({"Wanted": false})");
    EXPECT_FALSE(toggle.enabled());
    fileIs(R"({"Wanted": true})");
    EXPECT_FALSE(toggle.enabled());
}

TEST_F(FeatureToggles, AreTheDefaultWithoutAFile) {
    EXPECT_TRUE(FeatureToggle("T.json", "DefaultOn", true).enabled());
    EXPECT_FALSE(FeatureToggle("T.json", "DefaultOff", false).enabled());
}

TEST_F(FeatureToggles, OfOneNameShareTheirStateAlsoAfterTheFirstIsGone) {
    fileIs(R"({"Wanted": false})");
    EXPECT_FALSE(FeatureToggle("T.json", "Wanted", true).enabled());
    fileIs(R"({"Wanted": true})");
    EXPECT_FALSE(FeatureToggle("T.json", "Wanted", true).enabled());
}

TEST_F(FeatureToggles, AreKnownWhileTheyExist) {
    const std::vector<std::string> before = Toggle::knownNames();
    {
        const FeatureToggle second("T.json", "KnownB", true);
        const FeatureToggle first("T.json", "KnownA", true);
        const FeatureToggle again("T.json", "KnownA", true);
        EXPECT_EQ(Toggle::knownNames(), (std::vector<std::string>{"KnownA", "KnownB"}));
        EXPECT_TRUE(Toggle::isKnown("KnownA"));
        EXPECT_FALSE(Toggle::isKnown("KnownC"));
    }
    EXPECT_EQ(Toggle::knownNames(), before);
    EXPECT_FALSE(Toggle::isKnown("KnownA"));
}

TEST_F(FeatureToggles, AreWhatTheProcessSaysBeforeTheirFirstUse) {
    FeatureToggle toggle("T.json", "Wanted", true);
    fileIs(R"({"Wanted": true})");
    Toggle::overrideIs("Wanted", true);
    Toggle::overrideIs("Wanted", false);
    EXPECT_FALSE(toggle.enabled());
}

TEST_F(FeatureToggles, OfNoKnownNameCannotBeSet) {
    try {
        Toggle::overrideIs("Unknown", true);
        FAIL() << "set";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "no toggle has the name 'Unknown'");
    }
}

TEST_F(FeatureToggles, ThatAreInUseCannotBeSetAndStayWhatTheyWere) {
    FeatureToggle toggle("T.json", "Wanted", true);
    EXPECT_TRUE(toggle.enabled());
    EXPECT_THROW(Toggle::overrideIs("Wanted", false), std::logic_error);
    EXPECT_TRUE(toggle.enabled());
}

TEST_F(FeatureToggles, AreReadAnewOnceTheyAreForgotten) {
    FeatureToggle one("T.json", "One", true);
    FeatureToggle two("T.json", "Two", true);
    for (const bool first : {false, true}) {
        for (const bool second : {false, true}) {
            Toggle::overrideIs("One", first);
            Toggle::overrideIs("Two", second);
            EXPECT_EQ(one.enabled(), first);
            EXPECT_EQ(two.enabled(), second);
            Toggle::forget();
        }
    }
    fileIs(R"({"One": false})");
    EXPECT_FALSE(one.enabled());
    EXPECT_TRUE(two.enabled());
}

TEST_F(FeatureToggles, AreReadOnceByManyThreads) {
    FeatureToggle toggle("T.json", "Wanted", true);
    fileIs("1");
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&toggle] { EXPECT_TRUE(toggle.enabled()); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "toggles: " + path() + ": the file is not one JSON object; 'Wanted' is on by default\n");
}

TEST_F(Toggles, ANameInItsFileThatNoToggleHasIsReportedOnce) {
    FeatureToggle wanted("T.json", "Wanted", true);
    fileIs(R"({"Wnated": false, "Wanted": false})");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(wanted.enabled());
    Toggle::reportUnknownNames("T.json");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "toggles: " + path() + ": 'Wnated' is the name of no toggle\n");
}

TEST_F(Toggles, ANameThatCannotBeReadIsReportedByWhoAskedForItsState) {
    FeatureToggle wanted("T.json", "Wanted", true);
    fileIs("{");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(wanted.enabled());
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
}

TEST_F(Toggles, ANamedDirectoryThatIsNotThereIsReportedOnce) {
    const std::string nowhere = directory_.file("nowhere");
    Toggle::toggleDirectoryIs(nowhere);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(getToggleState("T.json", "Wanted", true));
    EXPECT_TRUE(getToggleState("U.json", "Other", true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "toggles: " + nowhere + ": there is no such directory of toggles\n");
    testing::internal::CaptureStderr();
    Toggle::toggleDirectoryIs(directory_.path());
    EXPECT_TRUE(getToggleState("T.json", "Wanted", true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
