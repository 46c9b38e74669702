// The table in a directory as another process sees it, while its writer runs and after it died.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "irbmc/Command/Run.h"

namespace {

using testing::HasSubstr;

std::string written(const std::string& vrf, const std::string& intf, const std::string& source,
                    const std::string& group, const std::string& mode) {
    return R"({"op":"table.set","vrf":")" + vrf + R"(","intf":")" + intf + R"(","source":")" +
           source + R"(","group":")" + group + R"(","mode":")" + mode + "\"}\n";
}

/// A table with four memberships in two statuses, and an empty status.
class Show : public testing::Test {
  protected:
    Show() {
        const std::string recording =
            written("red", "vlan10", "10.0.0.1", "239.1.1.1", "include") +
            written("red", "vlan10", "0.0.0.0", "239.1.1.1", "include") +
            written("red", "vlan200", "::", "ff3e::1", "include") +
            written("blue", "vlan10", "10.0.0.1", "239.1.1.2", "exclude") +
            R"({"op":"table.status","vrf":"green","app":2})";
        EXPECT_EQ(replay(recording, {"--table", table()}).status, 0);
    }

    std::string table() const { return folder_.path() / "gmp"; }

    Result show(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"show", table()});
        return runIrbmc(options);
    }

    /// What it prints, without the last line.
    std::string rows(const std::vector<std::string>& options = {}) const {
        const std::string text = show(options).out;
        return text.substr(0, text.rfind('\n', text.size() - 2) + 1);
    }
    /// The last line.
    std::string last(const std::vector<std::string>& options = {}) const {
        return show(options).out.substr(rows(options).size());
    }

  private:
    TemporaryFolder folder_;
};

const std::string titles = "  VRF   APPLICATION  VLAN INTERFACE  SOURCE    GROUP      MODE\n";

TEST_F(Show, GivesTheMembershipsInColumns) {
    const Result result = show();
    EXPECT_EQ(rows(), titles +
                          "  blue  irb          vlan10          10.0.0.1  239.1.1.2  exclude\n"
                          "  red   irb          vlan10          *         239.1.1.1  include\n"
                          "  red   irb          vlan10          10.0.0.1  239.1.1.1  include\n"
                          "  red   irb          vlan200         *         ff3e::1    include\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Show, GivesOnlyWhatTheFiltersTake) {
    EXPECT_EQ(rows({"--vrf", "blue"}),
              titles + "  blue  irb          vlan10          10.0.0.1  239.1.1.2  exclude\n");
    EXPECT_EQ(rows({"--vlan", "200"}),
              "  VRF  APPLICATION  VLAN INTERFACE  SOURCE  GROUP    MODE\n"
              "  red  irb          vlan200         *       ff3e::1  include\n");
    EXPECT_EQ(rows({"--group", "239.1.1.2"}),
              titles + "  blue  irb          vlan10          10.0.0.1  239.1.1.2  exclude\n");
    EXPECT_EQ(rows({"--vrf", "red", "--group", "239.1.1.2"}),
              "  VRF  APPLICATION  VLAN INTERFACE  SOURCE  GROUP  MODE\n");
}

TEST_F(Show, FiltersBySourceModeAndApplication) {
    EXPECT_EQ(rows({"--source", "*", "--vrf", "red", "--vlan", "10"}),
              "  VRF  APPLICATION  VLAN INTERFACE  SOURCE  GROUP      MODE\n"
              "  red  irb          vlan10          *       239.1.1.1  include\n");
    EXPECT_EQ(rows({"--source", "::"}),
              "  VRF  APPLICATION  VLAN INTERFACE  SOURCE  GROUP      MODE\n"
              "  red  irb          vlan10          *       239.1.1.1  include\n"
              "  red  irb          vlan200         *       ff3e::1    include\n");
    const std::string excluded =
        titles + "  blue  irb          vlan10          10.0.0.1  239.1.1.2  exclude\n";
    EXPECT_EQ(rows({"--mode", "exclude"}), excluded);
    EXPECT_EQ(rows({"--source", "10.0.0.1", "--group", "239.1.1.2", "--app", "irb"}), excluded);
    EXPECT_EQ(rows({"--app", "1", "--vrf", "blue"}), excluded);
    EXPECT_THAT(last({"--app", "gmp"}), testing::StartsWith("1 status, 0 memberships; "));
}

TEST_F(Show, SaysLastWhoWritesTheTableAndHowLongItIs) {
    const std::string kib =
        std::to_string(std::filesystem::file_size(table() + "/table") / 1024) + " KiB; ";
    EXPECT_EQ(last(), "3 statuses, 4 memberships; " + kib + "its writer is gone\n");
    RunningIrbmc writer({"replay", "--json", "--table", table(), "-"});
    writer.write(R"({"op":"table.status","vrf":"green","app":2})"
                 "\n");
    writer.readLine();
    const std::string process = std::to_string(writer.process());
    EXPECT_EQ(last(), "3 statuses, 4 memberships; " + kib + "written by process " + process + "\n");
    EXPECT_THAT(show({"--json"}).out,
                testing::EndsWith(R"(,"writer":"alive","writerProcess":)" + process + "}\n"));
}

TEST_F(Show, HasColoursWhenTold) {
    EXPECT_EQ(show().out.find('\x1b'), std::string::npos);
    EXPECT_EQ(show({"--color", "never"}).out.find('\x1b'), std::string::npos);
    EXPECT_THAT(show({"--color", "always"}).out, testing::StartsWith("\x1b[1m  VRF"));
}

TEST_F(Show, GivesProgramsOneObject) {
    const std::string bytes = std::to_string(std::filesystem::file_size(table() + "/table"));
    EXPECT_EQ(
        show({"--json", "--vrf", "red", "--vlan", "10"}).out,
        R"({"schemaVersion":1,"statuses":[{"name":"red.irb","vrf":"red","app":1,)"
        R"("appName":"irb","memberships":[{"intf":"vlan10","source":"0.0.0.0","group":"239.1.1.1",)"
        R"("mode":"include"},{"intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1",)"
        R"("mode":"include"}]}],"damage":[],"bytes":)" +
            bytes + R"(,"writer":"gone"})" + "\n");
    EXPECT_EQ(show({"--json", "--vrf", "green"}).out,
              R"({"schemaVersion":1,"statuses":[{"name":"green.gmp","vrf":"green","app":2,)"
              R"("appName":"gmp","memberships":[]}],"damage":[],"bytes":)" +
                  bytes + R"(,"writer":"gone"})" + "\n");
}

TEST_F(Show, LeavesTheTableToTheNextReplay) {
    const Result result = replay(R"({"op":"table.del","vrf":"blue","intf":"vlan10",)"
                                 R"("source":"10.0.0.1","group":"239.1.1.2"})",
                                 {"--table", table()});
    EXPECT_THAT(result.out, HasSubstr("- blue.irb  vlan10  (10.0.0.1, 239.1.1.2)  exclude\n"));
    EXPECT_EQ(rows({"--vlan", "10"}),
              "  VRF  APPLICATION  VLAN INTERFACE  SOURCE    GROUP      MODE\n"
              "  red  irb          vlan10          *         239.1.1.1  include\n"
              "  red  irb          vlan10          10.0.0.1  239.1.1.1  include\n");
}

TEST_F(Show, ReadsWhileTheWriterRunsAndAfterItWasKilled) {
    RunningIrbmc writer({"replay", "--json", "--table", table(), "-"});
    writer.write(written("red", "vlan30", "10.0.0.1", "239.1.1.1", "include"));
    writer.readLine();
    const std::string seen =
        "  VRF  APPLICATION  VLAN INTERFACE  SOURCE    GROUP      MODE\n"
        "  red  irb          vlan30          10.0.0.1  239.1.1.1  include\n";
    EXPECT_EQ(rows({"--vlan", "30"}), seen);
    const Result second = replay("", {"--table", table()});
    EXPECT_EQ(second.status, 2);
    EXPECT_THAT(second.err, HasSubstr(table()));
    writer.kill();
    EXPECT_EQ(rows({"--vlan", "30"}), seen);
    EXPECT_EQ(replay("", {"--table", table()}).status, 0);
}

TEST_F(Show, KeepsWhatAMachineHadWrittenWhenItsRecordingEnds) {
    const std::string join = R"({"op":"l3.set","intf":"vlan40","vrf":"red"}
{"op":"start","app":7}
{"op":"join","vlan":40,"group":"239.1.1.1","source":"10.0.0.1","intf":"swp1"})";
    EXPECT_EQ(replay(join, {"--table", table()}).status, 0);
    EXPECT_EQ(rows({"--vlan", "40"}),
              "  VRF  APPLICATION  VLAN INTERFACE  SOURCE    GROUP      MODE\n"
              "  red  app7         vlan40          10.0.0.1  239.1.1.1  include\n");
}

/// The lines of the table, then the line of each change, without its time. One writer has the table
/// all along: to a reader that sleeps through the life of another, only the whole table is given.
TEST_F(Show, FollowsTheChangesAsTheyHappen) {
    RunningIrbmc writer({"replay", "--json", "--table", table(), "-"});
    writer.write(written("red", "vlan30", "10.0.0.1", "239.1.1.1", "include"));
    writer.readLine();
    RunningIrbmc watcher({"show", table(), "--watch", "--vlan", "10", "--vrf", "red"});
    EXPECT_THAT(watcher.readLine(), HasSubstr("VRF"));
    EXPECT_THAT(watcher.readLine(), HasSubstr("vlan10"));
    EXPECT_THAT(watcher.readLine(), HasSubstr("vlan10"));
    EXPECT_THAT(watcher.readLine(), testing::StartsWith("1 status, 2 memberships; "));
    writer.write(written("red", "vlan30", "10.0.0.2", "239.1.1.1", "include") +
                 written("red", "vlan10", "10.0.0.9", "239.1.1.1", "include") +
                 written("red", "vlan10", "10.0.0.9", "239.1.1.1", "exclude") +
                 R"({"op":"table.del","vrf":"red","intf":"vlan10","source":"10.0.0.9",)"
                 R"("group":"239.1.1.1"})"
                 "\n");
    for (const char* change : {"+ red.irb  vlan10  (10.0.0.9, 239.1.1.1)  include",
                               "~ red.irb  vlan10  (10.0.0.9, 239.1.1.1)  exclude",
                               "- red.irb  vlan10  (10.0.0.9, 239.1.1.1)  exclude"}) {
        EXPECT_EQ(watcher.readLine().substr(std::string("2026-11-21T00:00:00.000Z  ").size()),
                  change);
    }
}

TEST_F(Show, GivesProgramsEachChangeAsAnObject) {
    RunningIrbmc writer({"replay", "--json", "--table", table(), "-"});
    writer.write(R"({"op":"table.status","vrf":"red"})"
                 "\n");
    writer.readLine();
    RunningIrbmc watcher({"show", table(), "--watch", "--json", "--vrf", "new"});
    watcher.readLine();
    writer.write(written("new", "vlan10", "::", "ff3e::1", "include"));
    const std::string begin = R"({"schemaVersion":1,"t":)";
    EXPECT_THAT(
        watcher.readLine(),
        testing::AllOf(
            testing::StartsWith(begin),
            testing::EndsWith(R"(,"change":"statusAdded","vrf":"new","app":1,"appName":"irb"})")));
    EXPECT_THAT(
        watcher.readLine(),
        testing::AllOf(testing::StartsWith(begin),
                       testing::EndsWith(R"(,"change":"added","vrf":"new","app":1,"appName":"irb",)"
                                         R"("intf":"vlan10","source":"::",)"
                                         R"("group":"ff3e::1","mode":"include"})")));
}

TEST_F(Show, SaysThatThereIsNoTable) {
    const Result result = runIrbmc({"show", "/nowhere/gmp"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, testing::AllOf(testing::StartsWith("irbmc: /nowhere/gmp"),
                                           HasSubstr("No such file or directory")));
}

TEST_F(Show, RefusesAForeignFileAndNamesIt) {
    const std::string file = table() + "/table";
    std::filesystem::remove(file);
    std::filesystem::copy_file(IRBMC_EXAMPLES "/lab.jsonl", file);
    const Result result = show();
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, testing::StartsWith("irbmc: " + file + ": "));
    EXPECT_EQ(replay("", {"--table", table()}).status, 2);
}

using Check = Show;

TEST_F(Check, FindsNoFaultInASoundTable) {
    const Result result = runIrbmc({"check", table()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, table() + ": no fault in 3 statuses, 4 memberships\n");
}

TEST_F(Check, NamesEveryFaultOfADamagedTable) {
    const std::string file = table() + "/table";
    std::string bytes;
    {
        std::ifstream in(file, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    const auto name = bytes.find("green");
    ASSERT_NE(name, std::string::npos);
    bytes[name] = 'G';
    std::ofstream(file, std::ios::binary) << bytes;
    const Result result = runIrbmc({"check", table()});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr(file));
    EXPECT_EQ(show({"--vrf", "red"}).status, 1);
}

TEST_F(Check, CallsAForeignFileAFault) {
    const std::string file = table() + "/table";
    std::filesystem::resize_file(file, 100);
    const Result result = runIrbmc({"check", table()});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, testing::StartsWith(file + ": "));
    EXPECT_EQ(runIrbmc({"check", "/nowhere/gmp"}).status, 2);
}

}  // namespace
