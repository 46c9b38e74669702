// Operations on a table, and a model of what they come to.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/Tessel/Fixture.h"

namespace Tessel::Attack {

using Test::FilterMode;

/// What a table holds: for each VRF that has a status, the modes of its memberships by number.
using Content = std::map<std::string, std::map<std::uint32_t, FilterMode>>;

/// One operation of the table's writer: it happens as a whole or not at all. A plain value.
struct Operation {
    enum class Kind { put, remove, addStatus, removeStatus };

    /// One of a few statuses and of `series` memberships; a large status' segments split.
    static Operation random(Test::Random& random, std::uint32_t series);

    /// What it does, for a report: "put small1 17".
    std::string text() const;
    void applyTo(Test::StatusColl& coll) const;
    void applyTo(Content& content) const;

    Kind kind = Kind::put;
    std::string vrfName;
    std::uint32_t number = 0;
    FilterMode mode = FilterMode::exclude;
};

/// What a writer finds in its table.
/// @throws BrokenPromise if a status counts what it does not hold
Content contentOf(const Test::StatusColl& coll);
/// What a reader finds there.
/// @throws BrokenPromise if something is damaged, met twice, or no membership of the series
Content contentOf(const Test::TableReader& reader);

}  // namespace Tessel::Attack
