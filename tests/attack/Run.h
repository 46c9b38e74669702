// What every attack on the table is given, and how it tells what came of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

#include "platform/Tessel/Fixture.h"

namespace Tessel::Attack {

using Clock = std::chrono::steady_clock;

/// What an attack raises that got through: which promise it broke, and what was met instead.
class BrokenPromise : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One run of one attack: its directory, its time, its random numbers and its figures. Belongs to
/// the process that runs the attack.
class Run {
  public:
    /// @param directory the run's own, empty
    /// @param seed the same one gives the same choices, though not the same timing
    /// @param share how long the attack goes on
    Run(std::filesystem::path directory, std::uint64_t seed, std::chrono::milliseconds share)
        : directory_(std::move(directory)), random_(seed), end_(Clock::now() + share) {}

    const std::filesystem::path& directory() const { return directory_; }
    Test::Random& random() { return random_; }
    bool isOver() const { return Clock::now() >= end_; }
    Clock::time_point end() const { return end_; }

    /// A number of the report, 0 until something is added to it.
    std::uint64_t& figure(const std::string& name) { return figures_[name]; }
    const std::map<std::string, std::uint64_t>& figures() const { return figures_; }

  private:
    std::filesystem::path directory_;
    Test::Random random_;
    Clock::time_point end_;
    std::map<std::string, std::uint64_t> figures_;
};

/// @throws BrokenPromise with that text unless the promise holds
inline void promise(bool holds, const std::string& otherwise) {
    if (!holds) throw BrokenPromise(otherwise);
}

/// One attack. It ends when its run is over, and raises BrokenPromise at the first promise that
/// does not hold.
struct Attack {
    const char* name;
    /// What holds all the while, as the name of its test.
    const char* promise;
    void (*run)(Run& run);
};

extern const Attack singleSteps;
extern const Attack randomKills;
extern const Attack damage;
extern const Attack neighbours;
extern const Attack waits;
extern const Attack readers;

}  // namespace Tessel::Attack
