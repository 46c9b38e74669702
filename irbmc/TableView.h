#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Ondel/IpGenAddr.h"
#include "Replay/Event.h"
#include "Replay/Outcome.h"
#include "Replay/Report.h"
#include "Routing/Gmp/Tessel/TableReader.h"
#include "TableWriter.h"

namespace Irbmc {

/// Which memberships somebody wants to see; all, where nothing is said. A plain value.
struct TableFilter {
    std::optional<std::string> vrf;
    std::optional<std::uint8_t> app;
    std::optional<std::uint16_t> vlan;
    std::optional<Ondel::IpGenAddr> group;
    /// As it is written for people; the empty text is every source, "*" any source.
    std::string source;
    std::optional<Replay::JoinMode> mode;

    bool takes(const Replay::StatusPlace& status) const;
    bool takes(const Replay::TableEntry& entry) const;
    /// Whether statuses are of interest that hold no membership that is.
    bool takesEmptyStatuses() const { return !vlan && !group && source.empty() && !mode; }
};

/// What a reader found in a table, in the order of reports.
struct TableContent {
    std::vector<Replay::StatusContent> statuses;
    /// What is damaged, one text a fault.
    std::vector<std::string> damage;
    /// How long its file is.
    std::uint64_t bytes = 0;
    TableWriter writer;
};

TableContent contentOf(const Routing::Gmp::Tessel::TableReader& reader, const TableFilter& filter);

/// "1 status, 2 memberships".
std::string sizeText(const TableContent& content);
/// For people: one line a membership, in columns; and last who writes the table, and how long it
/// is.
void writeColumns(Replay::Sink& sink, const TableContent& content, bool isColoured);
/// For programs: one JSON object, on one line.
void writeJson(Replay::Sink& sink, const TableContent& content);

}  // namespace Irbmc
