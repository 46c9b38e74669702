#pragma once

#include <benchmark/benchmark.h>

#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "Busyness.h"

namespace Bench {

/// Prints results as they come, keeps the medians, and ends with how the table compares.
class Ratios : public benchmark::ConsoleReporter {
  public:
    explicit Ratios(Busyness& busyness) : busyness_(busyness) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const std::string name = run.run_name.function_name + "/" + run.run_name.args;
            // A single run is its own median.
            if (run.aggregate_name == "median" || run.repetitions == 1) {
                medians_[name] = run.GetAdjustedRealTime();
            }
            if (run.aggregate_name.empty() && isSteady(name)) {
                busyness_.addFloor(name, run.GetAdjustedRealTime());
            }
        }
    }

    void print(std::ostream& out) const {
        printRatios(out);
        printSlowdowns(out);
        busyness_.print(out);
    }

  private:
    /// Whether each run of it takes the same time on an idle machine.
    static bool isSteady(const std::string& name) {
        return name.find("/floor/") != std::string::npos && !name.starts_with("longest") &&
               !name.starts_with("overwrite while read") && !name.starts_with("open");
    }
    /// A ratio to something that was measured, or "-".
    static std::string ratio(double of, double to) {
        if (of == 0 || to == 0) return "-";
        std::ostringstream text;
        text << std::fixed << std::setprecision(2) << of / to;
        return text.str();
    }

    double median(const std::string& name) const {
        const auto found = medians_.find(name);
        return found == medians_.end() ? 0.0 : found->second;
    }

    void printRatios(std::ostream& out) const {
        out << "\nthe table's time as a multiple of the floor's, the peers' as multiples of the "
               "table's\n"
            << std::left << std::setw(42) << "operation, count" << std::right << std::setw(10)
            << "table" << std::setw(10) << "/ floor" << std::setw(12) << "lmdb /" << std::setw(12)
            << "boost /"
            << "\n"
            << std::fixed << std::setprecision(2);
        for (const auto& [name, ours] : medians_) {
            const std::size_t at = name.find("/table/");
            if (at == std::string::npos || name.starts_with("overwrite while read")) continue;
            const std::string operation = name.substr(0, at);
            const std::string count = name.substr(at + 7);
            const auto of = [&](const char* store) {
                return median(operation + "/" + store + "/" + count);
            };
            out << std::left << std::setw(42) << operation + ", " + count << std::right
                << std::setw(10) << ours << std::setw(10) << ratio(ours, of("floor"))
                << std::setw(12) << ratio(of("lmdb"), ours) << std::setw(12)
                << ratio(of("boost"), ours) << "\n";
        }
    }

    void printSlowdowns(std::ostream& out) const {
        out << "\nan overwrite's time while another process reads, as a multiple of its time while "
               "none does\n"
            << std::left << std::setw(42) << "store, count" << std::right << std::setw(12)
            << "looks up" << std::setw(12) << "walks"
            << "\n";
        const std::string prefix = "overwrite while read/";
        for (const auto& [name, alone] : medians_) {
            if (!name.starts_with(prefix) || !name.ends_with("/0")) continue;
            const std::string store = name.substr(0, name.size() - 1);
            out << std::left << std::setw(42)
                << store.substr(prefix.size(), store.size() - prefix.size() - 1) << std::right
                << std::setw(12) << ratio(median(store + "1"), alone) << std::setw(12)
                << ratio(median(store + "2"), alone) << "\n";
        }
    }

    Busyness& busyness_;
    std::map<std::string, double> medians_;
};

}  // namespace Bench
