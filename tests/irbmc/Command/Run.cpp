#include "irbmc/Command/Run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

/// A file in memory, for a stream of the command.
class Stream {
  public:
    explicit Stream(std::string_view content = "")
        : descriptor_(memfd_create("stream", MFD_CLOEXEC)) {
        EXPECT_EQ(::write(descriptor_, content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        ::lseek(descriptor_, 0, SEEK_SET);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { ::close(descriptor_); }

    int descriptor() const { return descriptor_; }
    std::string content() const {
        std::string text(static_cast<std::size_t>(::lseek(descriptor_, 0, SEEK_END)), '\0');
        EXPECT_EQ(::pread(descriptor_, text.data(), text.size(), 0),
                  static_cast<ssize_t>(text.size()));
        return text;
    }

  private:
    int descriptor_;
};

}  // namespace

pid_t startIrbmc(const std::vector<std::string>& arguments, int in, int out, int err,
                 std::optional<Limit> limit) {
    std::vector<std::string> words{IRBMC_BINARY};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child != 0) return child;
    if (limit) {
        const rlimit most{limit->most, limit->most};
        ::setrlimit(limit->resource, &most);
    }
    // A file that grows too long is an error, as a full disk is.
    std::signal(SIGXFSZ, SIG_IGN);
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::execv(argv[0], argv.data());
    ::_exit(127);
}

int statusOf(pid_t process) {
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Result runIrbmc(const std::vector<std::string>& arguments, std::string_view input,
                std::optional<Limit> limit) {
    const Stream in(input);
    const Stream out;
    const Stream err;
    const pid_t child =
        startIrbmc(arguments, in.descriptor(), out.descriptor(), err.descriptor(), limit);
    const int status = statusOf(child);
    return {status, out.content(), err.content()};
}

Result replay(std::string_view recording, std::vector<std::string> options) {
    options.insert(options.begin(), "replay");
    options.emplace_back("-");
    return runIrbmc(options, recording);
}

std::vector<std::string> replayJson(std::string_view recording, std::vector<std::string> options) {
    options.emplace_back("--json");
    std::istringstream report(replay(recording, std::move(options)).out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(report, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> lastEffects(std::string_view recording, std::vector<std::string> options) {
    const std::string indentation(20, ' ');
    std::istringstream report(replay(recording, std::move(options)).out);
    std::vector<std::string> effects;
    std::string line;
    std::getline(report, line);
    while (std::getline(report, line) && !line.empty()) {
        if (line.starts_with(indentation)) {
            effects.push_back(line.substr(line.find_first_not_of(' ')));
        } else {
            effects.clear();
        }
    }
    return effects;
}

RunningIrbmc::RunningIrbmc(const std::vector<std::string>& arguments) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    EXPECT_EQ(::pipe2(in.data(), O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(out.data(), O_CLOEXEC), 0);
    process_ = startIrbmc(arguments, in[0], out[1], STDERR_FILENO);
    ::close(in[0]);
    ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
}

RunningIrbmc::~RunningIrbmc() {
    kill();
    ::close(input_);
    ::close(output_);
}

void RunningIrbmc::kill() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

long RunningIrbmc::residentKb() const {
    std::ifstream status("/proc/" + std::to_string(process_) + "/status");
    const std::string key = "VmRSS:";
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) return std::stol(line.substr(key.size()));
    }
    return -1;
}

void RunningIrbmc::write(std::string_view text) const {
    EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string RunningIrbmc::readLine() {
    std::string line;
    char byte = 0;
    while (::read(output_, &byte, 1) == 1 && byte != '\n')
        line += byte;
    return line;
}

std::string TemporaryFolder::file(const std::string& name, std::string_view content) const {
    const std::string path = TemporaryDirectory::file(name);
    std::ofstream(path, std::ios::binary) << content;
    return path;
}
