#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Trace/Ring.h"

namespace Trace {

/// All sites of the process that have traced, numbered from 1 in that order, and the one place that
/// writes tables of sites and changes the current ring. Lives for ever; any thread may call it.
/// A site that another module, or the same one loaded again, describes in the same way is the same.
class RingSites {
  public:
    static RingSites& instance();

    /// The number of the site that `entry` describes, an entry of the site table without number and
    /// checksum. A new one is put into the current ring's table; if that is full, its records are
    /// decoded without it.
    std::uint32_t number(const std::string& entry);

    /// Makes `ring` the current one, with all sites in its table, and keeps it for ever.
    void currentIs(std::unique_ptr<Ring> ring);
    /// The current ring; if there is none yet, the one that `make` makes becomes it.
    Ring& first(Ring& (*make)());

  private:
    void publish(Ring& ring);
    static void append(Ring& ring, std::string entry, std::uint32_t number);

    std::mutex mutex_;
    std::map<std::string, std::uint32_t, std::less<>> numbers_;
    /// The rings in files, former ones included: a thread may still be writing to one.
    std::vector<std::unique_ptr<Ring>> rings_;
};

}  // namespace Trace
