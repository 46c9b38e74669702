#pragma once

#include <algorithm>
#include <iomanip>
#include <map>
#include <ostream>
#include <string>

namespace Bench {

/// How busy others kept the machine while something was measured. What is measured is processor
/// time, but caches and memory are shared: where others ran much, figures are not to be believed.
class Busyness {
  public:
    /// Something was measured that took so long, of which its thread ran so long; in seconds.
    void add(double wall, double processor) {
        wall_ += wall;
        processor_ += processor;
    }
    /// A run of the floor, which does the same work each time, took that long.
    void addFloor(const std::string& name, double time) {
        const auto [found, isNew] = floors_.try_emplace(name, time, time);
        auto& [least, most] = found->second;
        least = std::min(least, time);
        most = std::max(most, time);
    }

    void print(std::ostream& out) const {
        const double share = wall_ == 0 ? 1 : processor_ / wall_;
        double spread = 1;
        for (const auto& [name, times] : floors_)
            spread = std::max(spread, times.second / times.first);
        out << "\nwhat was measured had a processor for " << std::setprecision(0) << share * 100
            << " % of its time; runs of the floor differ by up to " << (spread - 1) * 100 << " %\n";
        if (share < 0.9 || spread > 1.25) {
            out << "THE MACHINE WAS TOO BUSY: these figures are not to be believed\n";
        }
    }

  private:
    double wall_ = 0;
    double processor_ = 0;
    std::map<std::string, std::pair<double, double>> floors_;
};

}  // namespace Bench
