// One change of a table as a line of `irbmc show --watch`.
#pragma once

#include <cstdint>
#include <string>

#include "Routing/Gmp/Tessel/TableChange.h"
#include "TableView.h"

namespace Irbmc {

/// Whether a filter takes what the change is about.
bool takes(const TableFilter& filter, const Routing::Gmp::Tessel::TableChange& change);

/// For people: the date and time (UTC), a mark, and the membership or the status.
/// @param timeMs when it was seen, in milliseconds since the epoch
std::string changeText(const Routing::Gmp::Tessel::TableChange& change, std::int64_t timeMs,
                       bool isColoured);
/// The same for programs: a JSON object.
std::string changeJson(const Routing::Gmp::Tessel::TableChange& change, std::int64_t timeMs);

}  // namespace Irbmc
