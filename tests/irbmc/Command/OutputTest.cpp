// Where a report goes: terminals, pipes that close, full disks; how much memory it takes; and what
// the environment says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "irbmc/Command/Run.h"

namespace {

const std::string join =
    R"({"op":"join","vlan":10,"group":"239.1.1.1","source":"10.0.0.1","intf":"swp1"})"
    "\n";
const std::string recording = R"({"op":"l3.set","intf":"vlan10","vrf":"red"}
{"op":"start"}
)" + join;
const std::string green = "\x1b[32m+ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include\x1b[0m";

/// What a shell command that runs the command `$IRBMC` leaves on its standard error, and its exit
/// status.
Result shell(const std::string& command) {
    const TemporaryFolder folder;
    const std::string errors = (folder.path() / "err").string();
    const std::string line = "IRBMC='" IRBMC_BINARY "'; { " + command + "\n} 2>'" + errors + "'";
    const int status = std::system(line.c_str());  // NOLINT(cert-env33-c): a test's own command
    std::ifstream in(errors);
    return {WEXITSTATUS(status), "", {std::istreambuf_iterator<char>(in), {}}};
}

/// What the command writes to a terminal, with an environment variable set.
std::string writtenToATerminal(const std::string& file, const char* name, const char* value) {
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        ::setenv(name, value, 1);
        ::execl(IRBMC_BINARY, IRBMC_BINARY, "replay", file.c_str(), nullptr);
        ::_exit(127);
    }
    std::string text;
    char bytes[4096];
    // Reading fails once the command has closed the terminal.
    for (ssize_t count = 0; (count = ::read(terminal, bytes, sizeof bytes)) > 0;)
        text.append(bytes, static_cast<std::size_t>(count));
    ::close(terminal);
    ::waitpid(child, nullptr, 0);
    return text;
}

TEST(Output, HasColoursOnATerminalUnlessTheEnvironmentForbidsThem) {
    const TemporaryFolder folder;
    const std::string file = folder.file("lab.jsonl", recording);
    EXPECT_THAT(writtenToATerminal(file, "NO_COLOR", ""), testing::HasSubstr(green));
    EXPECT_THAT(writtenToATerminal(file, "TERM", "xterm"), testing::HasSubstr(green));
    for (const auto& [name, value] : {std::pair("NO_COLOR", "1"), std::pair("TERM", "dumb")}) {
        const std::string plain = writtenToATerminal(file, name, value);
        EXPECT_THAT(plain, testing::HasSubstr("+ red.irb"));
        EXPECT_EQ(plain.find('\x1b'), std::string::npos);
    }
}

TEST(Output, HasColoursInAPipeOnlyWhenTold) {
    EXPECT_EQ(replay(recording).out.find('\x1b'), std::string::npos);
    EXPECT_EQ(replay(recording, {"--color", "never"}).out.find('\x1b'), std::string::npos);
    EXPECT_THAT(replay(recording, {"--color", "always"}).out, testing::HasSubstr(green));
}

TEST(Output, ThatCannotBeWrittenEndsWithStatusTwoAndAMessage) {
    const Result full = shell("$IRBMC replay - </dev/null >/dev/full");
    EXPECT_EQ(full.status, 2);
    EXPECT_EQ(full.err, "irbmc: cannot write the output: No space left on device\n");
    const Result help = shell("$IRBMC --help >/dev/full");
    EXPECT_EQ(help.status, 2);
    EXPECT_EQ(help.err, "irbmc: cannot write the output: No space left on device\n");
}

TEST(Output, ToAStreamThatIsClosedGoesIntoNoFile) {
    const TemporaryFolder folder;
    const std::string table = folder.path() / "gmp";
    const Result closed = shell("echo | $IRBMC replay --table '" + table + "' - >&-");
    EXPECT_EQ(closed.status, 2);
    EXPECT_EQ(closed.err, "irbmc: cannot write the output: Bad file descriptor\n");
    EXPECT_EQ(shell("echo x | $IRBMC replay --table '" + table + "' - >/dev/null 2>&-").status, 2);
    EXPECT_EQ(shell("$IRBMC replay - <&- >/dev/null").err,
              "-: cannot be read: Bad file descriptor\n");
    for (const auto& entry : std::filesystem::directory_iterator(table)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(in), {});
        EXPECT_THAT(content, testing::Not(testing::AnyOf(testing::HasSubstr("Replaying"),
                                                         testing::HasSubstr("malformed"))))
            << entry.path();
    }
}

TEST(Output, ThatNobodyReadsAnyMoreEndsWithStatusTwoAndInSilence) {
    const Result closed = shell(
        "{ yes '{\"op\":\"reap\"}' | sed '1s/reap/start/' | $IRBMC replay -; echo $? >&2; } "
        "| head -1 >/dev/null");
    EXPECT_EQ(closed.err, "2\n");
}

TEST(Environment, NamesTheLibraryUnlessTheCommandLineDoes) {
    EXPECT_THAT(shell("IRBMC_LIBRARY=/nowhere/a.so $IRBMC replay - </dev/null").err,
                testing::HasSubstr("/nowhere/a.so"));
    EXPECT_THAT(shell("IRBMC_LIBRARY=/nowhere/a.so $IRBMC replay --library /nowhere/b.so - "
                      "</dev/null")
                    .err,
                testing::HasSubstr("/nowhere/b.so"));
    EXPECT_EQ(shell("IRBMC_LIBRARY= $IRBMC replay - </dev/null >/dev/null").status, 0);
}

TEST(Environment, HasTheMachineTraceToStandardError) {
    EXPECT_THAT(shell("echo '{\"op\":\"start\"}' | "
                      "IRBMC_TRACE=Pim::MembershipJoinStatusSm/8 $IRBMC replay - >/dev/null")
                    .err,
                testing::EndsWith(" Pim::MembershipJoinStatusSm/8 handleInitialized | "
                                  "handleInitialized: default\n"));
}

/// Replays these lines so many times, and waits until they are.
void repeat(RunningIrbmc& irbmc, const std::vector<std::string>& lines, int times) {
    for (int i = 0; i < times; ++i) {
        for (const std::string& line : lines) {
            irbmc.write(line);
            irbmc.readLine();
        }
    }
}

TEST(Memory, DoesNotGrowWithTheLengthOfARecording) {
    if (std::string_view(IRBMC_SANITIZERS).find("address") != std::string_view::npos) {
        GTEST_SKIP() << "the address sanitizer keeps what was freed";
    }
    const std::string fields = R"("vlan":10,"group":"239.1.1.1","source":"10.0.0.1")";
    const std::string leave = R"({"op":"leave","intf":"swp1",)" + fields + "}\n";
    const std::string damage = R"({"op":"set.corrupt","set":"include",)" + fields + "}\n";
    const std::string abandon = "{\"op\":\"abandon\"}\n";
    const std::string start = "{\"op\":\"start\"}\n";
    RunningIrbmc irbmc({"replay", "--json", "-"});
    repeat(irbmc,
           {R"({"op":"l3.set","intf":"vlan10","vrf":"red"})"
            "\n",
            start},
           1);
    // Until the ring of the latest trace records, which is of fixed size, is full.
    repeat(irbmc, {join, leave}, 1000);
    repeat(irbmc, {join, damage, abandon, leave, start}, 20);
    const long before = irbmc.residentKb();
    repeat(irbmc, {join, damage, abandon, leave, start}, 100);
    repeat(irbmc, {join, leave}, 1000);
    EXPECT_LE(irbmc.residentKb(), before + 100);
}

}  // namespace
