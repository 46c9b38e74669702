// What the computer, the system or the recording cannot do is never passed over in silence.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "irbmc/Command/Run.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string start = R"({"op":"start"})"
                          "\n";
const std::string bound = R"({"op":"l3.set","intf":"vlan10","vrf":"red"})"
                          "\n" +
                          start;

std::string join(int host, const std::string& group = "239.1.1.1") {
    return R"({"op":"join","vlan":10,"group":")" + group + R"(","intf":"swp1","source":"10.0.)" +
           std::to_string(host / 250) + "." + std::to_string(host % 250 + 1) + "\"}\n";
}

/// Both ends of a pipe; one of them does not block.
class NonBlockingPipe {
  public:
    explicit NonBlockingPipe(std::size_t end) {
        EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0);
        ::fcntl(ends_[end], F_SETFL, O_NONBLOCK);
        ::fcntl(ends_[0], F_SETPIPE_SZ, 4096);
    }
    NonBlockingPipe(const NonBlockingPipe&) = delete;
    NonBlockingPipe& operator=(const NonBlockingPipe&) = delete;
    ~NonBlockingPipe() {
        close(0);
        close(1);
    }

    int end(std::size_t which) const { return ends_[which]; }
    void close(std::size_t which) {
        if (ends_[which] >= 0) ::close(ends_[which]);
        ends_[which] = -1;
    }

  private:
    std::array<int, 2> ends_{-1, -1};
};

/// What comes out of a pipe, slowly enough that it is full all the time.
std::string readSlowly(int descriptor) {
    std::string text;
    char bytes[512];
    for (ssize_t count = 0; (count = ::read(descriptor, bytes, sizeof bytes)) > 0;)
        text.append(bytes, static_cast<std::size_t>(count));
    return text;
}

class FullDisk : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(FullDisk, EndsAReplayWithStatusTwoOneLineAndTheReportUpToThere) {
    const TemporaryFolder folder;
    const std::string table = folder.path() / "gmp";
    // A table that is made with little room is small.
    ASSERT_EQ(runIrbmc({"replay", "--table", table, "-"}, "", Limit{RLIMIT_FSIZE, 7 << 20}).status,
              0);
    std::string recording = bound;
    for (int host = 0; host < 5000; ++host)
        recording += join(host);
    const std::string file = folder.file("many.jsonl", recording);
    std::vector<std::string> arguments = GetParam();
    arguments.insert(arguments.begin(), "replay");
    arguments.insert(arguments.end(), {"--table", table, file});
    const auto limit = std::filesystem::file_size(table + "/table") + (std::size_t{64} << 10);
    // Pipes, since the report must not meet the limit.
    NonBlockingPipe out(1);
    NonBlockingPipe err(1);
    const pid_t command =
        startIrbmc(arguments, STDIN_FILENO, out.end(1), err.end(1), Limit{RLIMIT_FSIZE, limit});
    out.close(1);
    err.close(1);
    const std::string report = readSlowly(out.end(0));
    const std::string told = readSlowly(err.end(0));
    EXPECT_EQ(statusOf(command), 2);
    EXPECT_THAT(told, AllOf(StartsWith(file + ":"), HasSubstr(": " + table + "/table: "),
                            HasSubstr("File too large")));
    EXPECT_EQ(told.find('\n'), told.size() - 1) << "more than one line";
    EXPECT_THAT(report, HasSubstr("239.1.1.1"));
    EXPECT_THAT(report, Not(HasSubstr("refused:")));
}

INSTANTIATE_TEST_SUITE_P(InEveryMode, FullDisk,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"--quiet"},
                                         std::vector<std::string>{"--json"},
                                         std::vector<std::string>{"--json", "--quiet"},
                                         std::vector<std::string>{"--strict"}));

class NoMemory : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(NoMemory, EndsAReplayWithStatusTwoOneLineAndTheReportUpToThere) {
    if (std::string(IRBMC_SANITIZERS) != "") GTEST_SKIP() << "sanitizers need address space";
    const TemporaryFolder folder;
    std::string recording = bound;
    for (int host = 0; host < 60000; ++host)
        recording += join(host, "239.2." + std::to_string(host / 250) + ".1");
    const std::string file = folder.file("many.jsonl", recording);
    std::vector<std::string> arguments{"replay", file};
    arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
    for (const rlim_t megabytes : {rlim_t{16}, rlim_t{40}}) {
        const Result result = runIrbmc(arguments, "", Limit{RLIMIT_AS, megabytes << 20});
        EXPECT_EQ(result.status, 2) << megabytes;
        EXPECT_THAT(result.err, StartsWith(file + ":")) << megabytes;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        if (GetParam().empty()) {
            EXPECT_THAT(result.out, HasSubstr("239.2.0.1"));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InEveryMode, NoMemory,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"--quiet"},
                                         std::vector<std::string>{"--json"}));

TEST(NoDescriptors, EndAReplayWithStatusTwoAndWhatCouldNotBeOpened) {
    if (std::string(IRBMC_SANITIZERS) != "")
        GTEST_SKIP() << "a sanitizer looks at memory through a pipe, which needs two";
    const TemporaryFolder folder;
    const std::string file = folder.file(
        "abandoned.jsonl", bound + join(1) + "{\"op\":\"abandon\"}\n" + start + join(2));
    int failures = 0;
    Result result;
    // One more each time, until they are enough.
    for (rlim_t most = 3; most < 64; ++most) {
        const std::string table = folder.path() / ("gmp" + std::to_string(most));
        result = runIrbmc({"replay", "--table", table, file}, "", Limit{RLIMIT_NOFILE, most});
        if (result.status == 0) break;
        if (result.status == 127) continue;  // too few to load its libraries
        ++failures;
        EXPECT_EQ(result.status, 2) << most;
        EXPECT_THAT(result.err, EndsWith(": Too many open files\n")) << most;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_EQ(result.status, 0);
    EXPECT_GT(failures, 1);
}

TEST(Failure, OfTheDirectoryOfATableIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.file("file", "");
    const Result result = replay(start, {"--table", file + "/gmp"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, AllOf(StartsWith("irbmc: " + file + "/gmp"), EndsWith("\n")));
}

const std::string refused = bound + R"({"op":"l3.set","intf":"vlan0","vrf":"red"})" + "\n" +
                            R"({"op":"vlan.set","vlan":4095})" + "\n" + join(1);
const std::string whatWasRefused =
    "-: 2 of 5 events were refused, the first at -:3: "
    "Bridging::VlanId::value < 1 or > 4094 not allowed\n";

TEST(RefusedEvents, AreCountedAndToldInEveryMode) {
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
             {}, {"--quiet"}, {"--json"}, {"--json", "--quiet"}}) {
        const Result result = replay(refused, options);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, whatWasRefused) << testing::PrintToString(options);
        if (options.empty()) {
            EXPECT_THAT(result.out, HasSubstr("; 2 events refused"));
        }
        if (result.out.find("\"final\"") != std::string::npos) {
            EXPECT_THAT(result.out, HasSubstr(R"("unmet":0,"refused":2,)"));
        }
    }
    EXPECT_EQ(replay(bound + R"({"op":"vlan.set","vlan":0})", {"--quiet"}).err,
              "-: 1 of 3 events was refused, at -:3: "
              "Bridging::VlanId::value < 1 or > 4094 not allowed\n");
}

TEST(RefusedEvents, EndAStrictReplayWithStatusOne) {
    const Result result = replay(refused, {"--strict"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "-: 1 of 3 events was refused, at -:3: "
              "Bridging::VlanId::value < 1 or > 4094 not allowed\n");
    EXPECT_THAT(result.out, AllOf(HasSubstr("GMP status table: 0 statuses"), HasSubstr("3 events"),
                                  Not(HasSubstr("239.1.1.1"))));
    EXPECT_EQ(replay(bound + join(1), {"--strict"}).status, 0);
}

TEST(RecordingWithoutAStart, IsHintedAt) {
    const std::string hint =
        "-: hint: no state machine ran: an event {\"op\":\"start\"} starts one\n";
    for (const char* mode : {"--json", "--quiet"})
        EXPECT_EQ(replay(join(1), {mode}).err, hint);
    EXPECT_EQ(replay(join(1) + start).err, "");
    EXPECT_EQ(replay(R"({"op":"table.status","vrf":"red"})").err, "");
    EXPECT_EQ(replay("").err, "");
}

TEST(NonBlockingOutput, GetsTheWholeReport) {
    const TemporaryFolder folder;
    std::string recording = bound;
    for (int host = 0; host < 2000; ++host)
        recording += join(host);
    const std::string file = folder.file("many.jsonl", recording);
    NonBlockingPipe pipe(1);
    const pid_t command = startIrbmc({"replay", file}, STDIN_FILENO, pipe.end(1), STDERR_FILENO);
    pipe.close(1);
    EXPECT_TRUE(readSlowly(pipe.end(0)) == runIrbmc({"replay", file}).out);
    EXPECT_EQ(statusOf(command), 0);
}

TEST(NonBlockingErrors, AreAllTold) {
    const TemporaryFolder folder;
    std::string recording;
    for (int i = 0; i < 2000; ++i)
        recording += R"({"op":"expect","table":[{"vrf":"red","intf":"vlan10","source":"*",)"
                     R"("group":"239.1.1.1","mode":"include"}]})"
                     "\n";
    const std::string file = folder.file("many.jsonl", recording);
    NonBlockingPipe pipe(1);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t command =
        startIrbmc({"replay", "--quiet", file}, STDIN_FILENO, nowhere, pipe.end(1));
    ::close(nowhere);
    pipe.close(1);
    EXPECT_TRUE(readSlowly(pipe.end(0)) == runIrbmc({"replay", "--quiet", file}).err);
    EXPECT_EQ(statusOf(command), 1);
}

TEST(NonBlockingInput, IsReadToItsEnd) {
    NonBlockingPipe in(0);
    NonBlockingPipe out(0);
    ::fcntl(out.end(0), F_SETFL, 0);
    const pid_t command =
        startIrbmc({"replay", "--json", "-"}, in.end(0), out.end(1), STDERR_FILENO);
    out.close(1);
    char byte = 0;
    for (const std::string& line : {bound, join(1)}) {
        EXPECT_EQ(::write(in.end(1), line.data(), line.size()), static_cast<ssize_t>(line.size()));
        // Its report arrives while the recording is not at its end.
        EXPECT_EQ(::read(out.end(0), &byte, 1), 1);
    }
    in.close(1);
    EXPECT_THAT(readSlowly(out.end(0)), HasSubstr(R"("events":3)"));
    EXPECT_EQ(statusOf(command), 0);
}

class Watch : public testing::Test {
  protected:
    Watch() { EXPECT_EQ(replay(written("red"), {"--table", table()}).status, 0); }

    static std::string written(const std::string& vrf) {
        return R"({"op":"table.set","vrf":")" + vrf +
               R"(","intf":"vlan10","source":"10.0.0.1","group":"239.1.1.1","mode":"include"})"
               "\n";
    }
    std::string table() const { return folder_.path() / "gmp"; }

  private:
    TemporaryFolder folder_;
};

TEST_F(Watch, EndsAtOnceWhenNobodyReadsItAnyMore) {
    NonBlockingPipe out(0);
    const pid_t command =
        startIrbmc({"show", "--watch", table()}, STDIN_FILENO, out.end(1), STDERR_FILENO);
    out.close(1);
    ::fcntl(out.end(0), F_SETFL, 0);
    char byte = 0;
    EXPECT_EQ(::read(out.end(0), &byte, 1), 1);
    out.close(0);
    EXPECT_EQ(statusOf(command), 2);
}

TEST_F(Watch, FollowsTheTableThatComesInPlaceOfOneThatWasRemoved) {
    RunningIrbmc watcher({"show", "--watch", "--json", table()});
    EXPECT_THAT(watcher.readLine(), HasSubstr(R"("vrf":"red")"));
    std::filesystem::remove_all(table());
    EXPECT_EQ(replay(written("blue"), {"--table", table()}).status, 0);
    std::string line = watcher.readLine();
    // Whether it was looked at before its first membership was written or after is not to be known.
    if (line.find("blue") == std::string::npos) {
        EXPECT_THAT(line, HasSubstr(R"("statuses":[])"));
        do {
            line = watcher.readLine();
        } while (line.find("blue") == std::string::npos && !line.empty());
    }
    EXPECT_THAT(line, HasSubstr(R"("vrf":"blue")"));
}

TEST_F(Watch, FollowsTheTableThatReplacedAnother) {
    RunningIrbmc watcher({"show", "--watch", "--json", table()});
    EXPECT_THAT(watcher.readLine(), HasSubstr(R"("vrf":"red")"));
    const std::string other = table() + "2";
    EXPECT_EQ(replay(written("blue"), {"--table", other}).status, 0);
    std::filesystem::rename(other + "/table", table() + "/table");
    EXPECT_THAT(watcher.readLine(), HasSubstr(R"("vrf":"blue")"));
}

}  // namespace
