// Attacks the GMP status table, each attack for its share of the time, and ends at the first broken
// promise: whatever a reader, another user, a bit or a kill does, the writer goes on, no reader
// hangs or dies, nothing wrong is believed, and what is lost is told.
//
//     tableAttack [--seconds S] [--seed N] [ATTACK...]
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string_view>
#include <vector>

#include "Run.h"

namespace Tessel::Attack {

namespace {

using namespace std::chrono_literals;

constexpr const Attack* everyAttack[] = {&singleSteps, &randomKills, &damage,
                                         &neighbours,  &waits,       &readers};

struct Options {
    double seconds = 60;
    std::uint64_t seed = 0;
    std::vector<const Attack*> attacks;
};

/// @throws std::invalid_argument if a word is not understood
template <class Number>
Number numberOf(std::string_view word) {
    Number number{};
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size() || number < 0) {
        throw std::invalid_argument("no number: '" + std::string(word) + "'");
    }
    return number;
}

Options optionsFrom(const std::vector<std::string_view>& words) {
    Options options;
    options.seed = std::random_device{}();
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto value = [&, option = words[i]] {
            if (++i < words.size()) return words[i];
            throw std::invalid_argument(std::string(option) + " needs a value");
        };
        if (words[i] == "--seconds") {
            options.seconds = numberOf<double>(value());
        } else if (words[i] == "--seed") {
            options.seed = numberOf<std::uint64_t>(value());
        } else {
            const auto* const found =
                std::find_if(std::begin(everyAttack), std::end(everyAttack),
                             [&](const Attack* attack) { return words[i] == attack->name; });
            if (found == std::end(everyAttack)) {
                throw std::invalid_argument("no attack '" + std::string(words[i]) + "'");
            }
            options.attacks.push_back(*found);
        }
    }
    if (options.attacks.empty())
        options.attacks.assign(std::begin(everyAttack), std::end(everyAttack));
    return options;
}

/// Runs an attack in this process, and prints its figures.
/// @returns the exit status
int runHere(const Attack& attack, Run& run) {
    int status = 0;
    try {
        attack.run(run);
    } catch (const std::exception& error) {
        std::cout << "  BROKEN: " << error.what() << "\n";
        status = 1;
    }
    for (const auto& [name, value] : run.figures())
        std::cout << "  " << name << ": " << value << "\n";
    std::cout.flush();
    return status;
}

/// How an attack's process ended: empty if well, else what is wrong with that.
std::string endOf(pid_t process, std::chrono::milliseconds limit) {
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    pollfd ends{handle, POLLIN, 0};
    const bool isHung = poll(&ends, 1, static_cast<int>(limit.count())) == 0;
    close(handle);
    if (isHung) kill(process, SIGKILL);
    int status = 0;
    waitpid(process, &status, 0);
    if (isHung) return "it hangs";
    if (WIFSIGNALED(status)) return "it died of signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "a promise is broken";
}

/// An attack runs in a process of its own, so that a crash or a hang is told like anything else.
bool holds(const Attack& attack, std::uint64_t seed, std::chrono::milliseconds share) {
    const Test::TempDirectory directory;
    std::cout << attack.name << ": " << attack.promise << "\n" << std::flush;
    const pid_t process = fork();
    if (process < 0) throw std::runtime_error("cannot fork");
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Run run(directory.path(), seed, share);
        // Not at once: what ran counts in a build that measures it.
        std::exit(runHere(attack, run));
    }
    const std::string wrong = endOf(process, share + 60s);
    if (!wrong.empty()) {
        std::cout << attack.name << ": " << wrong << "; again with --seed " << seed << "\n";
    }
    return wrong.empty();
}

int runAll(const Options& options) {
    const std::chrono::duration<double> share(options.seconds /
                                              static_cast<double>(options.attacks.size()));
    std::cout << "seed " << options.seed << ", " << share.count() << " s each\n";
    for (const Attack* attack : options.attacks) {
        if (!holds(*attack, options.seed,
                   std::chrono::duration_cast<std::chrono::milliseconds>(share))) {
            return 1;
        }
    }
    std::cout << "every promise held\n";
    return 0;
}

}  // namespace

}  // namespace Tessel::Attack

int main(int argc, char** argv) {
    try {
        return Tessel::Attack::runAll(Tessel::Attack::optionsFrom({argv + 1, argv + argc}));
    } catch (const std::exception& error) {
        std::cerr << "tableAttack: " << error.what() << "\n";
        return 2;
    }
}
