#pragma once

#include <benchmark/benchmark.h>

#include <iomanip>
#include <iostream>
#include <map>
#include <string>

namespace Bench {

/// Prints results as they come, keeps the medians, and ends with how the table compares.
class Ratios : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                medians_[run.run_name.function_name + "/" + run.run_name.args] =
                    run.GetAdjustedRealTime();
            }
        }
    }

    void print(std::ostream& out) const {
        out << "\nthe table's time as a multiple of the floor's, the peers' as multiples of the "
               "table's\n"
            << std::left << std::setw(34) << "operation, count" << std::right << std::setw(10)
            << "table" << std::setw(10) << "/ floor" << std::setw(12) << "lmdb /" << std::setw(12)
            << "boost /"
            << "\n"
            << std::fixed << std::setprecision(2);
        for (const auto& [name, ours] : medians_) {
            const std::size_t at = name.find("/table/");
            if (at == std::string::npos) continue;
            const std::string operation = name.substr(0, at);
            const std::string count = name.substr(at + 7);
            const auto of = [&](const char* store) {
                const auto found = medians_.find(operation + "/" + store + "/" + count);
                return found == medians_.end() ? 0.0 : found->second;
            };
            out << std::left << std::setw(34) << operation + ", " + count << std::right
                << std::setw(10) << ours << std::setw(10) << ours / of("floor") << std::setw(12)
                << of("lmdb") / ours << std::setw(12) << of("boost") / ours << "\n";
        }
    }

  private:
    std::map<std::string, double> medians_;
};

}  // namespace Bench
